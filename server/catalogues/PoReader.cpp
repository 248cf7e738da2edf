// gettext catalogues, read by hand rather than through libgettextpo: its error handler may not
// return on a fatal error, which a server that must answer every request cannot allow, and it
// reads only from files. The key of a message is its msgctxt when it has one (how keyed
// catalogues are written, and how ours are exported), else its msgid; msgstr[N] is the N-th
// plural form of the language. Untranslated messages are left out; "fuzzy" is not looked at,
// because everything imported waits as a draft for the review that flag asks for.
#include <cctype>
#include <map>

#include "catalogues/CatalogueFormats.h"
#include "catalogues/PluralOrder.h"
#include "support/StringUtil.h"

namespace tolvana::server {

namespace {

struct Message {
  std::optional<std::string> context, id, idPlural;
  std::map<int, std::string> texts;  // -1: the msgstr of a message without plural
  std::string comment;
  std::size_t line = 0;
};

[[noreturn]] void fail(std::size_t line, const std::string& why) {
  throw CatalogueError("line " + std::to_string(line) + ": " + why);
}

std::string unquote(std::string_view part, std::size_t line) {
  while (!part.empty() && (part.back() == ' ' || part.back() == '\t' || part.back() == '\r')) part.remove_suffix(1);
  if (part.size() < 2 || part.front() != '"' || part.back() != '"') fail(line, "a text must be in double quotes");
  part = part.substr(1, part.size() - 2);
  std::string out;
  for (std::size_t i = 0; i < part.size(); ++i) {
    char c = part[i];
    if (c == '"') fail(line, "a double quote inside a text must be written \\\"");
    if (c != '\\') {
      out += c;
      continue;
    }
    if (++i == part.size()) fail(line, "the text ends in a lone backslash");
    static constexpr std::string_view kFrom = "ntr\\\"abfv'?", kTo = "\n\t\r\\\"\a\b\f\v'?";
    if (auto at = kFrom.find(part[i]); at != std::string_view::npos) {
      out += kTo[at];
    } else if (part[i] >= '0' && part[i] <= '7') {
      int code = 0;
      for (int n = 0; n < 3 && i < part.size() && part[i] >= '0' && part[i] <= '7'; ++n, ++i) code = code * 8 + (part[i] - '0');
      --i;
      out += static_cast<char>(code);
    } else if (part[i] == 'x' && i + 1 < part.size() && std::isxdigit(static_cast<unsigned char>(part[i + 1]))) {
      std::size_t used = 0;
      int code = std::stoi(std::string(part.substr(i + 1, 2)), &used, 16);
      i += used;
      out += static_cast<char>(code);
    } else {
      fail(line, std::string("unknown escape \\") + part[i]);
    }
  }
  if (!isValidUtf8(out) || out.find('\0') != std::string::npos) fail(line, "an escape makes the text no UTF-8 text");
  return out;
}

class Parser {
 public:
  explicit Parser(std::string_view text) : text_(text) {}

  std::vector<Message> messages() {
    for (std::size_t start = 0; start <= text_.size(); ++line_) {
      std::size_t end = text_.find('\n', start);
      if (end == std::string_view::npos) end = text_.size();
      take(text_.substr(start, end - start));
      start = end + 1;
    }
    finish();
    return std::move(done_);
  }

 private:
  void take(std::string_view line) {
    while (!line.empty() && (line.front() == ' ' || line.front() == '\t')) line.remove_prefix(1);
    if (line.empty() || line == "\r" || line.starts_with("#~")) return;
    if (line.starts_with("#")) {
      if (!current_.texts.empty()) finish();
      if (line.starts_with("#.")) {
        std::string_view note = line.substr(line.starts_with("#. ") ? 3 : 2);
        if (note.ends_with('\r')) note.remove_suffix(1);
        current_.comment += (current_.comment.empty() ? "" : "\n") + std::string(note);
      }
      return;
    }
    if (line.starts_with("\"")) {
      if (!field_) fail(line_, "a continued text without a keyword before it");
      *field_ += unquote(line, line_);
      return;
    }
    std::size_t space = line.find_first_of(" \t");
    std::size_t quote = space == std::string_view::npos ? space : line.find_first_not_of(" \t", space);
    if (quote == std::string_view::npos) fail(line_, "expected a keyword and a quoted text");
    keyword(line.substr(0, space), unquote(line.substr(quote), line_));
  }

