// Which file a path names and when it last changed, as stat tells. Equal signatures mean no
// one has replaced the file or, to the file system's time resolution, written to it.
#pragma once

#include <sys/types.h>

#include <ctime>
#include <string>

namespace tolvana {

struct FileSignature {
  dev_t device = 0;
  ino_t inode = 0;
  off_t size = -1;  // -1: no such file
  timespec modified{};

  static FileSignature of(const std::string& path);
  bool operator==(const FileSignature& other) const;
};

}  // namespace tolvana
