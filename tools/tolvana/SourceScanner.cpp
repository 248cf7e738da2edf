#include "SourceScanner.h"

#include <cctype>
#include <filesystem>
#include <map>
#include <optional>
#include <string_view>
#include <utility>

#include "support/StringUtil.h"

namespace tolvana::cli {

namespace {

struct Token {
  enum Kind { identifier, string, punctuation, other } kind;
  std::string text;  // the identifier or punctuation; a string's decoded value
  int line;
};

class Tokenizer {
 public:
  Tokenizer(std::string_view text, SourceLanguage language) : s_(text), qml_(language == SourceLanguage::qml) {}

  std::vector<Token> tokens() {
    std::vector<Token> out;
    while (i_ < s_.size()) {
      char c = s_[i_];
      if (c == '\n') {
        ++line_, ++i_;
      } else if (std::isspace(static_cast<unsigned char>(c))) {
        ++i_;
      } else if (startsWith("//")) {
        while (i_ < s_.size() && s_[i_] != '\n') ++i_;
      } else if (startsWith("/*")) {
        skipPast("*/");
      } else if (c == '"' || (c == '\'' && qml_)) {
        int line = line_;
        out.push_back({Token::string, quoted(c), line});
      } else if (c == '\'' || c == '`') {
        int line = line_;
        quoted(c);
        out.push_back({Token::other, "", line});
      } else if (c == '@' && i_ + 1 < s_.size() && s_[i_ + 1] == '"') {
        ++i_;
      } else if (std::isalpha(static_cast<unsigned char>(c)) || c == '_') {
        identifierOrPrefixedString(out);
      } else if (std::isdigit(static_cast<unsigned char>(c))) {
        while (i_ < s_.size() && (std::isalnum(static_cast<unsigned char>(s_[i_])) || s_[i_] == '.' || s_[i_] == '\'')) ++i_;
        out.push_back({Token::other, "", line_});
      } else {
        out.push_back({Token::punctuation, std::string(1, c), line_});
        ++i_;
      }
    }
    return out;
  }

 private:
  bool startsWith(std::string_view prefix) const { return s_.substr(i_).starts_with(prefix); }

  void skipPast(std::string_view end) {
    auto at = s_.find(end, i_ + 2);
    std::size_t stop = at == std::string_view::npos ? s_.size() : at + end.size();
    for (; i_ < stop; ++i_) line_ += s_[i_] == '\n';
  }

  void identifierOrPrefixedString(std::vector<Token>& out) {
    std::size_t start = i_;
    while (i_ < s_.size() && (std::isalnum(static_cast<unsigned char>(s_[i_])) || s_[i_] == '_')) ++i_;
    std::string_view word = s_.substr(start, i_ - start);
    bool quote = i_ < s_.size() && s_[i_] == '"' && !qml_;
    if (quote && (word == "R" || word == "u8R" || word == "LR" || word == "uR" || word == "UR")) {
      int line = line_;
      out.push_back({Token::string, raw(), line});
    } else if (quote && (word == "u8" || word == "L" || word == "u" || word == "U")) {
      int line = line_;
      out.push_back({Token::string, quoted('"'), line});
    } else {
      out.push_back({Token::identifier, std::string(word), line_});
    }
  }

  // R"delimiter( … )delimiter", taken as it stands.
  std::string raw() {
    auto open = s_.find('(', i_);
    if (open == std::string_view::npos) return std::string(s_.substr(std::exchange(i_, s_.size())));
    std::string close = ")" + std::string(s_.substr(i_ + 1, open - i_ - 1)) + "\"";
    auto end = s_.find(close, open);
    std::size_t stop = end == std::string_view::npos ? s_.size() : end;
    std::string value(s_.substr(open + 1, stop - open - 1));
    for (char c : value) line_ += c == '\n';
    i_ = std::min(s_.size(), stop + close.size());
    return value;
  }

  std::uint32_t hexDigits(std::size_t most) {
    std::uint32_t value = 0;
    for (std::size_t n = 0; n < most && i_ < s_.size() && std::isxdigit(static_cast<unsigned char>(s_[i_])); ++n) {
      char d = static_cast<char>(std::tolower(static_cast<unsigned char>(s_[i_++])));
      value = value * 16 + static_cast<std::uint32_t>(d <= '9' ? d - '0' : d - 'a' + 10);
    }
    return value;
  }

