#include "tolvana/platform/UserDefaults.h"

#include <cctype>
#include <charconv>
#include <limits>
#include <system_error>

namespace tolvana {

namespace {

// A string reads as a number the way the platform's string readings do: leading blanks
// and a sign are skipped, the longest numeric prefix counts, anything else reads as 0.
std::string_view numericPrefix(const std::string& text, bool& negative) {
  std::size_t i = 0;
  while (i < text.size() && std::isspace(static_cast<unsigned char>(text[i]))) ++i;
  negative = false;
  if (i < text.size() && (text[i] == '+' || text[i] == '-')) negative = text[i++] == '-';
  return std::string_view(text).substr(i);
}

std::int64_t stringAsInteger(const std::string& text) {
  bool negative = false;
  std::string_view digits = numericPrefix(text, negative);
  std::uint64_t magnitude = 0;
  auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), magnitude);
  constexpr auto max = std::numeric_limits<std::int64_t>::max();
  // Out-of-range text saturates instead of wrapping.
  if (error == std::errc::result_out_of_range || magnitude > static_cast<std::uint64_t>(max)) {
    return negative ? std::numeric_limits<std::int64_t>::min() : max;
  }
  if (error != std::errc()) return 0;
  auto value = static_cast<std::int64_t>(magnitude);
  return negative ? -value : value;
}

double stringAsDouble(const std::string& text) {
  bool negative = false;
  std::string_view digits = numericPrefix(text, negative);
  double value = 0;
  // from_chars, unlike strtod, does not depend on the process's LC_NUMERIC.
  auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
  if (error == std::errc::result_out_of_range) {
    // Too small reads as 0, too large as infinity; a tiny number starts with "0" or "."
    // or has a negative exponent.
    std::string_view parsed = digits.substr(0, static_cast<std::size_t>(end - digits.data()));
    bool tiny = parsed.starts_with('0') || parsed.starts_with('.') || parsed.find("e-") != parsed.npos ||
                parsed.find("E-") != parsed.npos;
    value = tiny ? 0 : std::numeric_limits<double>::infinity();
  } else if (error != std::errc()) {
    return 0;
  }
  return negative ? -value : value;
}

}  // namespace

bool UserDefaults::boolForKey(std::string_view key) const {
  auto value = objectForKey(key);
  return value && value->boolValue();
}

std::int64_t UserDefaults::integerForKey(std::string_view key) const {
  auto value = objectForKey(key);
  if (!value) return 0;
  if (auto number = value->numberAsInteger()) return *number;
  return value->isString() ? stringAsInteger(value->asString()) : 0;
}

double UserDefaults::doubleForKey(std::string_view key) const {
  auto value = objectForKey(key);
  if (!value) return 0;
  if (auto number = value->numberAsDouble()) return *number;
  return value->isString() ? stringAsDouble(value->asString()) : 0;
}

std::optional<std::string> UserDefaults::stringForKey(std::string_view key) const {
  auto value = objectForKey(key);
  if (!value) return std::nullopt;
  if (value->isString()) return value->asString();
  if (value->isNumber()) return value->description();
  return std::nullopt;
}

}  // namespace tolvana
