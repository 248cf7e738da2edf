// Bundles held in memory: an Info.plist dictionary, string tables and resource names set by
// a test, for code that needs a bundle but no files.
#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <vector>

#include "support/Mutex.h"
#include "tolvana/platform/Bundle.h"

namespace tolvana {

class MemoryBundle final : public Bundle {
 public:
  // table name → key → text, per localization
  using Tables = std::map<std::string, std::map<std::string, Value::Dictionary>>;

  explicit MemoryBundle(std::string path, Value::Dictionary info = {}, Tables tables = {},
                        std::vector<std::string> preferredLanguages = {"en"});

  std::string bundlePath() const override { return path_; }
  std::optional<std::string> bundleIdentifier() const override;
  std::optional<std::string> executablePath() const override;
  std::optional<Value> objectForInfoDictionaryKey(std::string_view key) const override;
  std::optional<std::string> pathForResource(std::string_view name, std::string_view type) const override;
  std::optional<std::string> pathForResource(std::string_view name, std::string_view type,
                                             std::string_view directory) const override;
  std::vector<std::string> pathsForResourcesOfType(std::string_view type, std::string_view directory,
                                                   std::string_view localization) const override;
  std::vector<std::string> localizations() const override;
  std::optional<std::string> developmentLocalization() const override;
  std::string localizedStringForKey(std::string_view key, std::optional<std::string_view> value,
                                    std::optional<std::string_view> table) const override;

  // Declares a resource file ("Main.storyboardc", "Base.lproj/Main.nib") relative to the bundle.
  void addResource(std::string relativePath);
  void setInfo(std::string key, Value value);

 private:
  std::string path_;
  mutable Mutex mutex_;
  Value::Dictionary info_ TL_GUARDED_BY(mutex_);
  Tables tables_;                  // constant after construction
  std::set<std::string> resources_ TL_GUARDED_BY(mutex_);
  std::vector<std::string> preferred_;
};

class MemoryBundles final : public Bundles {
 public:
  explicit MemoryBundles(std::shared_ptr<const Bundle> main, std::vector<std::shared_ptr<const Bundle>> frameworks = {},
                         std::vector<std::shared_ptr<const Bundle>> others = {});
  std::shared_ptr<const Bundle> mainBundle() override { return main_; }
  std::vector<std::shared_ptr<const Bundle>> allBundles() override;
  std::vector<std::shared_ptr<const Bundle>> allFrameworks() override { return frameworks_; }
  std::shared_ptr<const Bundle> bundleWithIdentifier(std::string_view identifier) override;

 private:
  std::shared_ptr<const Bundle> main_;
  std::vector<std::shared_ptr<const Bundle>> frameworks_;
  std::vector<std::shared_ptr<const Bundle>> others_;
};

}  // namespace tolvana
