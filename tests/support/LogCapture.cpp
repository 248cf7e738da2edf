#include "tests/support/LogCapture.h"

namespace tolvana::testing {

void LogCapture::writeLine(std::string_view line) {
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
