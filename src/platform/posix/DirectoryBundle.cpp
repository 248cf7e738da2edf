#include "platform/posix/DirectoryBundle.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <mutex>
#include <system_error>

#include "platform/PlatformLog.h"
#include "platform/PropertyList.h"
#include "platform/StringsTable.h"
#include "support/Mutex.h"

namespace tolvana {

namespace {

namespace fs = std::filesystem;

bool exists(const std::string& path) {
  std::error_code ec;
  return fs::exists(path, ec);
}

bool isDirectory(const fs::path& path) {
  std::error_code ec;
  return fs::is_directory(path, ec);
}

// Entry names of a directory, sorted; none when it is missing or unreadable.
std::vector<std::string> listDirectory(const fs::path& directory) {
  std::vector<std::string> names;
  std::error_code ec;
  for (fs::directory_iterator it(directory, ec), end; !ec && it != end; it.increment(ec)) {
    names.push_back(it->path().filename().string());
  }
  std::sort(names.begin(), names.end());
  return names;
}

bool endsWith(std::string_view s, std::string_view suffix) {
  return s.size() >= suffix.size() && s.substr(s.size() - suffix.size()) == suffix;
}

std::string normalizedPath(std::string path) {
  std::error_code ec;
  fs::path absolute = fs::absolute(fs::path(path), ec);
  std::string result = (ec ? fs::path(path) : absolute).lexically_normal().string();
  while (result.size() > 1 && result.back() == '/') result.pop_back();
  return result;
}

std::string joined(std::initializer_list<std::string_view> parts) {
  std::string path;
  for (std::string_view part : parts) {
    // Callers pass directories as "Sounds", "Sounds/" or "/Sounds" alike.
    if (!path.empty()) {
      while (!part.empty() && part.front() == '/') part.remove_prefix(1);
    }
    while (part.size() > 1 && part.back() == '/') part.remove_suffix(1);
    if (part.empty()) continue;
    if (!path.empty()) path += '/';
    path += part;
  }
  return path;
}

// Language names compare as the platform compares them: case and '_' versus '-' do not matter.
std::string languageKey(std::string_view name) {
  std::string key(name);
  for (char& c : key) {
    if (c == '_') c = '-';
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return key;
}

std::optional<std::string> stringInfo(const Value::Dictionary& info, std::string_view key) {
  auto it = info.find(key);
  if (it == info.end() || !it->second.isString()) return std::nullopt;
  return it->second.asString();
}

class DirectoryBundle final : public Bundle {
 public:
  DirectoryBundle(std::string path, PreferredLanguagesFn preferredLanguages)
      : path_(normalizedPath(std::move(path))), preferredLanguages_(std::move(preferredLanguages)) {
    loadInfo();
    for (const std::string& name : listDirectory(path_)) {
      if (endsWith(name, ".lproj") && name.size() > 6 && isDirectory(path_ + "/" + name)) {
        localizations_.push_back(name.substr(0, name.size() - 6));
      }
    }
  }

  std::string bundlePath() const override { return path_; }
  std::optional<std::string> bundleIdentifier() const override { return stringInfo(info_, "CFBundleIdentifier"); }
  std::optional<std::string> developmentLocalization() const override {
    return stringInfo(info_, "CFBundleDevelopmentRegion");
  }
  std::optional<std::string> executablePath() const override {
    auto name = stringInfo(info_, "CFBundleExecutable");
    if (!name) return std::nullopt;
    return path_ + "/" + *name;
  }
  std::optional<Value> objectForInfoDictionaryKey(std::string_view key) const override {
    auto it = info_.find(key);
    if (it == info_.end()) return std::nullopt;
    return it->second;
  }

  std::optional<std::string> pathForResource(std::string_view name, std::string_view type) const override {
    return pathForResource(name, type, "");
  }

  std::optional<std::string> pathForResource(std::string_view name, std::string_view type,
                                             std::string_view directory) const override {
    if (name.empty()) return std::nullopt;
    std::string file(name);
    if (!type.empty()) {
      if (type.front() == '.') type.remove_prefix(1);
      file += "." + std::string(type);
    }
    if (std::string top = joined({path_, directory, file}); exists(top)) return top;
    const auto order = searchOrder();
    for (const std::string& language : *order) {
      std::string folder = language + ".lproj";
      // Both layouts occur: the sub-directory inside the language folder and the other way round.
      if (std::string inside = joined({path_, folder, directory, file}); exists(inside)) return inside;
      if (directory.empty()) continue;
      if (std::string around = joined({path_, directory, folder, file}); exists(around)) return around;
    }
    return std::nullopt;
  }

  // Like the platform, the bundle's unlocalised resources of the type come with every
  // localization's own.
  std::vector<std::string> pathsForResourcesOfType(std::string_view type, std::string_view directory,
                                                   std::string_view localization) const override {
    if (!type.empty() && type.front() == '.') type.remove_prefix(1);
    std::string suffix = type.empty() ? "" : "." + std::string(type);
    std::vector<std::string> paths;
    auto collect = [&](const std::string& folder) {
      for (const std::string& name : listDirectory(folder)) {
        if (name.size() > suffix.size() && endsWith(name, suffix) && !endsWith(name, ".lproj")) {
          paths.push_back(folder + "/" + name);
        }
      }
    };
    std::string base = joined({path_, directory});
    collect(base);
    if (!localization.empty()) collect(base + "/" + std::string(localization) + ".lproj");
    std::sort(paths.begin(), paths.end());
    return paths;
  }

  std::vector<std::string> localizations() const override { return localizations_; }

  std::string localizedStringForKey(std::string_view key, std::optional<std::string_view> value,
                                    std::optional<std::string_view> table) const override {
    std::string tableName(table && !table->empty() ? *table : "Localizable");
    const auto order = searchOrder();
    for (const std::string& language : *order) {
      const Value::Dictionary& strings = stringsTable(language + ".lproj/" + tableName + ".strings");
      if (auto hit = strings.find(key); hit != strings.end() && hit->second.isString()) return hit->second.asString();
    }
    return std::string(value && !value->empty() ? *value : key);
  }

 private:
  void loadInfo() {
    std::string infoPath = path_ + "/Info.plist";
    if (!exists(infoPath)) return;
    std::string error;
    auto info = plist::readFile(infoPath, &error);
    if (info && info->isDictionary()) {
      info_ = std::move(info->asDictionary());
    } else {
      platformLogError("Ignoring Info.plist: " + (info ? infoPath + ": the top level is not a dictionary" : error));
    }
  }

  // The bundle's language folders in the order the look-ups try them: for each preferred
  // language its exact folder, then the folder of its language alone; then the development
  // localization and Base. Rebuilt only when the preferred languages change: every look-up
  // that misses the stores asks for it, and building it cost a third of such a look-up.
  std::shared_ptr<const std::vector<std::string>> searchOrder() const {
    // Without language folders there is nothing to order, whatever the preferred languages
    // are; an app whose texts all come from its stores then pays nothing for a miss here.
    static const auto kNone = std::make_shared<const std::vector<std::string>>();
    if (localizations_.empty()) return kNone;
    std::vector<std::string> preferred = preferredLanguages_ ? preferredLanguages_() : std::vector<std::string>{};
    {
      LockGuard lock(orderMutex_);
      if (order_ && orderFor_ == preferred) return order_;
    }
    auto order = std::make_shared<std::vector<std::string>>();
    auto add = [&](std::string_view wanted) {
      std::string key = languageKey(wanted);
      for (const std::string& localization : localizations_) {
        if (languageKey(localization) != key) continue;
        if (std::find(order->begin(), order->end(), localization) == order->end()) order->push_back(localization);
        return;
      }
    };
    for (const std::string& language : preferred) {
      add(language);
      if (auto dash = languageKey(language).find('-'); dash != std::string::npos) add(language.substr(0, dash));
    }
    if (auto development = developmentLocalization()) add(*development);
    add("Base");
    LockGuard lock(orderMutex_);
    orderFor_ = std::move(preferred);
    order_ = order;
    return order;
  }

  // Tables are parsed once, each under its own once-flag, so threads looking up different
  // tables do not wait for each other and a broken file is reported only once.
  struct Table {
    std::once_flag once;
    Value::Dictionary strings;
  };

  const Value::Dictionary& stringsTable(const std::string& relativePath) const {
    std::shared_ptr<Table> table;
    {
      LockGuard lock(tablesMutex_);
      auto& slot = tables_[relativePath];
      if (!slot) slot = std::make_shared<Table>();
      table = slot;
    }
    std::call_once(table->once, [&] {
      std::string path = path_ + "/" + relativePath;
      std::error_code ec;
      // An absent or empty table is normal (a language without strings of its own).
      if (!fs::exists(path, ec) || fs::file_size(path, ec) == 0) return;
      std::string error;
      if (auto parsed = strings::readDictionaryFile(path, &error)) {
        table->strings = std::move(*parsed);
      } else {
        platformLogError("Ignoring strings table: " + error);
      }
    });
    // Entries are never removed, so the table outlives this call with the bundle.
    return table->strings;
  }

  // Constant after construction.
  const std::string path_;
  const PreferredLanguagesFn preferredLanguages_;
  Value::Dictionary info_;
  std::vector<std::string> localizations_;

  mutable Mutex orderMutex_;
  mutable std::vector<std::string> orderFor_ TL_GUARDED_BY(orderMutex_);
  mutable std::shared_ptr<const std::vector<std::string>> order_ TL_GUARDED_BY(orderMutex_);
  mutable Mutex tablesMutex_;
  mutable std::map<std::string, std::shared_ptr<Table>> tables_ TL_GUARDED_BY(tablesMutex_);
};

class DirectoryBundles final : public Bundles {
 public:
  DirectoryBundles(std::string mainPath, PreferredLanguagesFn preferredLanguages)
      : main_(loadDirectoryBundle(std::move(mainPath), preferredLanguages)),
        preferredLanguages_(std::move(preferredLanguages)) {}

  std::shared_ptr<const Bundle> mainBundle() override { return main_; }

  std::vector<std::shared_ptr<const Bundle>> allBundles() override {
    loadNested();
    std::vector<std::shared_ptr<const Bundle>> all{main_};
    all.insert(all.end(), plugIns_.begin(), plugIns_.end());
    return all;
  }

  std::vector<std::shared_ptr<const Bundle>> allFrameworks() override {
    loadNested();
    return frameworks_;
  }

  std::shared_ptr<const Bundle> bundleWithIdentifier(std::string_view identifier) override {
    loadNested();
    if (main_->bundleIdentifier() == identifier) return main_;
    for (const auto* list : {&frameworks_, &plugIns_}) {
      for (const auto& bundle : *list) {
        if (bundle->bundleIdentifier() == identifier) return bundle;
      }
    }
    return nullptr;
  }

 private:
  // Nested bundles are loaded on first use, not at start-up: the default platform builds
  // the main bundle early, and most processes never ask for the others.
  void loadNested() {
    std::call_once(nestedOnce_, [this] {
      frameworks_ = loadAll("Frameworks", ".framework");
      plugIns_ = loadAll("PlugIns", "");
    });
  }

  std::vector<std::shared_ptr<const Bundle>> loadAll(std::string_view folder, std::string_view extension) {
    std::vector<std::shared_ptr<const Bundle>> bundles;
    std::string base = main_->bundlePath() + "/" + std::string(folder);
    for (const std::string& name : listDirectory(base)) {
      std::string path = base + "/" + name;
      if (endsWith(name, extension) && isDirectory(path)) bundles.push_back(loadDirectoryBundle(path, preferredLanguages_));
    }
    return bundles;
  }

  // Constant after construction.
  const std::shared_ptr<const Bundle> main_;
  const PreferredLanguagesFn preferredLanguages_;

  // Written once inside nestedOnce_, read-only afterwards.
  std::once_flag nestedOnce_;
  std::vector<std::shared_ptr<const Bundle>> frameworks_;
  std::vector<std::shared_ptr<const Bundle>> plugIns_;
};

}  // namespace

std::shared_ptr<const Bundle> loadDirectoryBundle(std::string path, PreferredLanguagesFn preferredLanguages) {
  return std::make_shared<DirectoryBundle>(std::move(path), std::move(preferredLanguages));
}

std::shared_ptr<Bundles> makeDirectoryBundles(std::string mainPath, PreferredLanguagesFn preferredLanguages) {
  return std::make_shared<DirectoryBundles>(std::move(mainPath), std::move(preferredLanguages));
}

std::string defaultMainBundlePath() {
  if (const char* configured = std::getenv("TOLVANA_MAIN_BUNDLE"); configured && *configured) return configured;
  std::error_code ec;
  fs::path executable = fs::read_symlink("/proc/self/exe", ec);
  if (ec) return normalizedPath(".");
  return executable.parent_path().string();
}

}  // namespace tolvana
