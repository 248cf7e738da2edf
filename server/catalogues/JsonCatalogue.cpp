// JSON catalogues. Flat: {"key": "text", "items[one]": "…"}, the keys as apps see them.
// Nested: {"welcome": {"title": "…"}, "items": {"one": "…", "other": "…"}}: a key's parts
// joined by ".", and an object of plural form words alone holds the forms of one key.
#include <nlohmann/json.hpp>

#include "catalogues/CatalogueFormats.h"
#include "storage/Records.h"
#include "support/Json.h"

namespace tolvana::server {

namespace {

bool isFormWord(std::string_view word) {
  for (std::string_view form : {"zero", "one", "two", "few", "many", "other"}) {
    if (word == form) return true;
  }
  return false;
}

// The parser recurses, so depth is checked on the text before it gets there.
void checkDepth(std::string_view text) {
  int depth = 0;
  bool inString = false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    char c = text[i];
    if (inString) {
      if (c == '\\') ++i;
      else if (c == '"') inString = false;
    } else if (c == '"') {
      inString = true;
    } else if (c == '{' || c == '[') {
      if (++depth > kMaxCatalogueDepth) {
        throw CatalogueError("the JSON nests deeper than " + std::to_string(kMaxCatalogueDepth) + " levels");
      }
    } else if (c == '}' || c == ']') {
      --depth;
    }
  }
}

Value::Dictionary parseObject(std::string_view text) {
  checkDepth(text);
  std::string why;
  auto value = json::parse(text, &why);
  if (!value) throw CatalogueError("the file is no JSON: " + why);
  if (!value->isDictionary()) throw CatalogueError("the file is no JSON object");
  return value->asDictionary();
}

bool holdsForms(const Value::Dictionary& object) {
  if (object.empty()) return false;
  for (const auto& [word, text] : object) {
    if (!isFormWord(word) || !text.isString()) return false;
  }
  return true;
}

void readLevel(const Value::Dictionary& object, const std::string& prefix, Catalogue* out) {
  for (const auto& [name, value] : object) {
    std::string key = prefix.empty() ? name : prefix + "." + name;
    if (value.isString()) {
      auto [plainKey, plural] = Entry::splitAppKey(key);
      out->texts.push_back({plainKey, plural, value.asString(), ""});
    } else if (value.isDictionary() && holdsForms(value.asDictionary())) {
      for (const auto& [form, text] : value.asDictionary()) out->texts.push_back({key, form, text.asString(), ""});
    } else if (value.isDictionary()) {
      readLevel(value.asDictionary(), key, out);
    } else {
      throw CatalogueError("\"" + key + "\" is neither a text nor an object");
    }
  }
}

std::string dump(const nlohmann::json& document) {
  return document.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) + "\n";
}

// The object at the key's dotted path, made where missing; nullptr where a part is empty, a
// text or a key's forms: such a key is kept whole at the top, which reads back the same.
nlohmann::json* placeFor(nlohmann::json& root, const std::string& key, std::string* leaf) {
  std::vector<std::string> parts;
  std::size_t start = 0;
  for (std::size_t dot; (dot = key.find('.', start)) != std::string::npos; start = dot + 1) {
    parts.push_back(key.substr(start, dot - start));
  }
  *leaf = key.substr(start);
  const nlohmann::json* probe = &root;
  for (const std::string& part : parts) {
    if (part.empty()) return nullptr;
    auto next = probe->find(part);
    if (next == probe->end()) break;
    if (!next->is_object() || (!next->empty() && isFormWord(next->begin().key()))) return nullptr;
    probe = &*next;
  }
  if (leaf->empty()) return nullptr;
  nlohmann::json* at = &root;
  for (const std::string& part : parts) at = &(*at)[part];
  return at;
}

}  // namespace

Catalogue readFlatJson(std::string_view text, const std::string& language) {
  Catalogue out{language, {}, {}};
  for (const auto& [appKey, value] : parseObject(text)) {
    if (!value.isString()) {
      throw CatalogueError("\"" + appKey + "\" is no text; a flat JSON file holds texts only (json-nested takes objects)");
    }
    auto [key, plural] = Entry::splitAppKey(appKey);
    out.texts.push_back({key, plural, value.asString(), ""});
  }
  return out;
}

Catalogue readNestedJson(std::string_view text, const std::string& language) {
  Catalogue out{language, {}, {}};
  readLevel(parseObject(text), "", &out);
  return out;
}

std::string writeFlatJson(const Catalogue& catalogue) {
  nlohmann::json document = nlohmann::json::object();
  for (const CatalogueText& text : catalogue.texts) document[appKeyOf(text)] = text.text;
  return dump(document);
}

std::string writeNestedJson(const Catalogue& catalogue) {
  nlohmann::json document = nlohmann::json::object();
  for (const CatalogueText& text : sortedTexts(catalogue)) {
    std::string leaf;
    // A plain text named like a form would read back as a form.
    bool clash = text.plural.empty() && isFormWord(text.key.substr(text.key.rfind('.') + 1));
    nlohmann::json* at = clash ? nullptr : placeFor(document, text.key, &leaf);
    if (at && text.plural.empty() && !at->contains(leaf)) {
      (*at)[leaf] = text.text;
      continue;
    }
    if (at && !text.plural.empty()) {
      nlohmann::json& forms = (*at)[leaf];
      if (forms.is_null() || (forms.is_object() && !forms.empty() && isFormWord(forms.begin().key()))) {
        forms[text.plural] = text.text;
        continue;
      }
    }
    // Where the key cannot nest (a part is a text, or names another key's folder), it is kept
    // whole at the top, which reads back the same.
    std::string whole = appKeyOf(text);
    if (document.contains(whole)) {
      throw CatalogueError("\"" + whole + "\" clashes with another key in nested JSON; export flat JSON");
    }
    document[whole] = text.text;
  }
  return dump(document);
}

}  // namespace tolvana::server
