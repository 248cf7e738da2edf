#include "store/StoreFingerprint.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <sstream>

namespace tolvana {

std::string storeFingerprint(const std::string& storePath, const FileSignature& signature) {
  if (signature.size < 0) return "absent";
  unsigned char counter[4] = {};  // bytes 24 to 27 of the header, big-endian
  if (int fd = ::open(storePath.c_str(), O_RDONLY | O_CLOEXEC); fd >= 0) {
    if (::pread(fd, counter, sizeof counter, 24) != sizeof counter) std::fill(std::begin(counter), std::end(counter), 0);
    ::close(fd);
  }
  std::ostringstream text;
  text << signature.device << ':' << signature.inode << ':' << signature.size << ':' << signature.modified.tv_sec
       << '.' << signature.modified.tv_nsec << ':'
       << ((unsigned{counter[0]} << 24) | (unsigned{counter[1]} << 16) | (unsigned{counter[2]} << 8) | counter[3]);
  return text.str();
}

}  // namespace tolvana
