// ArchiveWriter: writes settings archives, the tar files the unpacker reads.
//
// Members are plain files, gzip-compressed files (named with ".gz" so that the unpacker
// inflates them) and directories. Headers are ustar with correct checksums, so the archives
// are also readable by any tar. Names are limited to the 100 bytes of the header's name
// field, since the unpacker reads nothing else.
//
//   ArchiveWriter archive;
//   archive.addFile("app.tolvana", appJson);
//   archive.addCompressed("app1/de.sqlite.gz", storeBytes);
//   if (!archive.writeTo("settings.tolvana", &error)) fail(error);
//
// Thread contract: an ArchiveWriter is used by one thread at a time.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tolvana {

class ArchiveWriter {
 public:
  static constexpr std::size_t kMaxNameLength = 100;

  // Each returns false with a reason when the name cannot be written or the data not compressed.
  bool addFile(std::string_view name, std::string_view data, std::string* error = nullptr);
  bool addCompressed(std::string_view name, std::string_view data, std::string* error = nullptr);
  bool addDirectory(std::string_view name, std::string* error = nullptr);

  // The archive so far, closed with the two empty end blocks.
  std::string finishedBytes() const;
  // Writes the finished archive atomically (a temporary file renamed over path).
  bool writeTo(const std::string& path, std::string* error) const;

  // One 512-byte header with the size field as given, for callers that need odd members.
  static std::string header(char type, std::string_view name, std::string_view sizeField);
  static std::string octalSize(std::uint64_t size);

 private:
  bool add(char type, std::string_view name, std::string_view data, std::string* error);

  std::string bytes_;
};

// data gzip-compressed (window bits 31) at zlib's level 1 (fastest) to 9 (smallest), or
// nullopt when zlib fails or the data does not fit one deflate call (4 GB).
std::optional<std::string> gzipCompress(std::string_view data, int level = 9);

}  // namespace tolvana
