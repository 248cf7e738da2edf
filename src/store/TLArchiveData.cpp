// TLArchive's member data: one member written to disk, inflated on the way when it is a
// gzip stream. Kept apart from the block walk, which decides what is written where.
#include <fcntl.h>
#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <vector>

#include "store/TLArchive.h"
#include "support/Files.h"
#include "support/TLLog.h"

namespace tolvana {

namespace {

// 15 window bits plus 16: the data must carry a gzip header.
constexpr int kGzipWindowBits = 31;

const char* zlibErrorText(int result) {
  switch (result) {
    case Z_VERSION_ERROR:
      return "zlib version mismatch!";
    case Z_MEM_ERROR:
      return "out of memory";
    case Z_DATA_ERROR:
      return "invalid or incomplete deflate data";
    case Z_STREAM_ERROR:
      return "invalid compression level";
    case Z_ERRNO:
      if (std::ferror(stdin)) return "error reading stdin";
      if (std::ferror(stdout)) return "error writing stdout";
      return "Unknown Error.";
    default:
      return "Unknown Error.";
  }
}

// True when path is a plain file (no link) whose bytes are the length bytes at location.
bool holdsExactly(const std::string& path, int archive, std::uint64_t location, std::uint64_t length) {
  std::error_code ec;
  if (!isPlainFile(path) || std::filesystem::file_size(path, ec) != length || ec) return false;
  int existing = ::open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC);
  if (existing < 0) return false;
  std::vector<char> wanted(std::min<std::uint64_t>(length, TLArchive::kChunkSize)), found(wanted.size());
  bool same = true;
  for (std::uint64_t offset = 0; same && offset < length; offset += wanted.size()) {
    const std::size_t piece = std::min<std::uint64_t>(length - offset, wanted.size());
    same = TLArchive::dataForFile(archive, location + offset, std::span(wanted.data(), piece)) &&
           TLArchive::dataForFile(existing, offset, std::span(found.data(), piece)) &&
           std::equal(wanted.begin(), wanted.begin() + static_cast<std::ptrdiff_t>(piece), found.begin());
  }
  ::close(existing);
  return same;
}

}  // namespace

bool TLArchive::writeFileDataForFile(int fd, std::uint64_t location, std::uint64_t length, std::string path,
                                     std::string* error, bool* outOfSpace) {
  std::string unreported;
  if (!error) error = &unreported;
  if (outOfSpace) *outOfSpace = false;
  const bool inflating = path.ends_with(kGzipSuffix);
  if (inflating) path.resize(path.size() - kGzipSuffix.size());
  // A file that already holds these bytes stays as it is: a folder that cannot be written
  // then still starts, and an unchanged file is not worn out at every start.
  if (!inflating && holdsExactly(path, fd, location, length)) return true;
  // Written beside the target and renamed over it once whole: a process killed half-way
  // leaves the old file or none, never a store cut short that would be served as complete.
  // Not flushed before the rename: waiting for the disk made the first start's unpacking a
  // fifth slower, for a power cut, which no killed process needs.
  ReplacementFile out(path);
  if (!out.open(error)) {
    *error = "Could not create file " + *error;
    return false;
  }
  z_stream stream{};
  if (inflating) {
    int result = inflateInit2(&stream, kGzipWindowBits);
    if (result != Z_OK) {
      logError("Decompression Error: %@", zlibErrorText(result));
      return false;
    }
  }
  bool full = false;
  auto append = [&out, &full](std::span<const char> chunk) {
    if (writeAll(out.fd(), chunk)) return true;
    full = true;
    return false;
  };
  std::vector<char> input(std::min<std::uint64_t>(length, kChunkSize));
  bool ok = true;
  while (ok && length > 0) {
    const std::size_t piece = std::min<std::uint64_t>(length, kChunkSize);
    std::span<char> chunk(input.data(), piece);
    if (!dataForFile(fd, location, chunk)) {
      *error = "Could not read the data of " + path + ": " + std::strerror(EIO);
      ok = false;
    } else if (inflating) {
      ok = decompressData(chunk, stream, append);
    } else if (!append(chunk)) {
      ok = false;
    }
    location += piece;
    length -= piece;
  }
  // Ending a stream that decompressData already ended is harmless.
  if (inflating) inflateEnd(&stream);
  if (ok && !out.commit(false, error)) {
    full = errno == ENOSPC || errno == EDQUOT || errno == EFBIG;
    ok = false;
  }
  if (outOfSpace) *outOfSpace = full;
  return ok;
}

bool TLArchive::decompressData(std::span<const char> input, z_stream_s& stream,
                               const std::function<bool(std::span<const char>)>& process) {
  auto output = std::make_unique<char[]>(kChunkSize);
  while (!input.empty()) {
    const std::size_t piece = std::min(input.size(), kChunkSize);
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(input.data()));
    stream.avail_in = static_cast<uInt>(piece);
    input = input.subspan(piece);
    do {
      stream.next_out = reinterpret_cast<Bytef*>(output.get());
      stream.avail_out = static_cast<uInt>(kChunkSize);
      int result = inflate(&stream, Z_NO_FLUSH);
      switch (result) {
        case Z_NEED_DICT:
        case Z_ERRNO:
        case Z_STREAM_ERROR:
        case Z_DATA_ERROR:
        case Z_MEM_ERROR:
        case Z_VERSION_ERROR:
          inflateEnd(&stream);
          logError("Decompression Error: %@", zlibErrorText(result));
          return false;
        default:
          break;
      }
      const std::size_t produced = kChunkSize - stream.avail_out;
      if (produced > 0 && !process(std::span<const char>(output.get(), produced))) return false;
      if (result == Z_STREAM_END) return true;
    } while (stream.avail_out == 0);
  }
  return true;
}

}  // namespace tolvana
