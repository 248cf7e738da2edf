#include "store/ResponseParser.h"

#include <simdjson.h>

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "store/TLDatabase.h"
#include "support/SafeName.h"
#include "support/TLLog.h"

namespace tolvana {

namespace dom = simdjson::dom;

namespace {

// Numbers are accepted as texts: a translation such as 42 arrives as a JSON number.
std::optional<std::string_view> entryText(dom::element value, std::string& scratch, std::string_view field,
                                          std::string_view key, bool* wrongType) {
  switch (value.type()) {
    case dom::element_type::STRING:
      return value.get_string().value_unsafe();
    case dom::element_type::INT64:
      scratch = std::to_string(value.get_int64().value_unsafe());
      return std::string_view(scratch);
    case dom::element_type::UINT64:
      scratch = std::to_string(value.get_uint64().value_unsafe());
      return std::string_view(scratch);
    case dom::element_type::DOUBLE:
      scratch = Value(value.get_double().value_unsafe()).description();
      return std::string_view(scratch);
    case dom::element_type::NULL_VALUE:
      return std::nullopt;
    default:
      break;
  }
  logError("Invalid entry field '%@' of '%@' skipped.", field, key);
  *wrongType = true;
  return std::nullopt;
}

struct AppFields {
  std::optional<Value> version;
  bool versionWrongType = false;
  std::optional<std::string> baseLanguage;
  std::optional<std::string> masterLanguage;
  bool collectMissingEnabled = false;
  bool draftModeEnabled = false;
  std::optional<dom::element> data;
};

std::optional<std::string> stringField(dom::element value) {
  std::string_view text;
  if (value.get_string().get(text)) return std::nullopt;
  return std::string(text);
}

bool boolField(dom::element value) {
  bool b = false;
  if (!value.get_bool().get(b)) return b;
  double d = 0;
  if (!value.get_double().get(d)) return d != 0;
  return false;
}

// One transaction for the group: its version and all its entries, or (when a write fails)
// none of them. Entries of the wrong shape are skipped with an error line.
bool writeGroup(TLDBProtocol& store, const std::string& groupName, std::int64_t version, dom::object entries,
                long& counter, ChangedKeys* keys) {
  std::string valueScratch, draftScratch;
  store.beginWriteTransaction();
  store.createOrUpdateGroup(groupName, version);
  for (auto [entryKey, entryValue] : entries) {
    dom::object entry;
    if (entryValue.get_object().get(entry)) {
      logError("Entry '%@' of '%@' is no object; skipped.", entryKey, groupName);
      continue;
    }
    std::optional<std::string_view> text, draft;
    bool wrongType = false;
    for (auto [name, v] : entry) {
      if (name == "v") {
        text = entryText(v, valueScratch, name, entryKey, &wrongType);
      } else if (name == "d") {
        draft = entryText(v, draftScratch, name, entryKey, &wrongType);
      }
    }
    if (wrongType) continue;
    // Before the commit is known: a key of a group rolled back counts as written, which only
    // makes an adapter ask again.
    if (store.createOrUpdateEntry(entryKey, text, draft) && keys) keys->add(entryKey);
    ++counter;
  }
  return store.commitWriteTransaction();
}

AppFields readAppFields(dom::object root) {
  AppFields app;
  for (auto [key, value] : root) {
    if (key == "__v") {
      switch (value.type()) {
        case dom::element_type::INT64:
          app.version = Value(value.get_int64().value_unsafe());
          break;
        case dom::element_type::UINT64:
        case dom::element_type::DOUBLE:
          app.version = Value(value.get_double().value_unsafe());
          break;
        default:
          app.versionWrongType = true;
      }
    } else if (key == "baseLanguage") {
      app.baseLanguage = stringField(value);
    } else if (key == "masterLanguage") {
      app.masterLanguage = stringField(value);
    } else if (key == "collectMissingEnabled") {
      app.collectMissingEnabled = boolField(value);
    } else if (key == "draftModeEnabled") {
      app.draftModeEnabled = boolField(value);
    } else if (key == "data" && !app.data) {
      app.data = value;
    }
  }
  return app;
}

// Writes the groups of an answer's languages into their stores, newer versions only, and
// counts what it wrote and what it could not.
struct LanguagesWriter {
  LanguagesWriter(TLDatabase& database, bool inDraftMode, ChangedKeys* keys)
      : database(database), inDraftMode(inDraftMode), keys(keys) {}

  TLDatabase& database;
  const bool inDraftMode;
  ChangedKeys* keys;
  std::vector<std::string> delivered;
  long counter = 0;
  int unwritten = 0;
  std::size_t newLanguages = 0;
  bool refusedNewLanguage = false;
  TextChanges changes;

