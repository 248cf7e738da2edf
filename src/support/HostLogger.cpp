#include "support/HostLogger.h"

#include "support/HostCallback.h"

namespace tolvana {

namespace {

// Never destroyed: the library's threads may log while the process exits.
HostCallback<int, std::string_view, std::string_view>& logger() {
  static auto* callback = new HostCallback<int, std::string_view, std::string_view>;
  return *callback;
}

}  // namespace

void HostLogger::set(Function function) { logger().set(std::move(function)); }

bool HostLogger::write(int level, std::string_view tag, std::string_view text) noexcept {
  return logger().call(level, tag, text);
}

}  // namespace tolvana