  // A literal from its opening quote to its closing one, escapes decoded.
  std::string quoted(char quote) {
    std::string value;
    ++i_;
    while (i_ < s_.size() && s_[i_] != quote && s_[i_] != '\n') {
      if (s_[i_] != '\\' || i_ + 1 >= s_.size()) {
        value += s_[i_++];
        continue;
      }
      char e = s_[++i_];
      ++i_;
      static const std::map<char, char> simple = {{'n', '\n'}, {'t', '\t'}, {'r', '\r'}, {'a', '\a'}, {'b', '\b'},
                                                  {'f', '\f'}, {'v', '\v'}, {'0', '\0'}};
      if (e == 'x') {
        std::uint32_t c = hexDigits(qml_ ? 2 : 8);
        // In C a \x escape is one byte (UTF-8 spelt out byte by byte); in QML a character.
        if (qml_) appendUtf8(value, c); else value += static_cast<char>(c);
      } else if (e == 'u' && qml_ && i_ < s_.size() && s_[i_] == '{') {
        ++i_;
        appendUtf8(value, hexDigits(6));
        if (i_ < s_.size() && s_[i_] == '}') ++i_;
      } else if (e == 'u' || e == 'U') {
        appendUtf8(value, hexDigits(e == 'u' ? 4 : 8));
      } else if (e >= '0' && e <= '7' && !qml_) {
        unsigned c = e - '0';
        for (int n = 0; n < 2 && i_ < s_.size() && s_[i_] >= '0' && s_[i_] <= '7'; ++n) c = c * 8 + (s_[i_++] - '0');
        value += static_cast<char>(c);
      } else if (e == '\n') {
        ++line_;  // a line continued inside the literal
      } else {
        auto known = simple.find(e);
        value += known != simple.end() ? known->second : e;
      }
    }
    if (i_ < s_.size() && s_[i_] == quote) ++i_;
    return value;
  }

  std::string_view s_;
  bool qml_;
  std::size_t i_ = 0;
  int line_ = 1;
};

using Tokens = std::vector<Token>;
using Argument = std::vector<const Token*>;

// Literals as the language joins them: side by side in C, with "+" in QML and JavaScript.
std::optional<std::string> literal(const Argument& argument) {
  std::string value;
  bool expectString = true;
  for (const Token* token : argument) {
    if (token->kind == Token::string) {
      value += token->text;
      expectString = false;
    } else if (token->kind == Token::punctuation && token->text == "+" && !expectString) {
      expectString = true;
    } else {
      return std::nullopt;
    }
  }
  if (argument.empty() || expectString) return std::nullopt;
  return value;
}

bool isOpen(const Token& t) { return t.kind == Token::punctuation && (t.text == "(" || t.text == "[" || t.text == "{"); }
bool isClose(const Token& t) { return t.kind == Token::punctuation && (t.text == ")" || t.text == "]" || t.text == "}"); }
bool is(const Tokens& tokens, std::size_t at, Token::Kind kind, std::string_view text = {}) {
  return at < tokens.size() && tokens[at].kind == kind && (text.empty() || tokens[at].text == text);
}

// The arguments of the call whose "(" is at open, split at the commas outside brackets.
std::vector<Argument> callArguments(const Tokens& tokens, std::size_t open) {
  std::vector<Argument> arguments(1);
  int depth = 0;
  for (std::size_t i = open + 1; i < tokens.size(); ++i) {
    const Token& t = tokens[i];
    if (isOpen(t)) ++depth;
    if (isClose(t) && depth-- == 0) break;
    if (depth == 0 && t.kind == Token::punctuation && t.text == ",") {
      arguments.emplace_back();
    } else {
      arguments.back().push_back(&t);
    }
  }
  if (arguments.size() == 1 && arguments[0].empty()) arguments.clear();
  return arguments;
}

// The parts of an Objective-C message "[receiver name: value name: value]" after the receiver.
std::map<std::string, Argument> messageParts(const Tokens& tokens, std::size_t first) {
  std::map<std::string, Argument> parts;
  Argument* current = nullptr;
  int depth = 0;
  for (std::size_t i = first; i < tokens.size(); ++i) {
    const Token& t = tokens[i];
    if (depth == 0 && t.kind == Token::identifier && is(tokens, i + 1, Token::punctuation, ":")) {
      current = &parts[t.text];
      ++i;
      continue;
    }
    if (isOpen(t)) ++depth;
    if (isClose(t) && depth-- == 0) break;
    if (current) current->push_back(&t);
  }
  return parts;
}

struct Scan {
  const Tokens& tokens;
  ScanResult result;

