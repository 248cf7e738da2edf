#include "support/StringUtil.h"

#include <algorithm>
#include <cctype>

namespace tolvana {

std::vector<std::string> split(std::string_view text, char separator) {
  std::vector<std::string> parts;
  std::size_t start = 0;
  while (true) {
    std::size_t end = text.find(separator, start);
    parts.emplace_back(text.substr(start, end == std::string_view::npos ? end : end - start));
    if (end == std::string_view::npos) return parts;
    start = end + 1;
  }
}

namespace {

// Decodes the code point at text[i] and its byte length; invalid bytes count as one byte.
char32_t decodeAt(std::string_view text, std::size_t i, std::size_t* length) {
  auto byte = [&](std::size_t k) { return static_cast<unsigned char>(text[k]); };
  unsigned char b = byte(i);
  std::size_t n = b < 0x80 ? 1 : (b >> 5) == 6 ? 2 : (b >> 4) == 14 ? 3 : (b >> 3) == 30 ? 4 : 1;
  if (i + n > text.size()) n = 1;
  *length = n;
  if (n == 1) return b;
  char32_t c = b & (0x7F >> n);
  for (std::size_t k = 1; k < n; ++k) c = (c << 6) | (byte(i + k) & 0x3F);
  return c;
}

bool isSpace(char32_t c) {
  return c == ' ' || c == '\t' || c == 0xA0 || c == 0x1680 || (c >= 0x2000 && c <= 0x200A) || c == 0x202F ||
         c == 0x205F || c == 0x3000;
}

bool isNewline(char32_t c) { return (c >= 0x0A && c <= 0x0D) || c == 0x85 || c == 0x2028 || c == 0x2029; }

template <class Pred>
std::string trim(std::string_view text, Pred drop) {
  std::size_t begin = 0;
  while (begin < text.size()) {
    std::size_t n;
    if (!drop(decodeAt(text, begin, &n))) break;
    begin += n;
  }
  std::size_t end = begin;
  for (std::size_t i = begin; i < text.size();) {
    std::size_t n;
    char32_t c = decodeAt(text, i, &n);
    i += n;
    if (!drop(c)) end = i;
  }
  return std::string(text.substr(begin, end - begin));
}

}  // namespace

std::string trimWhitespace(std::string_view text) { return trim(text, isSpace); }

std::string trimWhitespaceAndNewlines(std::string_view text) {
  return trim(text, [](char32_t c) { return isSpace(c) || isNewline(c); });
}

std::string lastPathComponent(std::string_view path) {
  while (path.size() > 1 && path.back() == '/') path.remove_suffix(1);
  auto slash = path.rfind('/');
  return std::string(slash == std::string_view::npos || path.size() == 1 ? path : path.substr(slash + 1));
}

std::string pathExtension(std::string_view path) {
  std::string name = lastPathComponent(path);
  auto dot = name.rfind('.');
  if (dot == std::string::npos || dot == 0) return {};
  return name.substr(dot + 1);
}

std::string deletingPathExtension(std::string_view name) {
  auto slash = name.rfind('/');
  auto dot = name.rfind('.');
  std::size_t nameStart = slash == std::string_view::npos ? 0 : slash + 1;
  if (dot == std::string_view::npos || dot <= nameStart) return std::string(name);
  return std::string(name.substr(0, dot));
}

std::size_t utf16Length(std::string_view utf8) {
  std::size_t units = 0;
  for (std::size_t i = 0; i < utf8.size();) {
    std::size_t n;
    char32_t c = decodeAt(utf8, i, &n);
    units += c >= 0x10000 ? 2 : 1;
    i += n;
  }
  return units;
}

bool utf16Prefix(std::string_view utf8, std::size_t count, std::string* prefix) {
  std::size_t units = 0;
  std::size_t i = 0;
  while (units < count && i < utf8.size()) {
    std::size_t n;
    char32_t c = decodeAt(utf8, i, &n);
    units += c >= 0x10000 ? 2 : 1;
    i += n;
  }
  if (units < count) return false;
  *prefix = std::string(utf8.substr(0, i));
  return true;
}

std::string removeAll(std::string_view text, char c) {
  std::string out;
  out.reserve(text.size());
  for (char ch : text) {
    if (ch != c) out += ch;
  }
  return out;
}

std::string toLower(std::string_view text) {
  std::string out(text);
  std::transform(out.begin(), out.end(), out.begin(), [](unsigned char c) { return std::tolower(c); });
  return out;
}

std::string toUpper(std::string_view text) {
  std::string out(text);
  std::transform(out.begin(), out.end(), out.begin(), [](unsigned char c) { return std::toupper(c); });
  return out;
}

bool contains(std::string_view text, std::string_view part) { return text.find(part) != std::string_view::npos; }

void appendUtf8(std::string& out, char32_t c) {
  if (c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF)) c = 0xFFFD;
  if (c < 0x80) {
    out += static_cast<char>(c);
  } else if (c < 0x800) {
    out += static_cast<char>(0xC0 | (c >> 6));
    out += static_cast<char>(0x80 | (c & 0x3F));
  } else if (c < 0x10000) {
    out += static_cast<char>(0xE0 | (c >> 12));
    out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (c & 0x3F));
  } else {
    out += static_cast<char>(0xF0 | (c >> 18));
    out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
    out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (c & 0x3F));
  }
}

bool isValidUtf8(std::string_view text) {
  for (std::size_t i = 0; i < text.size();) {
    auto c = static_cast<unsigned char>(text[i]);
    std::size_t extra = c < 0x80 ? 0 : (c >> 5) == 0x6 ? 1 : (c >> 4) == 0xE ? 2 : (c >> 3) == 0x1E ? 3 : 4;
    if (extra == 4 || i + extra >= text.size()) return false;
    char32_t code = extra == 0 ? c : c & (0x3F >> extra);
    for (std::size_t k = 1; k <= extra; ++k) {
      auto next = static_cast<unsigned char>(text[i + k]);
      if ((next & 0xC0) != 0x80) return false;
      code = (code << 6) | (next & 0x3F);
    }
    static constexpr char32_t kSmallest[] = {0, 0x80, 0x800, 0x10000};
    if (code < kSmallest[extra] || code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF)) return false;
    i += extra + 1;
  }
  return true;
}

std::string percentEncodedForQuery(std::string_view text) {
  static constexpr std::string_view kAllowed = "!$&'()*+,-./:;=?@_~";
  static constexpr char kHex[] = "0123456789ABCDEF";
  std::string out;
  for (unsigned char c : text) {
    if (std::isalnum(c) || kAllowed.find(static_cast<char>(c)) != std::string_view::npos) {
      out += static_cast<char>(c);
    } else {
      out += '%';
      out += kHex[c >> 4];
      out += kHex[c & 15];
    }
  }
  return out;
}

}  // namespace tolvana
