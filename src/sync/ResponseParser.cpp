#include "sync/ResponseParser.h"

#include <simdjson.h>

#include <optional>
#include <string>
#include <vector>

#include "store/TLDatabase.h"
#include "support/TLLog.h"

namespace tolvana {

namespace od = simdjson::ondemand;

namespace {

// Numbers are accepted as texts: a translation such as 42 arrives as a JSON number.
std::optional<std::string_view> entryText(od::value value, std::string& scratch, std::string_view field,
                                          std::string_view key, bool* wrongType) {
  od::json_type type;
  if (value.type().get(type)) {
    *wrongType = true;
    return std::nullopt;
  }
  switch (type) {
    case od::json_type::string: {
      std::string_view text;
      if (value.get_string().get(text)) break;
      return text;
    }
    case od::json_type::number: {
      od::number number;
      if (value.get_number().get(number)) break;
      scratch = number.is_double() ? Value(number.get_double()).description()
                : number.is_int64() ? std::to_string(number.get_int64())
                                    : std::to_string(number.get_uint64());
      return std::string_view(scratch);
    }
    case od::json_type::null:
      return std::nullopt;
    default:
      break;
  }
  logError("Invalid entry field '%@' of '%@' skipped.", field, key);
  *wrongType = true;
  return std::nullopt;
}

struct AppFields {
  bool empty = true;
  std::optional<Value> version;
  bool versionWrongType = false;
  std::optional<std::string> baseLanguage;
  std::optional<std::string> masterLanguage;
  bool collectMissingEnabled = false;
  bool draftModeEnabled = false;
};

std::optional<std::string> stringField(od::value value) {
  std::string_view text;
  if (value.get_string().get(text)) return std::nullopt;
  return std::string(text);
}

bool boolField(od::value value) {
  bool b = false;
  if (!value.get_bool().get(b)) return b;
  double d = 0;
  if (!value.get_double().get(d)) return d != 0;
  return false;
}

}  // namespace

bool ResponseParser::parseV2(std::string_view json) {
  logVerbose("parsing Server response...");
  std::vector<std::string> delivered;

  od::parser parser;
  simdjson::padded_string padded(json);
  od::document document;
  od::object root;
  if (parser.iterate(padded).get(document) || document.get_object().get(root)) {
    logError("Server response is no JSON object.");
    return false;
  }

  // First pass: the app-level fields decide whether the answer is taken at all, wherever
  // they stand in the object.
  AppFields app;
  for (auto field : root) {
    std::string_view key;
    od::value value;
    if (field.unescaped_key().get(key) || field.value().get(value)) {
      logError("Server response is malformed.");
      return false;
    }
    app.empty = false;
    if (key == "__v") {
      od::number number;
      if (value.get_number().get(number)) {
        app.versionWrongType = true;
      } else {
        if (number.is_double()) {
          app.version = Value(number.get_double());
        } else {
          app.version = Value(number.get_int64());
        }
      }
    } else if (key == "baseLanguage") {
      app.baseLanguage = stringField(value);
    } else if (key == "masterLanguage") {
      app.masterLanguage = stringField(value);
    } else if (key == "collectMissingEnabled") {
      app.collectMissingEnabled = boolField(value);
    } else if (key == "draftModeEnabled") {
      app.draftModeEnabled = boolField(value);
    }
  }
  if (document.rewind(), document.get_object().get(root)) {
    logError("Server response is malformed.");
    return false;
  }

  if (app.empty) {
    logVerbose("Empty Response");
    return true;
  }
  if (!app.version) {
    if (app.versionWrongType) logError("Version Info is no number.");
    logError("Missing Version Info.");
    return false;
  }
  Value stored = database_.appVersion();
  if (*stored.numberAsDouble() < *app.version->numberAsDouble()) {
    database_.setAppVersion(*app.version);
    std::optional<std::string> base = app.baseLanguage ? app.baseLanguage : app.masterLanguage;
    database_.setBaseLanguage(base);
    if (!base) {
      logError("Missing Baselanguage.");
      return false;
    }
    database_.setCollectMissingEnabled(app.collectMissingEnabled);
    database_.setDraftModeEnabled(app.draftModeEnabled);
  }

  logVerbose("Parsing entry data...");
  long counter = 0;
  bool inDraftMode = database_.engineInDraftMode();
  std::string valueScratch, draftScratch;
  bool malformed = false;
  for (auto field : root) {
    std::string_view key;
    od::value data;
    if (field.unescaped_key().get(key) || field.value().get(data)) {
      malformed = true;
      break;
    }
    if (key != "data") continue;
    od::object languages;
    if (data.get_object().get(languages)) {
      logError("Server response field 'data' is no object; skipped.");
      break;
    }
    for (auto languageField : languages) {
      std::string_view languageView;
      od::value groupsValue;
      if (languageField.unescaped_key().get(languageView) || languageField.value().get(groupsValue)) {
        malformed = true;
        break;
      }
      std::string language(languageView);
      logVerbose("Parsing language: '%@'", language);
      delivered.push_back(language);
      auto store = database_.databaseForLanguage(language, true);
      od::object groups;
      if (groupsValue.get_object().get(groups)) {
        logError("Groups of language '%@' are no object; skipped.", language);
        continue;
      }
      for (auto groupField : groups) {
        std::string_view groupView;
        od::value groupValue;
        od::object group;
        if (groupField.unescaped_key().get(groupView) || groupField.value().get(groupValue)) {
          malformed = true;
          break;
        }
        std::string groupName(groupView);
        logVerbose("Parsing group: '%@'", groupName);
        if (groupValue.get_object().get(group)) {
          logError("Group '%@' of '%@' is no object; skipped.", groupName, language);
          continue;
        }
        // The version decides whether the entries are wanted, wherever it stands in the group.
        std::optional<std::int64_t> version;
        for (auto member : group) {
          std::string_view name;
          od::value v;
          if (member.unescaped_key().get(name) || member.value().get(v)) break;
          std::int64_t n;
          if (name == "version" && !v.get_int64().get(n)) version = n;
        }
        if (!version) {
          logError("Group '%@' of '%@' has no integer version; skipped.", groupName, language);
          continue;
        }
        std::int64_t local = inDraftMode ? -1 : (store ? store->getGroupVersion(groupName) : -1);
        if (*version <= local) continue;
        od::value entriesValue;
        od::object entries;
        bool inTransaction = false;
        if (store && !group.reset().error() && !group.find_field_unordered("entries").get(entriesValue) &&
            !entriesValue.get_object().get(entries)) {
          for (auto entryField : entries) {
            std::string_view entryKey;
            od::value entryValue;
            od::object entry;
            if (entryField.unescaped_key().get(entryKey) || entryField.value().get(entryValue)) break;
            // A group's version is written only together with its entries.
            if (!inTransaction) {
              store->beginWriteTransaction();
              store->createOrUpdateGroup(groupName, *version);
              inTransaction = true;
            }
            if (entryValue.get_object().get(entry)) {
              logError("Entry '%@' of '%@' is no object; skipped.", entryKey, groupName);
              continue;
            }
            std::string key(entryKey);
            std::optional<std::string_view> text, draft;
            bool wrongType = false;
            for (auto member : entry) {
              std::string_view name;
              od::value v;
              if (member.unescaped_key().get(name) || member.value().get(v)) {
                wrongType = true;
                break;
              }
              if (name == "v") {
                text = entryText(v, valueScratch, name, key, &wrongType);
              } else if (name == "d") {
                draft = entryText(v, draftScratch, name, key, &wrongType);
              }
            }
            if (wrongType) continue;
            store->createOrUpdateEntry(key, text, draft);
            ++counter;
          }
          if (inTransaction) store->commitWriteTransaction();
        }
        logVerbose("Entries parsed so far: %ld", counter);
      }
      if (malformed) break;
    }
    break;
  }
  if (malformed) logError("Server response is malformed; the rest of it is skipped.");
  logVerbose("Entries parsed in total: %ld", counter);
  database_.removeUnusedDatabases(delivered);
  database_.refreshAvailableLanguages();
  return true;
}

bool ResponseParser::parseV1(const Value& appFile) {
  if (!appFile.isDictionary() || appFile.asDictionary().empty()) {
    logVerbose("App Info up to date.");
    return true;
  }
  const Value* version = appFile.find("__v");
  if (!version || !version->isNumber()) {
    logError("Missing Version Info.");
    return false;
  }
  database_.setAppVersion(*version);
  const Value* base = appFile.find("baseLanguage");
  if (!base || !base->isString()) base = appFile.find("masterLanguage");
  if (!base || !base->isString()) {
    logError("Missing Baselanguage.");
    return false;
  }
  database_.setBaseLanguage(base->asString());
  auto flag = [&](const char* key) {
    const Value* v = appFile.find(key);
    return v && v->boolValue();
  };
  database_.setCollectMissingEnabled(flag("collectMissingEnabled"));
  database_.setDraftModeEnabled(flag("draftModeEnabled"));

  const Value* languages = appFile.find("languages");
  if (languages && languages->isArray()) {
    std::int64_t groupVersion = *version->numberAsInteger();
    for (const Value& language : languages->asArray()) {
      const Value* name = language.find("name");
      const Value* entries = language.find("entrys");
      if (!name || !name->isString() || !entries || !entries->isArray() || entries->asArray().empty()) continue;
      auto store = database_.databaseForLanguage(name->asString(), true);
      if (!store) continue;
      store->beginWriteTransaction();
      store->createOrUpdateGroup("main", groupVersion);
      for (const Value& entry : entries->asArray()) {
        const Value* key = entry.find("key");
        if (!key || !key->isString()) continue;
        auto text = [&](const char* field) -> std::optional<std::string> {
          const Value* v = entry.find(field);
          if (!v || !(v->isString() || v->isNumber())) return std::nullopt;
          return v->description();
        };
        auto value = text("value");
        auto draft = text("draft");
        store->createOrUpdateEntry(key->asString(), value, draft);
      }
      store->commitWriteTransaction();
    }
  }
  database_.refreshAvailableLanguages();
  return true;
}

}  // namespace tolvana