  void keyword(std::string_view word, std::string text) {
    if ((word == "msgctxt" || word == "msgid") && !current_.texts.empty()) finish();
    if (current_.line == 0) current_.line = line_;
    std::optional<std::string>* slot = word == "msgctxt" ? &current_.context
                                     : word == "msgid" ? &current_.id
                                     : word == "msgid_plural" ? &current_.idPlural : nullptr;
    if (slot) {
      if (*slot) fail(line_, std::string(word) + " twice in one message");
      field_ = &slot->emplace(std::move(text));
      return;
    }
    int index = -1;
    if (word.starts_with("msgstr[") && word.ends_with("]") && word.size() > 8) {
      index = 0;
      for (char c : word.substr(7, word.size() - 8)) {
        if (c < '0' || c > '9' || index > 100) fail(line_, "unusable plural index in " + std::string(word));
        index = index * 10 + (c - '0');
      }
    } else if (word != "msgstr") {
      fail(line_, "unknown keyword " + std::string(word));
    }
    if (!current_.id) fail(line_, "msgstr without a msgid before it");
    if ((index >= 0) != current_.idPlural.has_value()) fail(line_, "msgstr[N] goes with msgid_plural, msgstr without");
    if (current_.texts.contains(index)) fail(line_, "the same msgstr twice");
    field_ = &(current_.texts[index] = std::move(text));
  }

  void finish() {
    if (current_.id || current_.context) {
      if (current_.texts.empty()) fail(current_.line, "a message without msgstr");
      done_.push_back(std::move(current_));
    }
    current_ = Message{};
    field_ = nullptr;
  }

  std::string_view text_;
  std::size_t line_ = 1;
  Message current_;
  std::string* field_ = nullptr;
  std::vector<Message> done_;
};

std::string listed(const std::vector<std::string_view>& forms) {
  std::string out;
  for (auto form : forms) out += (out.empty() ? "" : ", ") + std::string(form);
  return out;
}

// The header's charset must be UTF-8 and its plural count the language's.
void checkHeader(const std::string& header, const PluralOrder& order, const std::string& language) {
  auto valueOf = [&header](std::string_view name) -> std::string {
    std::size_t at = header.find(name);
    if (at == std::string::npos) return {};
    at += name.size();
    return header.substr(at, header.find_first_of(";\n", at) - at);
  };
  std::string charset = toLower(valueOf("charset="));
  if (!charset.empty() && charset != "utf-8" && charset != "utf8" && charset != "charset" && charset != "us-ascii") {
    throw CatalogueError("the file is in " + charset + "; convert it to UTF-8 (and its header's charset)");
  }
  std::string count = valueOf("nplurals=");
  if (!count.empty() && std::isdigit(static_cast<unsigned char>(count[0])) && std::stoul(count) != order.forms.size()) {
    throw CatalogueError("the header says nplurals=" + count + ", but " + language + " has " +
                         std::to_string(order.forms.size()) + " plural forms (" + listed(order.forms) + ")");
  }
}

}  // namespace

Catalogue readPo(std::string_view text, const std::string& language) {
  const PluralOrder& order = pluralOrderOf(language);
  Catalogue out{language, {}, {}};
  std::map<std::string, std::size_t> seen;
  for (Message& m : Parser(text).messages()) {
    if (!m.context && m.id->empty()) {
      checkHeader(m.texts.begin()->second, order, language);
      continue;
    }
    const std::string& key = m.context ? *m.context : *m.id;
    if (key.empty()) fail(m.line, "a message without a key (msgctxt and msgid are empty)");
    if (auto [at, fresh] = seen.emplace(key, m.line); !fresh) fail(m.line, "\"" + key + "\" is also on line " + std::to_string(at->second));
    if (!m.idPlural) {
      if (!m.texts[-1].empty()) out.texts.push_back({key, "", std::move(m.texts[-1]), m.comment});
      continue;
    }
    bool translated = false;
    for (const auto& [index, form] : m.texts) translated = translated || !form.empty();
    if (!translated) continue;
    if (m.texts.size() != order.forms.size() || m.texts.rbegin()->first + 1 != static_cast<int>(order.forms.size())) {
      fail(m.line, "\"" + key + "\" has " + std::to_string(m.texts.size()) + " plural forms, but " + language +
                       " has " + std::to_string(order.forms.size()) + " (" + listed(order.forms) + ")");
    }
    for (auto& [index, form] : m.texts) {
      if (!form.empty()) out.texts.push_back({key, std::string(order.forms[index]), std::move(form), m.comment});
    }
  }
  return out;
}

}  // namespace tolvana::server
