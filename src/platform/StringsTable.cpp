#include "platform/StringsTable.h"

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <iterator>
#include <vector>

#include "platform/PropertyList.h"
#include "support/StringUtil.h"

namespace tolvana::strings {

namespace {


bool isHighSurrogate(char32_t u) { return u >= 0xD800 && u <= 0xDBFF; }
bool isLowSurrogate(char32_t u) { return u >= 0xDC00 && u <= 0xDFFF; }

// Unpaired surrogates become U+FFFD rather than an error: translators' tools do write them,
// and one bad character should not cost the whole table.
std::optional<std::string> utf16ToUtf8(std::string_view bytes, bool bigEndian, std::string* error) {
  if (bytes.size() % 2 != 0) {
    if (error) *error = "truncated UTF-16 text (odd number of bytes)";
    return std::nullopt;
  }
  auto unitAt = [&](std::size_t i) -> char32_t {
    auto b0 = static_cast<unsigned char>(bytes[i]), b1 = static_cast<unsigned char>(bytes[i + 1]);
    return bigEndian ? (b0 << 8 | b1) : (b1 << 8 | b0);
  };
  std::string out;
  out.reserve(bytes.size());
  for (std::size_t i = 0; i < bytes.size(); i += 2) {
    char32_t unit = unitAt(i);
    if (isHighSurrogate(unit) && i + 2 < bytes.size() && isLowSurrogate(unitAt(i + 2))) {
      appendUtf8(out, 0x10000 + ((unit - 0xD800) << 10) + (unitAt(i + 2) - 0xDC00));
      i += 2;
    } else {
      appendUtf8(out, unit);
    }
  }
  return out;
}

bool isUnquotedChar(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || std::strchr("_$.:/+-", c);
}

int hexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// Every step either consumes input or fails, so garbage ends the parse, never loops it.
class TextParser {
 public:
  explicit TextParser(std::string_view text) : s_(text) {}

  std::optional<Value::Dictionary> parse(std::string* error) {
    auto result = parseTable();
    if (!result && error) *error = error_;
    return result;
  }

 private:
  std::optional<Value::Dictionary> parseTable() {
    Value::Dictionary table;
    if (!skipBlanksAndComments()) return std::nullopt;
    // A table may also be written as one braced dictionary.
    bool braced = peek('{');
    if (braced) ++pos_;
    for (;;) {
      if (!skipBlanksAndComments()) return std::nullopt;
      if (atEnd()) {
        if (braced) return fail(line_, "missing '}' at the end");
        return table;
      }
      if (braced && peek('}')) {
        ++pos_;
        if (!skipBlanksAndComments()) return std::nullopt;
        if (!atEnd()) return fail(line_, "unexpected text after '}'");
        return table;
      }
      auto key = readString();
      if (!key) return error_.empty() ? fail(line_, "expected a quoted key") : std::nullopt;
      if (!skipBlanksAndComments()) return std::nullopt;
      std::string value;
      if (peek('=')) {
        ++pos_;
        if (!skipBlanksAndComments()) return std::nullopt;
        auto read = readString();
        if (!read) return error_.empty() ? fail(line_, "expected a value after '='") : std::nullopt;
        value = std::move(*read);
        if (!skipBlanksAndComments()) return std::nullopt;
      } else {
        value = *key;
      }
      if (!peek(';')) return fail(tokenEndLine_, "missing ';' after the entry");
      ++pos_;
      table.insert_or_assign(std::move(*key), Value(std::move(value)));
    }
  }

  bool atEnd() const { return pos_ >= s_.size(); }
  bool peek(char c) const { return !atEnd() && s_[pos_] == c; }

  std::nullopt_t fail(int line, std::string_view message) {
    error_ = "line " + std::to_string(line) + ": " + std::string(message);
    return std::nullopt;
  }

  bool skipBlanksAndComments() {
    while (!atEnd()) {
      char c = s_[pos_];
      if (c == '\n') {
        ++line_;
        ++pos_;
      } else if (c == ' ' || c == '\t' || c == '\r' || c == '\f' || c == '\v') {
        ++pos_;
      } else if (c == '/' && pos_ + 1 < s_.size() && s_[pos_ + 1] == '/') {
        while (!atEnd() && s_[pos_] != '\n') ++pos_;
      } else if (c == '/' && pos_ + 1 < s_.size() && s_[pos_ + 1] == '*') {
        int startLine = line_;
        std::size_t end = s_.find("*/", pos_ + 2);
        if (end == std::string_view::npos) {
          fail(startLine, "unterminated comment");
          return false;
        }
        for (std::size_t i = pos_; i < end; ++i) line_ += s_[i] == '\n';
        pos_ = end + 2;
      } else {
        break;
      }
    }
    return true;
  }

  // A quoted or unquoted string; nullopt with error_ empty when none starts here.
  std::optional<std::string> readString() {
    if (atEnd()) return std::nullopt;
    char c = s_[pos_];
    if (c == '"' || c == '\'') return readQuoted(c);
    if (!isUnquotedChar(c)) return std::nullopt;
    std::size_t start = pos_;
    while (!atEnd() && isUnquotedChar(s_[pos_])) ++pos_;
    tokenEndLine_ = line_;
    return std::string(s_.substr(start, pos_ - start));
  }

