// XLIFF 1.2 and 2.0: one unit per key or plural form, named as apps name it ("items[one]") in
// resname (1.2) or name (2.0), so it needs no convention for plurals of its own. A unit
// without a target is untranslated and left out; inline markup in a target is read as its text.
#include <optional>

#include "catalogues/CatalogueFormats.h"
#include "catalogues/XmlDocument.h"
#include "storage/Records.h"

namespace tolvana::server {

namespace {

using X = XmlDocument;

std::string sourceOf(const Catalogue& catalogue, const CatalogueText& text) {
  auto at = catalogue.sourceTexts.find(appKeyOf(text));
  return at == catalogue.sourceTexts.end() ? text.key : at->second;
}

void add(Catalogue* out, const std::string& appKey, const std::optional<std::string>& target, std::string comment) {
  if (appKey.empty()) throw CatalogueError("a unit without a name or id");
  if (!target) return;
  auto [key, plural] = Entry::splitAppKey(appKey);
  out->texts.push_back({key, plural, *target, std::move(comment)});
}

std::optional<std::string> textOf(const xmlNode* node) {
  return node ? std::optional(X::text(node)) : std::nullopt;
}

std::string header(const Catalogue& catalogue, bool two) {
  std::string source = xmlEscaped(catalogue.sourceLanguage), target = xmlEscaped(catalogue.language);
  std::string out = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
  if (two) {
    return out + "<xliff xmlns=\"urn:oasis:names:tc:xliff:document:2.0\" version=\"2.0\" srcLang=\"" + source +
           "\" trgLang=\"" + target + "\">\n  <file id=\"f1\">\n";
  }
  return out + "<xliff xmlns=\"urn:oasis:names:tc:xliff:document:1.2\" version=\"1.2\">\n  <file original=\"" +
         target + "\" source-language=\"" + source + "\" target-language=\"" + target +
         "\" datatype=\"plaintext\">\n    <body>\n";
}

}  // namespace

Catalogue readXliff(std::string_view text, const std::string& language) {
  XmlDocument document(text);
  if (!X::named(document.root(), "xliff")) throw CatalogueError("the root element is no <xliff>");
  Catalogue out{language, {}, {}};
  std::string version = X::attribute(document.root(), "version");
  if (version.starts_with("1.")) {
    for (xmlNode* unit : X::descendants(document.root(), "trans-unit")) {
      std::string name = X::attribute(unit, "resname");
      add(&out, name.empty() ? X::attribute(unit, "id") : name, textOf(X::child(unit, "target")),
          X::text(X::child(unit, "note")));
    }
  } else if (version.starts_with("2.")) {
    for (xmlNode* unit : X::descendants(document.root(), "unit")) {
      std::string name = X::attribute(unit, "name");
      std::optional<std::string> target;  // a unit's text may come in several segments
      for (xmlNode* segment : X::children(unit, "segment")) {
        if (auto part = textOf(X::child(segment, "target"))) target = target.value_or("") + *part;
      }
      add(&out, name.empty() ? X::attribute(unit, "id") : name, target,
          X::text(X::child(X::child(unit, "notes"), "note")));
    }
  } else {
    throw CatalogueError("XLIFF version \"" + version + "\" is not read (1.2 and 2.0 are)");
  }
  return out;
}

std::string writeXliff(const Catalogue& catalogue, bool two) {
  std::string out = header(catalogue, two);
  int number = 0;
  for (const CatalogueText& text : sortedTexts(catalogue)) {
    std::string name = xmlEscaped(appKeyOf(text)), note;
    if (!text.comment.empty()) note = two ? "<notes><note>" + xmlEscaped(text.comment) + "</note></notes>"
                                          : "<note>" + xmlEscaped(text.comment) + "</note>";
    std::string pair = "<source>" + xmlEscaped(sourceOf(catalogue, text)) + "</source><target>" + xmlEscaped(text.text) + "</target>";
    if (two) {
      out += "    <unit id=\"u" + std::to_string(++number) + "\" name=\"" + name + "\">" + note + "<segment>" + pair +
             "</segment></unit>\n";
    } else {
      out += "      <trans-unit id=\"" + name + "\" resname=\"" + name + "\" xml:space=\"preserve\">" + pair + note +
             "</trans-unit>\n";
    }
  }
  return out + (two ? "  </file>\n</xliff>\n" : "    </body>\n  </file>\n</xliff>\n");
}

}  // namespace tolvana::server
