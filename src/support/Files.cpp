#include "support/Files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>

namespace tolvana {

namespace {

void setError(std::string* error, std::string reason) {
  if (error) *error = std::move(reason);
}

bool replaceFile(const std::string& path, std::string_view bytes, bool flush, std::string* error) {
  std::filesystem::path target(path);
  std::filesystem::path directory = target.parent_path();
  if (directory.empty()) directory = ".";
  std::error_code ec;
  std::filesystem::create_directories(directory, ec);
  if (ec) {
    setError(error, directory.string() + ": " + ec.message());
    return false;
  }

  std::string temp = (directory / ("." + target.filename().string() + ".XXXXXX")).string();
  int fd = ::mkstemp(temp.data());
  if (fd < 0) {
    setError(error, path + ": cannot create a temporary file: " + std::strerror(errno));
    return false;
  }
  // mkstemp makes the file private; keep the mode of the file being replaced, else the
  // usual mode of a data file.
  struct stat existing {};
  ::fchmod(fd, ::stat(path.c_str(), &existing) == 0 ? (existing.st_mode & 07777) : 0644);

  bool ok = writeAll(fd, bytes) && (!flush || ::fsync(fd) == 0);
  int saved = errno;
  if (::close(fd) != 0 && ok) {
    ok = false;
    saved = errno;
  }
  if (ok && ::rename(temp.c_str(), path.c_str()) != 0) {
    ok = false;
    saved = errno;
  }
  if (!ok) {
    ::unlink(temp.c_str());
    setError(error, path + ": " + std::strerror(saved));
    return false;
  }
  if (!flush) return true;
  // The rename is durable only once the directory entry itself is on disk.
  int dirFd = ::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (dirFd >= 0) {
    ::fsync(dirFd);
    ::close(dirFd);
  }
  return true;
}

}  // namespace

std::optional<std::string> readWholeFile(const std::string& path, std::string* error) {
  int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) {
    setError(error, path + ": " + std::strerror(errno));
    return std::nullopt;
  }
  // Read straight into a string of the file's size: large files (stores' indexes) come in
  // one call, without growing the string step by step.
  struct stat info {};
  std::string bytes;
  std::size_t filled = 0;
  bytes.resize(::fstat(fd, &info) == 0 && info.st_size > 0 ? static_cast<std::size_t>(info.st_size) + 1 : 16384);
  for (;;) {
    if (filled == bytes.size()) bytes.resize(bytes.size() * 2);
    ssize_t n = ::read(fd, bytes.data() + filled, bytes.size() - filled);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) {
      int saved = errno;
      ::close(fd);
      setError(error, path + ": " + std::strerror(saved));
      return std::nullopt;
    }
    if (n == 0) break;
    filled += static_cast<std::size_t>(n);
  }
  ::close(fd);
  bytes.resize(filled);
  return bytes;
}

bool writeAll(int fd, std::span<const char> data) {
  while (!data.empty()) {
    ssize_t written = ::write(fd, data.data(), data.size());
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return false;
    data = data.subspan(static_cast<std::size_t>(written));
  }
  return true;
}

bool replaceFileAtomically(const std::string& path, std::string_view bytes, std::string* error) {
  return replaceFile(path, bytes, true, error);
}

bool replaceCacheFile(const std::string& path, std::string_view bytes, std::string* error) {
  return replaceFile(path, bytes, false, error);
}

}  // namespace tolvana