  std::optional<std::string> readQuoted(char quote) {
    int startLine = line_;
    ++pos_;
    std::string out;
    while (!atEnd()) {
      char c = s_[pos_++];
      if (c == quote) {
        tokenEndLine_ = line_;
        return out;
      }
      if (c == '\n') ++line_;
      if (c != '\\') {
        out += c;
        continue;
      }
      if (atEnd()) break;
      readEscape(out);
    }
    return fail(startLine, "unterminated string");
  }

  void readEscape(std::string& out) {
    char c = s_[pos_++];
    switch (c) {
      case 'n': out += '\n'; return;
      case 't': out += '\t'; return;
      case 'r': out += '\r'; return;
      case 'a': out += '\a'; return;
      case 'b': out += '\b'; return;
      case 'f': out += '\f'; return;
      case 'v': out += '\v'; return;
      case 'U':
      case 'u': {
        auto unit = readHexUnit();
        if (!unit) {
          out += c;
          return;
        }
        char32_t code = *unit;
        if (isHighSurrogate(code)) {
          // The low half must follow as another \U escape to form one character.
          std::size_t save = pos_;
          if (pos_ + 1 < s_.size() && s_[pos_] == '\\' && (s_[pos_ + 1] == 'U' || s_[pos_ + 1] == 'u')) {
            pos_ += 2;
            auto low = readHexUnit();
            if (low && isLowSurrogate(*low)) {
              appendUtf8(out, 0x10000 + ((code - 0xD800) << 10) + (*low - 0xDC00));
              return;
            }
            pos_ = save;
          }
        }
        appendUtf8(out, code);  // a lone surrogate turns into U+FFFD here
        return;
      }
      default:
        break;
    }
    if (c >= '0' && c <= '7') {
      char32_t code = c - '0';
      for (int i = 0; i < 2 && !atEnd() && s_[pos_] >= '0' && s_[pos_] <= '7'; ++i) code = code * 8 + (s_[pos_++] - '0');
      // Octal escapes name single bytes; above 127 they are taken as Latin-1.
      appendUtf8(out, code & 0xFF);
      return;
    }
    if (c == '\n') ++line_;
    out += c;  // \" \' \\ and any other character stand for themselves
  }

  std::optional<char32_t> readHexUnit() {
    char32_t unit = 0;
    int digits = 0;
    for (; digits < 4 && !atEnd() && hexDigit(s_[pos_]) >= 0; ++digits) unit = unit * 16 + hexDigit(s_[pos_++]);
    if (digits == 0) return std::nullopt;
    return unit;
  }

  std::string_view s_;
  std::size_t pos_ = 0;
  int line_ = 1;
  int tokenEndLine_ = 1;
  std::string error_;
};

bool startsWith(std::string_view s, std::string_view prefix) { return s.substr(0, prefix.size()) == prefix; }

std::optional<Value::Dictionary> parseBytes(std::string_view bytes, std::string* error) {
  auto fail = [&](std::string message) -> std::optional<Value::Dictionary> {
    if (error) *error = std::move(message);
    return std::nullopt;
  };
  if (bytes.empty()) return fail("empty file");

  std::optional<Value> parsed;
  if (startsWith(bytes, "bplist00")) {
    std::string reason;
    parsed = plist::parse(std::vector<std::uint8_t>(bytes.begin(), bytes.end()), &reason);
    if (!parsed) return fail(reason);
  } else {
    std::string text;
    if (startsWith(bytes, "\xFF\xFE") || startsWith(bytes, "\xFE\xFF")) {
      auto decoded = utf16ToUtf8(bytes.substr(2), bytes[0] == '\xFE', error);
      if (!decoded) return std::nullopt;
      text = std::move(*decoded);
    } else {
      text = std::string(startsWith(bytes, "\xEF\xBB\xBF") ? bytes.substr(3) : bytes);
    }
    std::size_t start = text.find_first_not_of(" \t\r\n");
    std::string_view body = start == std::string::npos ? std::string_view() : std::string_view(text).substr(start);
    if (startsWith(body, "<?xml") || startsWith(body, "<plist") || startsWith(body, "<!DOCTYPE")) {
      std::string reason;
      parsed = plist::parse(std::vector<std::uint8_t>(body.begin(), body.end()), &reason);
      if (!parsed) return fail(reason);
    } else {
      return parseText(text, error);
    }
  }
  if (!parsed->isDictionary()) return fail("the top level is not a dictionary");
  return std::move(parsed->asDictionary());
}

}  // namespace

std::optional<Value::Dictionary> parseText(std::string_view utf8, std::string* error) {
  return TextParser(utf8).parse(error);
}

std::optional<Value::Dictionary> readDictionaryFile(const std::string& path, std::string* error) {
  std::ifstream in(path, std::ios::binary);
  if (!in) {
    if (error) *error = path + ": " + std::strerror(errno);
    return std::nullopt;
  }
  std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  if (in.bad()) {
    if (error) *error = path + ": read error";
    return std::nullopt;
  }
  std::string reason;
  auto table = parseBytes(bytes, &reason);
  if (!table && error) *error = path + ": " + reason;
  return table;
}

}  // namespace tolvana::strings
