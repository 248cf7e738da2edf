// LiveNotice: the translation server's answer to a live-preview request, read as untrusted
// input. It names which groups of which languages changed, never their texts: those come
// through the signed update like any other. A malformed answer, a name that is no group name
// or language code, or more changes than an edit session could make, and the whole answer is
// dropped with a warning.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tolvana {

struct LiveNotice {
  std::string cursor;
  std::vector<std::string> groups{};     // changed, without repeats
  std::vector<std::string> languages{};  // changed, without repeats
  // Everything may have changed (the server restarted, or dropped changes this app missed).
  bool resync = false;

  static constexpr std::size_t kMaxChanges = 1000;
  static constexpr std::size_t kMaxCursor = 64;

  static std::optional<LiveNotice> parse(std::string_view body);
};

}  // namespace tolvana
