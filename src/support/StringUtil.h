// Small string operations with the platform's meanings (white space, path extensions,
// UTF-16 lengths).
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace tolvana {

// Splits at every separator; an empty text gives one empty element.
std::vector<std::string> split(std::string_view text, char separator);
// The items with separator between each two.
template <class Strings>
std::string join(const Strings& items, std::string_view separator) {
  std::string out;
  for (const auto& item : items) {
    if (!out.empty()) out += separator;
    out += item;
  }
  return out;
}
// Without leading and trailing blanks and tabs (and other Unicode space separators).
std::string trimWhitespace(std::string_view text);
// Without leading and trailing white space and line ends.
std::string trimWhitespaceAndNewlines(std::string_view text);
// "A.framework" → "A"; a name without extension stays as it is.
std::string deletingPathExtension(std::string_view name);
std::string pathExtension(std::string_view path);
std::string lastPathComponent(std::string_view path);
// The length in UTF-16 code units, as a platform string counts characters.
std::size_t utf16Length(std::string_view utf8);
// The first n UTF-16 code units; nullopt-like empty when the text is shorter.
bool utf16Prefix(std::string_view utf8, std::size_t n, std::string* prefix);
// Well-formed UTF-8: no stray continuation bytes, overlong forms, surrogates or code points
// past U+10FFFF.
bool isValidUtf8(std::string_view text);
// Appends a code point as UTF-8; surrogates and values past U+10FFFF become U+FFFD.
void appendUtf8(std::string& out, char32_t c);
std::string removeAll(std::string_view text, char c);
std::string toLower(std::string_view text);
// The characters a URL query may hold stay as they are; everything else is percent-encoded.
std::string percentEncodedForQuery(std::string_view text);
std::string toUpper(std::string_view text);
bool contains(std::string_view text, std::string_view part);

}  // namespace tolvana