  void language(std::string language, dom::element groupsValue) {
    logVerbose("Parsing language: '%@'", language);
    if (!SafeName::isLanguageCode(language)) {
      logError("Language code '%@' of the server response refused; skipped.", language);
      return;
    }
    delivered.push_back(language);
    // A store is made only once a group brings entries: an answer may list any number of
    // languages, and a file for each would cost the disk and every later start.
    auto store = database.databaseForLanguage(language, false);
    dom::object groups;
    if (groupsValue.get_object().get(groups)) {
      logError("Groups of language '%@' are no object; skipped.", language);
      return;
    }
    for (auto [groupName, group] : groups) this->group(language, store, std::string(groupName), group);
  }

  // The language's store, made now if it has none and the answer has not brought too many
  // new languages already.
  std::shared_ptr<TLDBProtocol> storeToWrite(const std::string& language, std::shared_ptr<TLDBProtocol>& store) {
    if (store) return store;
    if (newLanguages >= ResponseParser::kMaxNewLanguagesPerAnswer) {
      if (!refusedNewLanguage) {
        logError("Server response brings more than %lu new languages; the rest are left for a later update.",
                 static_cast<unsigned long>(ResponseParser::kMaxNewLanguagesPerAnswer));
      }
      refusedNewLanguage = true;
      return nullptr;
    }
    store = database.databaseForLanguage(language, true);
    newLanguages += store != nullptr;
    return store;
  }

  void group(const std::string& language, std::shared_ptr<TLDBProtocol>& store, const std::string& groupName,
             dom::element groupValue) {
    logVerbose("Parsing group: '%@'", groupName);
    dom::object group;
    if (groupValue.get_object().get(group)) {
      logError("Group '%@' of '%@' is no object; skipped.", groupName, language);
      return;
    }
    std::int64_t version = 0;
    if (group["version"].get_int64().get(version)) {
      logError("Group '%@' of '%@' has no integer version; skipped.", groupName, language);
      return;
    }
    std::int64_t stored = store ? store->getGroupVersion(groupName) : -1;
    // A store that turns out to be broken is replaced; its groups count as absent.
    if (database.dropIfBroken(language, store)) {
      store = database.databaseForLanguage(language, true);
      stored = -1;
    }
    if (version <= (inDraftMode ? -1 : stored)) return;
    dom::object entries;
    if (!group["entries"].get_object().get(entries) && entries.begin() != entries.end() &&
        storeToWrite(language, store)) {
      long before = counter;
      if (writeGroup(*store, groupName, version, entries, counter, keys)) {
        changes[language].push_back({groupName, stored, version, static_cast<std::size_t>(counter - before)});
      } else {
        logError("Group '%@' of '%@' could not be written.", groupName, language);
        ++unwritten;
        if (database.dropIfBroken(language, store)) store = database.databaseForLanguage(language, true);
      }
    }
    database.setEntriesWritten(counter);
    logVerbose("Entries parsed so far: %ld", counter);
  }
};

}  // namespace

// The whole answer is parsed, and so validated, before anything is written: a malformed
// answer must write nothing at all, and never a group with only part of its entries.
// Parsing to a tree costs little beside the store's inserts and removes any chance of
// walking on after a syntax error.
bool ResponseParser::parseV2(const std::string& json, TextChanges* changes, ChangedKeys* keys) {
  logVerbose("parsing Server response...");
  if (changes) changes->clear();
  if (keys) *keys = {};

  dom::parser parser;
  dom::element document;
  // A large answer almost always has the padding spare, and a copy would cost its whole size
  // again, in fresh pages, just when memory peaks.
  if (auto error = parser.parse(json).get(document)) {
    logError("Server response is no valid JSON (%@); nothing of it is taken.", simdjson::error_message(error));
    return false;
  }
  dom::object root;
  if (document.get_object().get(root)) {
    logError("Server response is no JSON object.");
    return false;
  }
  if (root.begin() == root.end()) {
    logVerbose("Empty Response");
    return true;
  }
  AppFields app = readAppFields(root);
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
  database_.setEntriesWritten(0);
  LanguagesWriter writer{database_, database_.engineInDraftMode(), keys};
  dom::object languages;
  const bool hasLanguages = app.data && !app.data->get_object().get(languages);
  if (app.data && !hasLanguages) logError("Server response field 'data' is no object; skipped.");
  // A default object has no tape to walk: without "data" there are no languages.
  if (hasLanguages) {
    for (auto [language, groups] : languages) writer.language(std::string(language), groups);
  }
  logVerbose("Entries parsed in total: %ld", writer.counter);
  database_.setUnwrittenGroups(writer.unwritten);
  if (changes) *changes = std::move(writer.changes);
  database_.removeUnusedDatabases(writer.delivered);
  database_.refreshAvailableLanguages();
  return true;
}

bool ResponseParser::parseV1(const Value& appFile, V1Writes* writes) {
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
      if (!store) {
        if (writes) writes->complete = false;
        continue;
      }
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
      bool committed = store->commitWriteTransaction();
      if (writes) {
        writes->complete = writes->complete && committed;
        writes->languages.push_back(name->asString());
      }
    }
  }
  database_.refreshAvailableLanguages();
  return true;
}

}  // namespace tolvana
