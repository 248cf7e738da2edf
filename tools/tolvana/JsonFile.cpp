#include "JsonFile.h"

#include <cctype>

#include "Session.h"
#include "support/Files.h"

namespace tolvana::cli {

namespace {

// The parser counts a position after the character that told it the token was over, often a
// newline; the token itself is what the user has to look at.
std::string position(const std::string& text, std::size_t bytesRead) {
  std::size_t at = std::min(bytesRead, text.size());
  if (at > 0) --at;
  while (at > 0 && std::isspace(static_cast<unsigned char>(text[at]))) --at;
  std::size_t line = 1, column = 1;
  for (std::size_t i = 0; i < at; ++i) {
    if (text[i] == '\n') {
      ++line;
      column = 1;
    } else if ((static_cast<unsigned char>(text[i]) & 0xC0) != 0x80) {
      ++column;  // characters, not the bytes of one
    }
  }
  return "line " + std::to_string(line) + ", column " + std::to_string(column);
}

}  // namespace

nlohmann::json parseJson(const std::string& text, const std::string& what, const std::string& path) {
  try {
    return nlohmann::json::parse(text);
  } catch (const nlohmann::json::parse_error& e) {
    // "[json.exception.parse_error.101] parse error at line 3, column 0: syntax error …"
    std::string reason = e.what();
    if (auto colon = reason.find(": "); colon != std::string::npos) reason.erase(0, colon + 2);
    throw CommandError(what + " " + path + ": " + position(text, e.byte) + ": " + reason);
  }
}

nlohmann::json readJsonFile(const std::string& path, const std::string& what) {
  auto text = readWholeFile(path);
  if (!text) throw CommandError("cannot read " + what + " " + path);
  return parseJson(*text, what, path);
}

}  // namespace tolvana::cli
