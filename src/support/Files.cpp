#include "support/Files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <filesystem>

namespace tolvana {

namespace {

void setError(std::string* error, std::string reason) {
  if (error) *error = std::move(reason);
}

bool replaceFile(const std::string& path, std::string_view bytes, bool flush, std::string* error) {
  ReplacementFile file(path);
  if (!file.open(error)) return false;
  if (!writeAll(file.fd(), bytes)) {
    setError(error, path + ": " + std::strerror(errno));
    return false;
  }
  return file.commit(flush, error);
}

constexpr std::string_view kTemporaryTemplate = "XXXXXX";
constexpr auto kAbandonedAfter = std::chrono::minutes(1);

// What a writer killed half-way left of its temporary file: without this, a start that keeps
// dying while it unpacks would fill the disk one store at a time. A live writer touches its
// file all the time, so only those untouched for a while are taken for dead.
void removeAbandonedTemporaries(const std::filesystem::path& directory, const std::string& prefix) {
  namespace fs = std::filesystem;
  std::error_code ec;
  const auto now = fs::file_time_type::clock::now();
  for (fs::directory_iterator it(directory, ec), end; !ec && it != end; it.increment(ec)) {
    const std::string name = it->path().filename().string();
    if (name.size() != prefix.size() + kTemporaryTemplate.size() || !name.starts_with(prefix)) continue;
    std::error_code ignored;
    if (!it->is_regular_file(ignored) || it->is_symlink(ignored)) continue;
    auto written = it->last_write_time(ignored);
    if (!ignored && now - written > kAbandonedAfter) fs::remove(it->path(), ignored);
  }
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

ReplacementFile::ReplacementFile(std::string path) : path_(std::move(path)) {}

ReplacementFile::~ReplacementFile() { discard(); }

void ReplacementFile::discard() {
  if (fd_ >= 0) ::close(fd_);
  fd_ = -1;
  if (!temporary_.empty()) ::unlink(temporary_.c_str());
  temporary_.clear();
}

bool ReplacementFile::open(std::string* error) {
  discard();
  std::filesystem::path target(path_);
  std::filesystem::path directory = target.parent_path();
  if (directory.empty()) directory = ".";
  std::error_code ec;
  std::filesystem::create_directories(directory, ec);
  if (ec) {
    setError(error, directory.string() + ": " + ec.message());
    return false;
  }
  const std::string prefix = "." + target.filename().string() + ".";
  removeAbandonedTemporaries(directory, prefix);
  std::string temporary = (directory / (prefix + std::string(kTemporaryTemplate))).string();
  fd_ = ::mkstemp(temporary.data());
  if (fd_ < 0) {
    setError(error, path_ + ": cannot create a temporary file: " + std::strerror(errno));
    return false;
  }
  temporary_ = std::move(temporary);
  // mkstemp makes the file private; keep the mode of the file being replaced (not of what a
  // link there points to), else the usual mode of a data file.
  struct stat existing {};
  const bool replacesFile = ::lstat(path_.c_str(), &existing) == 0 && S_ISREG(existing.st_mode);
  ::fchmod(fd_, replacesFile ? (existing.st_mode & 07777) : 0644);
  return true;
}

bool ReplacementFile::commit(bool flush, std::string* error) {
  if (fd_ < 0) return false;
  bool ok = !flush || ::fsync(fd_) == 0;
  int saved = errno;
  if (::close(fd_) != 0 && ok) {
    ok = false;
    saved = errno;
  }
  fd_ = -1;
  if (ok && ::rename(temporary_.c_str(), path_.c_str()) != 0) {
    ok = false;
    saved = errno;
  }
  if (!ok) {
    discard();
    setError(error, path_ + ": " + std::strerror(saved));
    errno = saved;
    return false;
  }
  temporary_.clear();
  if (!flush) return true;
  // The rename is durable only once the directory entry itself is on disk.
  std::filesystem::path directory = std::filesystem::path(path_).parent_path();
  int dirFd = ::open(directory.empty() ? "." : directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (dirFd >= 0) {
    ::fsync(dirFd);
    ::close(dirFd);
  }
  return true;
}

bool makeDirectoriesBelow(const std::string& base, std::string_view relative, std::string* error) {
  std::string path = base;
  for (std::size_t start = 0; start < relative.size();) {
    std::size_t slash = relative.find('/', start);
    if (slash == std::string_view::npos) slash = relative.size();
    std::string_view part = relative.substr(start, slash - start);
    start = slash + 1;
    if (part.empty() || part == ".") continue;
    path += "/" + std::string(part);
    struct stat info {};
    if (::lstat(path.c_str(), &info) == 0) {
      if (S_ISDIR(info.st_mode)) continue;
      if (S_ISLNK(info.st_mode)) ::unlink(path.c_str());
    }
    if (::mkdir(path.c_str(), 0755) != 0 && errno != EEXIST) {
      setError(error, path + ": " + std::strerror(errno));
      return false;
    }
    if (::lstat(path.c_str(), &info) != 0 || !S_ISDIR(info.st_mode)) {
      setError(error, path + ": not a directory");
      return false;
    }
  }
  return true;
}

bool isPlainFile(const std::string& path) {
  struct stat info {};
  return ::lstat(path.c_str(), &info) == 0 && S_ISREG(info.st_mode);
}

}  // namespace tolvana
