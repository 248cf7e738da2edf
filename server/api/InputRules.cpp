#include "api/InputRules.h"

#include <algorithm>

#include "support/SafeName.h"
#include "support/StringUtil.h"

namespace tolvana::server {

bool InputRules::isLanguageCode(std::string_view name) { return SafeName::isLanguageCode(name); }

bool InputRules::isProjectId(std::string_view name) {
  return SafeName::isAppId(name) && std::all_of(name.begin(), name.end(), [](unsigned char c) {
           return c > 0x20 && c < 0x7f && c != '%' && c != '?' && c != '#' && c != '\\';
         });
}

bool InputRules::isGroupName(std::string_view name) {
  if (name.empty() || name.size() > kMaxGroupBytes || name.front() == '.' || !isValidUtf8(name)) return false;
  return std::none_of(name.begin(), name.end(), [](unsigned char c) { return c < 0x20 || c == 0x7f || c == '/'; });
}

bool InputRules::isKey(std::string_view key) { return !key.empty() && isText(key, kMaxKeyBytes); }

bool InputRules::isText(std::string_view text, std::size_t maxBytes) {
  return text.size() <= maxBytes && text.find('\0') == std::string_view::npos && isValidUtf8(text);
}

}  // namespace tolvana::server
