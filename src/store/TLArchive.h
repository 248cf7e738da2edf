// TLArchive: unpacks the settings archive (a tar stream) into the data directory.
//
// A minimal tar reader: only a header's name, size and type flag are read, and checksums are
// not verified, since the archive ships inside the signed app. Each member is streamed to
// disk in 51200-byte pieces, and members whose names end in ".gz" are inflated on the way,
// so memory use does not grow with the archive. Running out of space while writing wipes the
// folder being unpacked, and nothing else (a half-unpacked store is worse than none), and
// tells the user.
//
// A member name that would land outside the destination (absolute, or with a ".." part)
// fails the unpacking before anything is written for it.
//
// Example:
//   if (!TLArchive::createFilesAndDirectoriesAtPath(dataDirectory, archivePath, true)) fail();
//
// Thread contract: the unpacking runs on the caller's thread; the out-of-space alert is
// queued onto the main queue.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>

struct z_stream_s;

namespace tolvana {

class TLArchive {
 public:
  // The size of a tar block, and of the pieces members are streamed in.
  static constexpr std::uint64_t kBlockSize = 512;
  static constexpr std::size_t kChunkSize = 51200;
  // Members whose names end so are gzip streams, unpacked without the suffix.
  static constexpr std::string_view kGzipSuffix = ".gz";

  // Unpacks the archive at tarPath into destination. With skipExistingDirectories, stores
  // that already exist below destination are kept, and stores of languages marked deleted
  // are removed instead of unpacked; top-level files are always rewritten.
  static bool createFilesAndDirectoriesAtPath(const std::string& destination, const std::string& tarPath,
                                              bool skipExistingDirectories);
  // The block walk over an archive open for reading as fd, size bytes long. A file-system
  // failure is described in error, which the caller logs.
  static bool createFilesAndDirectoriesAtPath(const std::string& destination, int fd, std::uint64_t size,
                                              std::string* error, bool skipExistingDirectories);

  // The header fields of the member whose header starts at offset; nullopt when the header
  // cannot be read (or the size field is no octal number).
  static std::optional<signed char> typeForFile(int fd, std::uint64_t offset);
  static std::optional<std::string> nameForFile(int fd, std::uint64_t offset);
  static std::optional<std::uint64_t> sizeForFile(int fd, std::uint64_t offset);
  // Reads exactly buffer.size() bytes at location; false when fewer are there.
  static bool dataForFile(int fd, std::uint64_t location, std::span<char> buffer);

  // Writes one member's data (length bytes at location) to path, inflating it into path
  // without its ".gz" when path ends in ".gz". outOfSpace, when given, tells whether a
  // failure came from a write the device had no room for.
  static bool writeFileDataForFile(int fd, std::uint64_t location, std::uint64_t length, std::string path,
                                   std::string* error, bool* outOfSpace = nullptr);
  // Inflates input through stream and hands each piece of output to process, which returns
  // false when it could not keep it (the device is out of space); the inflating then stops
  // with false. The view handed to process is valid only during the call.
  static bool decompressData(std::span<const char> input, z_stream_s& stream,
                             const std::function<bool(std::span<const char>)>& process);

  // Removes everything in directory, the folder an unpacking ran out of space in.
  static void wipeUnzippedSettingsfile(const std::string& directory);
};

}  // namespace tolvana
