#include "storage/ChangeCounter.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstring>

#include "storage/StorageError.h"

namespace tolvana::server {

namespace {

constexpr std::size_t kSize = 4096;

}  // namespace

ChangeCounter::ChangeCounter(const std::string& path) {
  fd_ = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
  struct stat status {};
  // Extending a file that another process extended already changes nothing.
  if (fd_ < 0 || ::fstat(fd_, &status) != 0 ||
      (status.st_size < static_cast<off_t>(kSize) && ::ftruncate(fd_, kSize) != 0)) {
    std::string why = std::strerror(errno);
    if (fd_ >= 0) ::close(fd_);
    throw StorageError(StorageError::Kind::failed, "cannot make " + path + ": " + why);
  }
  void* mapped = ::mmap(nullptr, kSize, PROT_READ | PROT_WRITE, MAP_SHARED, fd_, 0);
  if (mapped == MAP_FAILED) {
    ::close(fd_);
    throw StorageError(StorageError::Kind::failed, "cannot map " + path + ": " + std::strerror(errno));
  }
  word_ = static_cast<std::uint64_t*>(mapped);
}

ChangeCounter::~ChangeCounter() {
  ::munmap(word_, kSize);
  ::close(fd_);
}

void ChangeCounter::raise() { std::atomic_ref<std::uint64_t>(*word_).fetch_add(1, std::memory_order_acq_rel); }

std::uint64_t ChangeCounter::value() const {
  return std::atomic_ref<std::uint64_t>(*word_).load(std::memory_order_acquire);
}

}  // namespace tolvana::server
