#include "api/QueryParams.h"

#include <cctype>
#include <string_view>

namespace tolvana::server {

namespace {

int hexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  return std::tolower(static_cast<unsigned char>(c)) - 'a' + 10;
}

}  // namespace

std::optional<std::string> paramsOf(const std::string& target) {
  auto query = target.find('?');
  if (query == std::string::npos) return std::nullopt;
  auto at = target.find("params=", query);
  if (at == std::string::npos) return std::nullopt;
  std::string_view text = std::string_view(target).substr(at + 7);
  std::string out;
  out.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '%' && i + 2 < text.size() && std::isxdigit(static_cast<unsigned char>(text[i + 1])) &&
        std::isxdigit(static_cast<unsigned char>(text[i + 2]))) {
      out += static_cast<char>(hexDigit(text[i + 1]) * 16 + hexDigit(text[i + 2]));
      i += 2;
    } else {
      out += text[i];  // a '+' stays a '+': the library encodes blanks as %20
    }
  }
  return out;
}

}  // namespace tolvana::server