  void add(const std::optional<std::string>& key, std::optional<std::string> text, bool plural, int line) {
    if (!key) return result.computedKeys.push_back(line);
    result.strings.push_back({*key, text.value_or(""), plural, line});
  }

  // name(...) at i, when the name is one of the look-ups.
  void call(std::size_t i) {
    const std::string& name = tokens[i].text;
    auto args = callArguments(tokens, i + 1);
    auto arg = [&](std::size_t n) { return n < args.size() ? literal(args[n]) : std::nullopt; };
    int line = tokens[i].line;
    if (args.empty()) return;
    if (name == "localizedStringForKey") {
      bool withDefault = args.size() > 1 && arg(1).has_value();
      add(arg(0), withDefault ? arg(1) : std::nullopt, args.size() == (withDefault ? 4u : 3u), line);
    } else if (name == "tolvana_localized_string") {
      add(arg(0), std::nullopt, false, line);
    } else if (name.starts_with("tolvana_localized_string_with_")) {
      add(arg(0), arg(1), name.ends_with("_plural_rule"), line);
    } else if (name == "tr" || name == "qsTr" || name == "QT_TR_NOOP") {
      add(arg(0), arg(0), args.size() >= 3, line);
    } else if (name == "qsTranslate" || name == "QT_TRANSLATE_NOOP" ||
               (name == "translate" && i >= 3 && tokens[i - 3].text == "QCoreApplication")) {
      add(arg(1), arg(1), args.size() >= 4, line);
    } else if (name == "qtTrId" || name == "qsTrId") {
      add(arg(0), std::nullopt, args.size() >= 2, line);
    } else if (name == "NSLocalizedString" || name == "NSLocalizedStringFromTable" ||
               name == "NSLocalizedStringFromTableInBundle") {
      add(arg(0), arg(0), false, line);  // the key is the base language's text
    } else if (name == "NSLocalizedStringWithDefaultValue") {
      add(arg(0), arg(3), false, line);
    }
  }

  // [Tolvana localizedStringForKey:… withDefaultValue:… andPluralRule:…] at i.
  void message(std::size_t i) {
    auto parts = messageParts(tokens, i + 2);
    auto part = [&](const char* name) {
      auto found = parts.find(name);
      return found == parts.end() ? std::nullopt : literal(found->second);
    };
    add(part("localizedStringForKey"), part("withDefaultValue"), parts.contains("andPluralRule"), tokens[i].line);
  }

  void run() {
    for (std::size_t i = 0; i < tokens.size(); ++i) {
      if (tokens[i].kind == Token::identifier && is(tokens, i + 1, Token::punctuation, "(")) {
        call(i);
      } else if (is(tokens, i, Token::punctuation, "[") && is(tokens, i + 1, Token::identifier, "Tolvana") &&
                 is(tokens, i + 2, Token::identifier, "localizedStringForKey")) {
        message(i);
      }
    }
  }
};

}  // namespace

bool sourceLanguageOf(const std::string& path, SourceLanguage* language) {
  static const std::map<std::string, SourceLanguage> byExtension = {
      {".c", SourceLanguage::c},         {".h", SourceLanguage::c},           {".cc", SourceLanguage::c},
      {".cpp", SourceLanguage::c},       {".cxx", SourceLanguage::c},         {".hpp", SourceLanguage::c},
      {".hh", SourceLanguage::c},        {".m", SourceLanguage::objectiveC},  {".mm", SourceLanguage::objectiveC},
      {".qml", SourceLanguage::qml},     {".js", SourceLanguage::qml}};
  auto found = byExtension.find(std::filesystem::path(path).extension().string());
  if (found == byExtension.end()) return false;
  *language = found->second;
  return true;
}

ScanResult scanSource(const std::string& text, SourceLanguage language) {
  Tokens tokens = Tokenizer(text, language).tokens();
  Scan scan{tokens, {}};
  scan.run();
  return std::move(scan.result);
}

}  // namespace tolvana::cli
