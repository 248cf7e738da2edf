#include "localization/PseudoLocalization.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstddef>

namespace tolvana {

namespace {

// Look-alikes of A-Z and a-z, each readable as its letter.
constexpr std::string_view kUpper[26] = {"Å", "Ɓ", "Ç", "Đ", "É", "Ƒ", "Ĝ", "Ĥ", "Î", "Ĵ", "Ķ", "Ļ", "Ṁ",
                                         "Ñ", "Ö", "Þ", "Ǫ", "Ŕ", "Š", "Ţ", "Û", "Ṽ", "Ŵ", "Ẋ", "Ý", "Ž"};
constexpr std::string_view kLower[26] = {"å", "ƀ", "ç", "ð", "é", "ƒ", "ĝ", "ĥ", "î", "ĵ", "ķ", "ļ", "ɱ",
                                         "ñ", "ö", "þ", "ǫ", "ŕ", "š", "ţ", "û", "ṽ", "ŵ", "ẋ", "ý", "ž"};

bool isDigit(char c) { return c >= '0' && c <= '9'; }
bool isAlpha(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
bool isAlnum(char c) { return isDigit(c) || isAlpha(c); }

std::size_t skipDigits(std::string_view text, std::size_t at) {
  while (at < text.size() && isDigit(text[at])) ++at;
  return at;
}

// The end of a format placeholder that starts with "%" at `at`, or `at` when none does:
// %[n$][flags][width][.precision][length]conversion, with the object conversion %@.
std::size_t printfEnd(std::string_view text, std::size_t at) {
  std::size_t i = at + 1;
  if (std::size_t digits = skipDigits(text, i); digits > i && digits < text.size() && text[digits] == '$') {
    i = digits + 1;
  }
  while (i < text.size() && std::string_view("-+ #0'").find(text[i]) != std::string_view::npos) ++i;
  i = (i < text.size() && text[i] == '*') ? i + 1 : skipDigits(text, i);
  if (i < text.size() && text[i] == '.') i = (i + 1 < text.size() && text[i + 1] == '*') ? i + 2 : skipDigits(text, i + 1);
  for (std::string_view length : {"hh", "ll", "h", "l", "q", "L", "z", "j", "t"}) {
    if (text.substr(i, length.size()) == length) {
      i += length.size();
      break;
    }
  }
  if (i < text.size() && std::string_view("@dDiuUxXoOfFeEgGcCsSpaAn%").find(text[i]) != std::string_view::npos) {
    return i + 1;
  }
  return at;
}

// The end of a span that must stay as it is (a placeholder, a tag, an entity) starting at
// `at`, or `at` when none starts there.
std::size_t protectedEnd(std::string_view text, std::size_t at) {
  char c = text[at];
  if (c == '%' && at + 1 < text.size()) {
    if (text[at + 1] == '{') {
      std::size_t close = text.find('}', at + 2);
      return close == std::string_view::npos ? at : close + 1;
    }
    if (text.substr(at + 1, 2) == "#@") {
      std::size_t close = text.find('@', at + 3);
      return close == std::string_view::npos ? at : close + 1;
    }
    if (std::size_t end = printfEnd(text, at); end > at) return end;
    // A toolkit's numbered placeholders: %1 and the localised %L1.
    std::size_t digits = at + 1 + (text[at + 1] == 'L' ? 1 : 0);
    if (std::size_t end = skipDigits(text, digits); end > digits) return end;
    return at;
  }
  if (c == '<' && at + 1 < text.size() && (isAlpha(text[at + 1]) || text[at + 1] == '/' || text[at + 1] == '!')) {
    std::size_t close = text.find_first_of("<>", at + 1);
    return close != std::string_view::npos && text[close] == '>' ? close + 1 : at;
  }
  if (c == '&') {
    std::size_t i = at + 1;
    if (i < text.size() && text[i] == '#') {
      ++i;
      bool hex = i < text.size() && (text[i] == 'x' || text[i] == 'X');
      if (hex) ++i;
      std::size_t start = i;
      while (i < text.size() && (hex ? std::isxdigit(static_cast<unsigned char>(text[i])) != 0 : isDigit(text[i]))) ++i;
      return i > start && i < text.size() && text[i] == ';' ? i + 1 : at;
    }
    std::size_t start = i;
    while (i < text.size() && isAlnum(text[i]) && i - start < 32) ++i;
    return i > start && isAlpha(text[start]) && i < text.size() && text[i] == ';' ? i + 1 : at;
  }
  return at;
}

bool isContinuationByte(char c) { return (static_cast<unsigned char>(c) & 0xC0) == 0x80; }

}  // namespace

std::string pseudoLocalized(std::string_view text, double expansion) {
  if (text.empty()) return std::string();
  std::string out = "[";
  out.reserve(text.size() * 2 + 8);
  std::size_t shown = 0;  // characters outside protected spans, counted once per code point
  for (std::size_t i = 0; i < text.size();) {
    if (std::size_t end = protectedEnd(text, i); end > i) {
      out.append(text.substr(i, end - i));
      i = end;
      continue;
    }
    char c = text[i];
    if (c >= 'A' && c <= 'Z') {
      out.append(kUpper[c - 'A']);
    } else if (c >= 'a' && c <= 'z') {
      out.append(kLower[c - 'a']);
    } else {
      out.push_back(c);
    }
    if (!isContinuationByte(c)) ++shown;
    ++i;
  }
  double share = std::isnan(expansion) ? 0.0 : std::clamp(expansion, 0.0, kMaxPseudoExpansion);
  out.append(static_cast<std::size_t>(std::lround(static_cast<double>(shown) * share)), '~');
  out.push_back(']');
  return out;
}

}  // namespace tolvana
