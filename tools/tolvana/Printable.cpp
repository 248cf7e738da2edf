#include "Printable.h"

#include <cstdio>

namespace tolvana::cli {

namespace {

// Length of the well-formed UTF-8 sequence at the start of text, 0 when there is none.
std::size_t sequenceLength(std::string_view text) {
  auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  unsigned char lead = byte(0);
  std::size_t length = lead < 0x80 ? 1 : (lead >> 5) == 0x6 ? 2 : (lead >> 4) == 0xE ? 3 : (lead >> 3) == 0x1E ? 4 : 0;
  if (length == 0 || length > text.size() || (length == 2 && lead < 0xC2) || lead > 0xF4) return 0;
  for (std::size_t i = 1; i < length; ++i) {
    if ((byte(i) & 0xC0) != 0x80) return 0;
  }
  // Overlong forms and surrogates are no UTF-8 either.
  if (length == 3 && ((lead == 0xE0 && byte(1) < 0xA0) || (lead == 0xED && byte(1) >= 0xA0))) return 0;
  if (length == 4 && ((lead == 0xF0 && byte(1) < 0x90) || (lead == 0xF4 && byte(1) >= 0x90))) return 0;
  return length;
}

}  // namespace

std::string printable(std::string_view text) {
  std::string out;
  while (!text.empty()) {
    std::size_t length = sequenceLength(text);
    unsigned char first = static_cast<unsigned char>(text[0]);
    if (length == 0 || (length == 1 && (first < 0x20 || first == 0x7F))) {
      char escaped[5];
      std::snprintf(escaped, sizeof escaped, "\\x%02X", first);
      out += escaped;
      length = 1;
    } else {
      out += text.substr(0, length);
    }
    text.remove_prefix(length);
  }
  return out;
}

}  // namespace tolvana::cli
