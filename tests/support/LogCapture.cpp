#include "tests/support/LogCapture.h"

#include <cstdio>
#include <cstdlib>

namespace tolvana::testing {

void LogCapture::writeLine(std::string_view line) {
  // TOLVANA_TEST_LOG=1 echoes the engine's lines while a test runs, for debugging.
  static const bool echo = std::getenv("TOLVANA_TEST_LOG") != nullptr;
  if (echo) std::fprintf(stderr, "[log] %.*s\n", static_cast<int>(line.size()), line.data());
  std::lock_guard lock(mutex_);
  lines_.emplace_back(line);
}

std::vector<std::string> LogCapture::lines() const {
  std::lock_guard lock(mutex_);
  return lines_;
}

std::vector<std::string> LogCapture::matching(std::string_view text) const {
  std::vector<std::string> hits;
  for (const auto& line : lines()) {
    if (line.find(text) != std::string::npos) hits.push_back(line);
  }
  return hits;
}

void LogCapture::clear() {
  std::lock_guard lock(mutex_);
  lines_.clear();
}

}  // namespace tolvana::testing
