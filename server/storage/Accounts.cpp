#include "storage/Accounts.h"

#include <array>

namespace tolvana::server {

namespace {
constexpr std::array<std::string_view, 3> kNames = {"viewer", "translator", "admin"};
}  // namespace

std::string_view nameOf(Role role) { return kNames[static_cast<std::size_t>(role)]; }

std::optional<Role> roleNamed(std::string_view name) {
  for (std::size_t i = 0; i < kNames.size(); ++i) {
    if (kNames[i] == name) return static_cast<Role>(i);
  }
  return std::nullopt;
}

}  // namespace tolvana::server
