// Qt Linguist .ts: one message per key, named by its id (a message without one is named by
// its source text), the developer's note in <extracomment>, plural forms as <numerusform>s in
// the language's order. Obsolete and vanished messages, and empty translations, are left out.
#include <algorithm>

#include "catalogues/CatalogueFormats.h"
#include "catalogues/PluralOrder.h"
#include "catalogues/XmlDocument.h"

namespace tolvana::server {

namespace {

using X = XmlDocument;

std::string sourceOf(const Catalogue& catalogue, const std::string& appKey, const std::string& key) {
  auto at = catalogue.sourceTexts.find(appKey);
  return at == catalogue.sourceTexts.end() ? key : at->second;
}

void readMessage(const xmlNode* message, const PluralOrder& order, Catalogue* out) {
  std::string key = X::attribute(message, "id");
  if (key.empty()) key = X::text(X::child(message, "source"));
  if (key.empty()) throw CatalogueError("a message without an id or source text (line " + std::to_string(message->line) + ")");
  const xmlNode* translation = X::child(message, "translation");
  std::string type = translation ? X::attribute(translation, "type") : "obsolete";
  if (type == "obsolete" || type == "vanished") return;
  std::string note = X::text(X::child(message, "extracomment"));
  if (X::attribute(message, "numerus") != "yes") {
    if (std::string text = X::text(translation); !text.empty()) out->texts.push_back({key, "", text, note});
    return;
  }
  auto forms = X::children(translation, "numerusform");
  bool translated = false;
  for (const xmlNode* form : forms) translated = translated || !X::text(form).empty();
  if (!translated) return;
  if (forms.size() != order.forms.size()) {
    throw CatalogueError("\"" + key + "\" has " + std::to_string(forms.size()) + " plural forms, but " + out->language +
                         " has " + std::to_string(order.forms.size()));
  }
  for (std::size_t i = 0; i < forms.size(); ++i) {
    if (std::string text = X::text(forms[i]); !text.empty()) {
      out->texts.push_back({key, std::string(order.forms[i]), text, note});
    }
  }
}

}  // namespace

Catalogue readTs(std::string_view text, const std::string& language) {
  XmlDocument document(text);
  if (!X::named(document.root(), "TS")) throw CatalogueError("the root element is no <TS>");
  Catalogue out{language, {}, {}};
  const PluralOrder& order = pluralOrderOf(language);
  for (xmlNode* message : X::descendants(document.root(), "message")) readMessage(message, order, &out);
  return out;
}

std::string writeTs(const Catalogue& catalogue) {
  const auto& forms = pluralOrderOf(catalogue.language).forms;
  std::string out = "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<!DOCTYPE TS>\n<TS version=\"2.1\" language=\"" +
                    xmlEscaped(catalogue.language) + "\" sourcelanguage=\"" + xmlEscaped(catalogue.sourceLanguage) +
                    "\">\n<context>\n  <name></name>\n";
  auto texts = sortedTexts(catalogue);
  for (std::size_t i = 0; i < texts.size();) {
    const CatalogueText& first = texts[i];
    std::string note = first.comment.empty() ? "" : "<extracomment>" + xmlEscaped(first.comment) + "</extracomment>";
    out += "  <message id=\"" + xmlEscaped(first.key) + "\"" + (first.plural.empty() ? "" : " numerus=\"yes\"") + ">";
    if (first.plural.empty()) {
      out += "<source>" + xmlEscaped(sourceOf(catalogue, first.key, first.key)) + "</source>" + note + "<translation>" +
             xmlEscaped(first.text) + "</translation></message>\n";
      ++i;
      continue;
    }
    std::vector<std::string> byIndex(forms.size());
    for (; i < texts.size() && texts[i].key == first.key && !texts[i].plural.empty(); ++i) {
      auto at = std::find(forms.begin(), forms.end(), texts[i].plural);
      if (at != forms.end()) byIndex[at - forms.begin()] = texts[i].text;
    }
    out += "<source>" + xmlEscaped(sourceOf(catalogue, first.key + "[other]", first.key)) + "</source>" + note +
           "<translation>";
    for (const std::string& form : byIndex) out += "<numerusform>" + xmlEscaped(form) + "</numerusform>";
    out += "</translation></message>\n";
  }
  return out + "</context>\n</TS>\n";
}

}  // namespace tolvana::server
