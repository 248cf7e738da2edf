#include "support/FileSignature.h"

#include <sys/stat.h>

namespace tolvana {

FileSignature FileSignature::of(const std::string& path) {
  struct stat info {};
  if (::stat(path.c_str(), &info) != 0) return {};
  return {info.st_dev, info.st_ino, info.st_size, info.st_mtim};
}

bool FileSignature::operator==(const FileSignature& other) const {
  return device == other.device && inode == other.inode && size == other.size &&
         modified.tv_sec == other.modified.tv_sec && modified.tv_nsec == other.modified.tv_nsec;
}

}  // namespace tolvana
