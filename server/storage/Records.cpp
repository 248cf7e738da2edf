#include "storage/Records.h"

#include <array>
#include <string_view>

namespace tolvana::server {

std::pair<std::string, std::string> Entry::splitAppKey(const std::string& appKey) {
  static constexpr std::array<std::string_view, 6> kRules = {"zero", "one", "two", "few", "many", "other"};
  auto open = appKey.rfind('[');
  if (open == std::string::npos || open == 0 || !appKey.ends_with(']')) return {appKey, ""};
  std::string_view rule(appKey.data() + open + 1, appKey.size() - open - 2);
  for (std::string_view known : kRules) {
    if (rule == known) return {appKey.substr(0, open), std::string(rule)};
  }
  return {appKey, ""};
}

}  // namespace tolvana::server
