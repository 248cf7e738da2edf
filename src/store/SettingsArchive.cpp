#include "store/SettingsArchive.h"

#include <filesystem>

#include "config/TLDeviceUtil.h"
#include "config/TLSettings.h"
#include "support/StringUtil.h"
#include "support/TLLog.h"
#include "tolvana/platform/Platform.h"

namespace tolvana {

namespace fs = std::filesystem;

namespace {
constexpr const char* kDefaultArchiveName = "tolvana_settings.tolvana";
}  // namespace

std::string SettingsArchive::name() {
  auto name = TLSettings::objectForInfoDictionaryKey("TolvanaSettingsFilename");
  if (TLDeviceUtil::isRunningTests()) {
    if (auto testName = TLSettings::objectForInfoDictionaryKey("TolvanaTestSettingsFilename")) name = testName;
  }
  if (!name || !name->isString() || name->asString().empty()) return kDefaultArchiveName;
  return name->asString() + ".tolvana";
}

std::optional<std::string> SettingsArchive::locate(const std::string& archiveName) {
  Bundles& bundles = Platform::Current().bundles();
  auto main = bundles.mainBundle();
  std::string base = deletingPathExtension(archiveName);
  std::string extension = pathExtension(archiveName);
  auto path = main->pathForResource(base, extension);
  std::string identifier = main->bundleIdentifier().value_or("");
  if (!path && contains(identifier, ".xctrunner")) {
    logInfo("MacOS ui tests detected, attempting to get settings file from main app bundle");
    std::string appIdentifier = identifier;
    appIdentifier.erase(appIdentifier.find(".xctrunner"), std::string_view(".xctrunner").size());
    if (auto app = bundles.bundleWithIdentifier(appIdentifier)) path = app->pathForResource(base, extension);
  }
  std::error_code ec;
  if (!path || !fs::exists(*path, ec)) path = main->pathForResource("tolvana_settings", "tolvana", "flutter_assets/assets");
  return path;
}

}  // namespace tolvana
