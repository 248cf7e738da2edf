// gettext catalogues written so that they read back to the same texts: the key as msgctxt,
// the base language's text as msgid (what a translator translates), and the plural forms in
// the language's msgstr order under a Plural-Forms header that picks them as apps do.
#include <algorithm>

#include "catalogues/CatalogueFormats.h"
#include "catalogues/PluralOrder.h"

namespace tolvana::server {

namespace {

std::string escaped(std::string_view text) {
  std::string out;
  for (char c : text) {
    switch (c) {
      case '"': out += "\\\""; break;
      case '\\': out += "\\\\"; break;
      case '\n': out += "\\n"; break;
      case '\t': out += "\\t"; break;
      case '\r': out += "\\r"; break;
      default: out += c;
    }
  }
  return out;
}

// A text with line breaks inside goes on one line per break, as the gettext tools write it.
std::string field(std::string_view keyword, std::string_view text) {
  std::size_t firstBreak = text.find('\n');
  if (firstBreak == std::string_view::npos || firstBreak + 1 == text.size()) {
    return std::string(keyword) + " \"" + escaped(text) + "\"\n";
  }
  std::string out = std::string(keyword) + " \"\"\n";
  for (std::size_t start = 0; start < text.size();) {
    std::size_t end = text.find('\n', start);
    end = end == std::string_view::npos ? text.size() : end + 1;
    out += "\"" + escaped(text.substr(start, end - start)) + "\"\n";
    start = end;
  }
  return out;
}

std::string header(const Catalogue& catalogue, bool templateOnly) {
  std::string fields = "Content-Type: text/plain; charset=UTF-8\nContent-Transfer-Encoding: 8bit\nMIME-Version: 1.0\n";
  if (!templateOnly) {
    fields = "Language: " + catalogue.language + "\n" + fields + "Plural-Forms: " +
             std::string(pluralOrderOf(catalogue.language).header) + "\n";
  }
  return "msgid \"\"\n" + field("msgstr", fields);
}

std::string notes(const std::string& comment) {
  std::string out;
  for (std::size_t start = 0; !comment.empty() && start <= comment.size();) {
    std::size_t end = comment.find('\n', start);
    if (end == std::string::npos) end = comment.size();
    out += "#. " + comment.substr(start, end - start) + "\n";
    start = end + 1;
  }
  return out;
}

}  // namespace

std::string writePo(const Catalogue& catalogue, bool templateOnly) {
  const auto& forms = pluralOrderOf(catalogue.language).forms;
  auto source = [&catalogue](const std::string& appKey, const std::string& fallback) {
    auto at = catalogue.sourceTexts.find(appKey);
    return at != catalogue.sourceTexts.end() && !at->second.empty() ? at->second : fallback;
  };
  std::string out = header(catalogue, templateOnly);
  auto texts = sortedTexts(catalogue);
  for (std::size_t i = 0; i < texts.size();) {
    const CatalogueText& first = texts[i];
    out += "\n" + notes(first.comment) + field("msgctxt", first.key);
    if (first.plural.empty()) {
      out += field("msgid", source(first.key, first.key)) + field("msgstr", templateOnly ? "" : first.text);
      ++i;
      continue;
    }
    out += field("msgid", source(first.key + "[one]", first.key)) +
           field("msgid_plural", source(first.key + "[other]", first.key));
    std::size_t count = templateOnly ? 2 : forms.size();
    std::vector<std::string> byIndex(count);
    for (; i < texts.size() && texts[i].key == first.key && !texts[i].plural.empty(); ++i) {
      auto at = std::find(forms.begin(), forms.end(), texts[i].plural);
      if (!templateOnly && at != forms.end()) byIndex[at - forms.begin()] = texts[i].text;
    }
    for (std::size_t n = 0; n < count; ++n) out += field("msgstr[" + std::to_string(n) + "]", byIndex[n]);
  }
  return out;
}

}  // namespace tolvana::server
