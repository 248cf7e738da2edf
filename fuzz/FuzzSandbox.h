// FuzzSandbox: a temporary folder around everything a harness touches, and a watch on it.
// A harness allows one folder (the data directory, the unpack target); snapshot() records
// every file outside it, and checkNothingElseChanged() aborts the run (a finding) when a file
// outside it appeared, vanished, or changed its size or time.
//
//   FuzzSandbox sandbox;
//   sandbox.allow(target);
//   sandbox.snapshot();
//   ... run the input ...
//   sandbox.checkNothingElseChanged();
#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <utility>

namespace tolvana::fuzz {

class FuzzSandbox {
 public:
  // Creates the folder and points TMPDIR into it, so that temporary folders made later (the
  // test fixtures') lie inside it too.
  FuzzSandbox();
  ~FuzzSandbox();
  FuzzSandbox(const FuzzSandbox&) = delete;
  FuzzSandbox& operator=(const FuzzSandbox&) = delete;

  const std::string& path() const { return path_; }
  void allow(std::string folder) { allowed_ = std::filesystem::weakly_canonical(folder); }
  void snapshot() { outside_ = listOutside(); }
  void checkNothingElseChanged() const;

 private:
  using Listing = std::map<std::string, std::pair<std::uintmax_t, std::filesystem::file_time_type>>;
  Listing listOutside() const;

  std::string path_;
  std::filesystem::path allowed_;
  Listing outside_;
};

}  // namespace tolvana::fuzz
