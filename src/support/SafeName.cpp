#include "support/SafeName.h"

#include <algorithm>

namespace tolvana {

bool SafeName::isLanguageCode(std::string_view name) {
  if (name.empty() || name.size() > kMaxLanguageCodeLength) return false;
  return std::all_of(name.begin(), name.end(), [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' || c == '_';
  });
}

bool SafeName::isAppId(std::string_view name) {
  if (name.empty() || name.size() > kMaxAppIdLength || name == ".") return false;
  return name.find('/') == std::string_view::npos && name.find("..") == std::string_view::npos &&
         name.find('\0') == std::string_view::npos;
}

bool SafeName::isGroupName(std::string_view name) {
  if (name.empty() || name.size() > kMaxGroupNameLength) return false;
  return std::none_of(name.begin(), name.end(), [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7f; });
}

}  // namespace tolvana
