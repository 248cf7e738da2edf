#include "fuzz/FuzzSandbox.h"

#include <cstdio>
#include <cstdlib>
#include <stdexcept>

namespace fs = std::filesystem;

namespace tolvana::fuzz {

FuzzSandbox::FuzzSandbox() {
  std::string pattern = (fs::temp_directory_path() / "tolvana-fuzz-XXXXXX").string();
  if (!::mkdtemp(pattern.data())) throw std::runtime_error("cannot create " + pattern);
  path_ = fs::canonical(pattern).string();
  ::setenv("TMPDIR", path_.c_str(), 1);
}

FuzzSandbox::~FuzzSandbox() {
  std::error_code ignored;
  fs::remove_all(path_, ignored);
}

FuzzSandbox::Listing FuzzSandbox::listOutside() const {
  Listing listing;
  std::error_code ec;
  for (auto it = fs::recursive_directory_iterator(path_, ec); !ec && it != fs::recursive_directory_iterator();
       it.increment(ec)) {
    if (!allowed_.empty() && it->path() == allowed_) {
      it.disable_recursion_pending();
      continue;
    }
    std::error_code ignored;
    std::uintmax_t size = it->is_regular_file(ignored) ? it->file_size(ignored) : 0;
    listing[it->path().string()] = {size, it->last_write_time(ignored)};
  }
  return listing;
}

void FuzzSandbox::checkNothingElseChanged() const {
  Listing now = listOutside();
  if (now == outside_) return;
  for (const auto& [path, facts] : now) {
    if (!outside_.count(path)) std::fprintf(stderr, "written outside %s: %s\n", allowed_.c_str(), path.c_str());
  }
  for (const auto& [path, facts] : outside_) {
    auto it = now.find(path);
    if (it == now.end()) std::fprintf(stderr, "removed outside %s: %s\n", allowed_.c_str(), path.c_str());
    else if (it->second != facts) std::fprintf(stderr, "changed outside %s: %s\n", allowed_.c_str(), path.c_str());
  }
  std::abort();
}

}  // namespace tolvana::fuzz
