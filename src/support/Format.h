// Message formatting with the engine's printf-style texts ("Version: %@", "%ld entries").
//
// Each conversion (%@ %d %i %u %ld %lu %lld %llu %s %c) takes the next argument and writes
// it as text, whatever its C++ type; "%%" is a percent sign. Keeping the messages in this
// form keeps each one a single literal that can be searched for and compared exactly.
#pragma once

#include <concepts>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>

#include "tolvana/Value.h"

namespace tolvana {

namespace format_detail {

inline void append(std::string& out, std::string_view s) { out += s; }
inline void append(std::string& out, const std::string& s) { out += s; }
inline void append(std::string& out, const char* s) { out += s ? s : "(null)"; }
inline void append(std::string& out, char c) { out += c; }
inline void append(std::string& out, bool b) { out += b ? "1" : "0"; }
inline void append(std::string& out, const Value& v) { out += v.description(); }
inline void append(std::string& out, double d) { out += Value(d).description(); }
template <std::integral T>
  requires(!std::same_as<T, bool> && !std::same_as<T, char>)
void append(std::string& out, T i) {
  out += std::to_string(i);
}
template <class T>
void append(std::string& out, const std::optional<T>& o) {
  if (o) {
    append(out, *o);
  } else {
    out += "(null)";
  }
}

// Length of the conversion that starts at fmt[i] == '%', or 0 when there is none.
std::size_t conversionLength(std::string_view fmt, std::size_t i);

inline void formatInto(std::string& out, std::string_view fmt) {
  for (std::size_t i = 0; i < fmt.size(); ++i) {
    if (fmt[i] == '%' && i + 1 < fmt.size() && fmt[i + 1] == '%') ++i;
    out += fmt[i];
  }
}

template <class First, class... Rest>
void formatInto(std::string& out, std::string_view fmt, const First& first, const Rest&... rest) {
  for (std::size_t i = 0; i < fmt.size(); ++i) {
    if (fmt[i] != '%') {
      out += fmt[i];
      continue;
    }
    if (i + 1 < fmt.size() && fmt[i + 1] == '%') {
      out += '%';
      ++i;
      continue;
    }
    if (std::size_t n = conversionLength(fmt, i)) {
      append(out, first);
      formatInto(out, fmt.substr(i + n), rest...);
      return;
    }
    out += '%';
  }
}

}  // namespace format_detail

template <class... Args>
std::string format(std::string_view fmt, const Args&... args) {
  std::string out;
  out.reserve(fmt.size() + 16 * sizeof...(Args));
  format_detail::formatInto(out, fmt, args...);
  return out;
}

}  // namespace tolvana
