#include "platform/fake/MemoryBundle.h"

#include <algorithm>

#include "support/Mutex.h"
#include "support/StringUtil.h"

namespace tolvana {

MemoryBundle::MemoryBundle(std::string path, Value::Dictionary info, Tables tables,
                           std::vector<std::string> preferredLanguages)
    : path_(std::move(path)), info_(std::move(info)), tables_(std::move(tables)), preferred_(std::move(preferredLanguages)) {}

std::optional<Value> MemoryBundle::objectForInfoDictionaryKey(std::string_view key) const {
  LockGuard lock(mutex_);
  auto it = info_.find(key);
  if (it == info_.end()) return std::nullopt;
  return it->second;
}

std::optional<std::string> MemoryBundle::bundleIdentifier() const {
  auto v = objectForInfoDictionaryKey("CFBundleIdentifier");
  return v && v->isString() ? std::optional(v->asString()) : std::nullopt;
}

std::optional<std::string> MemoryBundle::executablePath() const {
  auto v = objectForInfoDictionaryKey("CFBundleExecutable");
  return v && v->isString() ? std::optional(path_ + "/" + v->asString()) : std::nullopt;
}

std::optional<std::string> MemoryBundle::developmentLocalization() const {
  auto v = objectForInfoDictionaryKey("CFBundleDevelopmentRegion");
  return v && v->isString() ? std::optional(v->asString()) : std::nullopt;
}

std::optional<std::string> MemoryBundle::pathForResource(std::string_view name, std::string_view type) const {
  return pathForResource(name, type, "");
}

std::optional<std::string> MemoryBundle::pathForResource(std::string_view name, std::string_view type,
                                                         std::string_view directory) const {
  std::string file = std::string(name) + (type.empty() ? "" : "." + std::string(type));
  std::string prefix = directory.empty() ? "" : std::string(directory) + "/";
  LockGuard lock(mutex_);
  if (resources_.count(prefix + file)) return path_ + "/" + prefix + file;
  for (const auto& [language, _] : tables_) {
    std::string localized = language + ".lproj/" + prefix + file;
    if (resources_.count(localized)) return path_ + "/" + localized;
  }
  return std::nullopt;
}

std::vector<std::string> MemoryBundle::pathsForResourcesOfType(std::string_view type, std::string_view directory,
                                                               std::string_view localization) const {
  std::vector<std::string> paths;
  auto it = tables_.find(std::string(localization));
  if (type == "strings" && directory.empty() && it != tables_.end()) {
    for (const auto& [table, _] : it->second) paths.push_back(path_ + "/" + it->first + ".lproj/" + table + ".strings");
  }
  return paths;
}

std::vector<std::string> MemoryBundle::localizations() const {
  std::vector<std::string> languages;
  for (const auto& [language, _] : tables_) languages.push_back(language);
  return languages;
}

std::string MemoryBundle::localizedStringForKey(std::string_view key, std::optional<std::string_view> value,
                                                std::optional<std::string_view> table) const {
  std::string tableName(table && !table->empty() ? *table : "Localizable");
  std::vector<std::string> order = preferred_;
  if (auto development = developmentLocalization()) order.push_back(*development);
  order.push_back("Base");
  for (const std::string& language : order) {
    auto byLanguage = tables_.find(language);
    if (byLanguage == tables_.end()) continue;
    auto byTable = byLanguage->second.find(tableName);
    if (byTable == byLanguage->second.end()) continue;
    if (const auto hit = byTable->second.find(key); hit != byTable->second.end() && hit->second.isString()) {
      return hit->second.asString();
    }
  }
  return std::string(value && !value->empty() ? *value : key);
}

void MemoryBundle::addResource(std::string relativePath) {
  LockGuard lock(mutex_);
  resources_.insert(std::move(relativePath));
}

void MemoryBundle::setInfo(std::string key, Value value) {
  LockGuard lock(mutex_);
  info_[std::move(key)] = std::move(value);
}

MemoryBundles::MemoryBundles(std::shared_ptr<const Bundle> main, std::vector<std::shared_ptr<const Bundle>> frameworks,
                             std::vector<std::shared_ptr<const Bundle>> others)
    : main_(std::move(main)), frameworks_(std::move(frameworks)), others_(std::move(others)) {}

std::vector<std::shared_ptr<const Bundle>> MemoryBundles::allBundles() {
  std::vector<std::shared_ptr<const Bundle>> all{main_};
  all.insert(all.end(), others_.begin(), others_.end());
  return all;
}

std::shared_ptr<const Bundle> MemoryBundles::bundleWithIdentifier(std::string_view identifier) {
  for (const auto& list : {allBundles(), frameworks_}) {
    for (const auto& bundle : list) {
      if (bundle->bundleIdentifier() == identifier) return bundle;
    }
  }
  return nullptr;
}

}  // namespace tolvana
