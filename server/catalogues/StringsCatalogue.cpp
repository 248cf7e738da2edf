// String tables: ".strings" ("key" = "text"; with /* notes */) holds plain texts and the forms
// of plural keys under the names apps see ("items[one]"); ".stringsdict" (a property list)
// holds plural keys alone, one plural variable per key.
#include <algorithm>
#include <cstdio>

#include "catalogues/CatalogueFormats.h"
#include "platform/PropertyList.h"
#include "platform/StringsTable.h"
#include "storage/Records.h"

namespace tolvana::server {

namespace {

constexpr std::string_view kFormatKey = "NSStringLocalizedFormatKey";
constexpr std::string_view kSpecType = "NSStringFormatSpecTypeKey";
constexpr std::string_view kPluralRule = "NSStringPluralRuleType";
constexpr std::string_view kVariable = "value";

std::string quoted(std::string_view text) {
  std::string out = "\"";
  for (unsigned char c : text) {
    switch (c) {
      case '"': out += "\\\""; break;
      case '\\': out += "\\\\"; break;
      case '\n': out += "\\n"; break;
      case '\t': out += "\\t"; break;
      default:
        if (c < 0x20) {
          char escaped[8];
          std::snprintf(escaped, sizeof escaped, "\\U%04X", c);
          out += escaped;
        } else {
          out += static_cast<char>(c);
        }
    }
  }
  return out + "\"";
}

// The libplist reader recurses through XML nesting; it is not given more than a real file has.
void checkXmlDepth(std::string_view bytes) {
  if (bytes.starts_with("bplist")) return;  // offsets, not nesting: libplist bounds it
  int depth = 0;
  for (std::size_t at = bytes.find('<'); at != std::string_view::npos; at = bytes.find('<', at + 1)) {
    std::string_view tag = bytes.substr(at + 1, 6);
    if (tag.starts_with("dict>") || tag.starts_with("array>")) ++depth;
    else if (tag.starts_with("/dict") || tag.starts_with("/array")) --depth;
    if (depth > kMaxCatalogueDepth) {
      throw CatalogueError("the property list nests deeper than " + std::to_string(kMaxCatalogueDepth) + " levels");
    }
  }
}

// The forms of one key: its format text with the one plural variable put in per form.
void readPluralKey(const std::string& key, const Value& spec, Catalogue* out) {
  const Value* format = spec.find(kFormatKey);
  if (!spec.isDictionary() || !format || !format->isString()) {
    throw CatalogueError("\"" + key + "\" lacks its " + std::string(kFormatKey));
  }
  const Value::Dictionary* forms = nullptr;
  std::string placeholder;
  for (const auto& [name, value] : spec.asDictionary()) {
    const Value* type = value.find(kSpecType);
    if (!value.isDictionary() || !type || !type->isString() || type->asString() != kPluralRule) continue;
    if (forms) throw CatalogueError("\"" + key + "\" has several plural variables; one per key is taken");
    forms = &value.asDictionary();
    placeholder = "%#@" + name + "@";
  }
  if (!forms) throw CatalogueError("\"" + key + "\" has no plural variable");
  std::string text = format->asString();
  std::size_t at = text.find(placeholder);
  for (const auto& [form, value] : *forms) {
    if (form == kSpecType || form == "NSStringFormatValueTypeKey" || !value.isString()) continue;
    if (Entry::splitAppKey(key + "[" + form + "]").second.empty()) {
      throw CatalogueError("\"" + key + "\" has a form \"" + form + "\", which is no plural form");
    }
    std::string filled = at == std::string::npos ? value.asString() : text.substr(0, at) + value.asString() +
                                                                          text.substr(at + placeholder.size());
    out->texts.push_back({key, form, filled, ""});
  }
}

}  // namespace

Catalogue readStrings(std::string_view text, const std::string& language) {
  std::string why;
  auto table = strings::parseText(text, &why);
  if (!table) throw CatalogueError("the .strings file does not parse: " + why);
  Catalogue out{language, {}, {}};
  for (const auto& [appKey, value] : *table) {
    if (!value.isString()) continue;
    auto [key, plural] = Entry::splitAppKey(appKey);
    out.texts.push_back({key, plural, value.asString(), ""});
  }
  return out;
}

Catalogue readStringsdict(std::string_view bytes, const std::string& language) {
  checkXmlDepth(bytes);
  std::string why;
  auto root = plist::parse(std::vector<std::uint8_t>(bytes.begin(), bytes.end()), &why);
  if (!root || !root->isDictionary()) throw CatalogueError("the .stringsdict is no property-list dictionary " + why);
  Catalogue out{language, {}, {}};
  for (const auto& [key, spec] : root->asDictionary()) readPluralKey(key, spec, &out);
  return out;
}

std::string writeStrings(const Catalogue& catalogue) {
  std::string out;
  for (const CatalogueText& text : sortedTexts(catalogue)) {
    if (!text.comment.empty()) {
      std::string note = text.comment;
      for (std::size_t at; (at = note.find("*/")) != std::string::npos;) note.replace(at, 2, "* /");
      out += "/* " + note + " */\n";
    }
    out += quoted(appKeyOf(text)) + " = " + quoted(text.text) + ";\n";
  }
  return out;
}

std::string writeStringsdict(const Catalogue& catalogue) {
  Value::Dictionary root;
  for (const CatalogueText& text : catalogue.texts) {
    if (text.plural.empty()) continue;  // plain texts belong in .strings
    Value& spec = root[text.key];
    if (!spec.isDictionary()) {
      spec = Value::Dictionary{{std::string(kFormatKey), "%#@" + std::string(kVariable) + "@"},
                               {std::string(kVariable), Value::Dictionary{{std::string(kSpecType), std::string(kPluralRule)},
                                                                          {"NSStringFormatValueTypeKey", "d"}}}};
    }
    spec.asDictionary().at(std::string(kVariable)).asDictionary()[text.plural] = text.text;
  }
  std::string why;
  auto bytes = plist::serialize(Value(root), plist::Format::Xml, &why);
  if (bytes.empty()) throw CatalogueError("cannot write the .stringsdict: " + why);
  return std::string(bytes.begin(), bytes.end());
}

}  // namespace tolvana::server
