// A temporary directory for one test, removed with everything in it when the object goes.
//
//   TempDir dir;
//   writeSomething(dir.file("Info.plist"));
#pragma once

#include <string>
#include <string_view>

namespace tolvana::testing {

class TempDir {
 public:
  // Creates a fresh directory under $TMPDIR (or /tmp); throws when it cannot.
  TempDir();
  ~TempDir();
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  const std::string& path() const { return path_; }
  // The path of name inside the directory; nothing is created.
  std::string file(std::string_view name) const { return path_ + "/" + std::string(name); }

 private:
  std::string path_;
};

}  // namespace tolvana::testing
