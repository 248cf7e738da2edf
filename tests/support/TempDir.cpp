#include "tests/support/TempDir.h"

#include <stdlib.h>

#include <filesystem>
#include <stdexcept>
#include <system_error>

namespace tolvana::testing {

TempDir::TempDir() {
  const char* base = std::getenv("TMPDIR");
  std::string pattern = std::string(base && *base ? base : "/tmp") + "/tolvana-test-XXXXXX";
  if (!::mkdtemp(pattern.data())) throw std::runtime_error("cannot create a temporary directory from " + pattern);
  path_ = pattern;
}

TempDir::~TempDir() {
  std::error_code ec;  // a destructor must not throw; a leftover directory in /tmp is harmless
  std::filesystem::remove_all(path_, ec);
}

}  // namespace tolvana::testing
