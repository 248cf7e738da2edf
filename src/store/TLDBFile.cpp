#include "store/TLDBFile.h"

#include "platform/PropertyList.h"
#include "support/TLLog.h"

namespace tolvana {

namespace {

// The small colon U+FE55, not an ASCII colon: stores written before keep these keys.
constexpr std::string_view kEntryPrefix = "ENTRY\xEF\xB9\x95";
constexpr std::string_view kGroupPrefix = "GROUP\xEF\xB9\x95";

std::string prefixed(std::string_view prefix, std::string_view name) {
  std::string key;
  key.reserve(prefix.size() + name.size());
  key.append(prefix).append(name);
  return key;
}

std::optional<std::string> stringMember(const Value& row, std::string_view name) {
  const Value* member = row.find(name);
  if (!member || !member->isString()) return std::nullopt;
  return member->asString();
}

}  // namespace

std::shared_ptr<TLDBFile> TLDBFile::initWithPath(std::string path) {
  std::shared_ptr<TLDBFile> store(new TLDBFile(std::move(path)));
  store->open(false);
  return store;
}

void TLDBFile::open(bool) {
  auto loaded = plist::readFile(dbPath_);
  if (loaded && loaded->isDictionary()) {
    database_ = std::move(loaded->asDictionary());
  } else {
    database_.emplace();
  }
  contentChanged();
}

void TLDBFile::close() {
  database_.reset();
  contentChanged();
}

void TLDBFile::save() {
  if (!database_) return;
  std::string error;
  if (!plist::writeFileAtomically(dbPath_, Value(*database_), plist::Format::Xml, &error)) {
    logError("Failed to save database %@: %@", dbPath_, error);
  }
}

const Value* TLDBFile::row(std::string_view prefix, std::string_view name) const {
  if (!database_) return nullptr;
  auto it = database_->find(prefixed(prefix, name));
  if (it == database_->end() || !it->second.isDictionary()) return nullptr;
  return &it->second;
}

bool TLDBFile::createOrUpdateEntry(std::string_view key, std::optional<std::string_view> value,
                                   std::optional<std::string_view> draft) {
  if (!database_) return true;
  // A property list has no null: an absent value or draft is left out of the row.
  Value::Dictionary row;
  if (value) row.emplace("value", *value);
  if (draft) row.emplace("draft", *draft);
  Value next(std::move(row));
  Value& stored = (*database_)[prefixed(kEntryPrefix, key)];
  if (stored == next) return false;
  stored = std::move(next);
  contentChanged();
  return true;
}

void TLDBFile::createOrUpdateGroup(std::string_view name, std::int64_t version) {
  if (!database_) return;
  (*database_)[prefixed(kGroupPrefix, name)] = Value(Value::Dictionary{{"name", name}, {"version", version}});
}

std::int64_t TLDBFile::getGroupVersion(std::string_view name) {
  const Value* group = row(kGroupPrefix, name);
  const Value* version = group ? group->find("version") : nullptr;
  if (!version) return -1;
  return version->numberAsInteger().value_or(-1);
}

std::optional<std::string> TLDBFile::entryValueForKey(std::string_view key) {
  const Value* entry = row(kEntryPrefix, key);
  if (!entry) return std::nullopt;
  return stringMember(*entry, "value");
}

std::optional<TLLanguageEntry> TLDBFile::entryForKey(std::string_view key) {
  const Value* entry = row(kEntryPrefix, key);
  if (!entry) return std::nullopt;
  return TLLanguageEntry{std::string(key), stringMember(*entry, "value").value_or(""),
                         stringMember(*entry, "draft").value_or("")};
}

std::optional<std::vector<TLLanguageEntry>> TLDBFile::entryList() { return std::nullopt; }

std::optional<std::map<std::string, std::int64_t>> TLDBFile::groupList() {
  if (!database_) return std::nullopt;
  std::map<std::string, std::int64_t> groups;
  for (const auto& [name, row] : *database_) {
    if (!name.starts_with(kGroupPrefix)) continue;
    std::string group = name.substr(kGroupPrefix.size());
    groups[group] = getGroupVersion(group);
  }
  return groups;
}

}  // namespace tolvana
