// A log sink that keeps every line, for assertions on the engine's log output.
#pragma once

#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "tolvana/platform/LogSink.h"

namespace tolvana::testing {

class LogCapture final : public LogSink {
 public:
  void writeLine(std::string_view line) override;
  std::vector<std::string> lines() const;
  // Lines that contain the text.
  std::vector<std::string> matching(std::string_view text) const;
  std::size_t count(std::string_view text) const { return matching(text).size(); }
  bool contains(std::string_view text) const { return count(text) > 0; }
  void clear();

 private:
  mutable std::mutex mutex_;
  std::vector<std::string> lines_;
};

}  // namespace tolvana::testing
