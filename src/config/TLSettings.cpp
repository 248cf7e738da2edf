#include "config/TLSettings.h"

#include <algorithm>

#include "support/StringUtil.h"
#include "support/TLLog.h"
#include "tolvana/BuildConfig.h"
#include "tolvana/platform/Platform.h"

namespace tolvana {

namespace {

// The logger sits below the settings and the ports; it learns here, when the library is
// loaded and before anything logs, where its lines go and where its tag ("TLLogTag") and
// each tag's threshold ("<tag>LogLevel") come from.
[[maybe_unused]] const bool loggerConfigured = [] {
  TLLog::configure({
      .writeLine = [](std::string_view line) { Platform::Current().logSink().writeLine(line); },
      .tagSetting = [] { return TLSettings::objectForInfoDictionaryKey("TLLogTag"); },
      .levelSetting =
          [](std::string_view tag) { return TLSettings::objectForInfoDictionaryKey(std::string(tag) + "LogLevel"); },
  });
  return true;
}();

}  // namespace

std::optional<Value> TLSettings::objectForInfoDictionaryKey(std::string_view key) {
  return Platform::Current().bundles().mainBundle()->objectForInfoDictionaryKey(key);
}

Value TLSettings::getSettingForKey(std::string_view key, const Value& defaultValue, Kind kind) {
  auto value = objectForInfoDictionaryKey(key);
  if (!value) return defaultValue;
  switch (kind) {
    case Kind::Boolean: return value->isBoolean() ? *value : defaultValue;
    case Kind::Number: return value->isNumber() ? *value : defaultValue;
    case Kind::String: return value->isString() ? *value : defaultValue;
  }
  return defaultValue;
}

bool TLSettings::getBool(std::string_view key, bool defaultValue) {
  return getSettingForKey(key, defaultValue, Kind::Boolean).asBoolean();
}

double TLSettings::getNumber(std::string_view key, double defaultValue) {
  return *getSettingForKey(key, defaultValue, Kind::Number).numberAsDouble();
}

std::string TLSettings::getString(std::string_view key, std::string_view defaultValue) {
  return getSettingForKey(key, Value(defaultValue), Kind::String).asString();
}

namespace {

std::set<std::string> nameSet(std::string_view key) {
  std::set<std::string> names;
  for (const std::string& part : split(TLSettings::getString(key, ""), ',')) {
    std::string name = deletingPathExtension(trimWhitespace(part));
    if (!name.empty()) names.insert(std::move(name));
  }
  return names;
}

bool hasLaunchArgument(std::string_view argument) {
  auto arguments = Platform::Current().device().launchArguments();
  return std::find(arguments.begin(), arguments.end(), argument) != arguments.end();
}

}  // namespace

bool TLSettings::autostartEnabled() { return getBool("TolvanaEnableAutostart", true); }
bool TLSettings::autostartEnabledForTests() { return getBool("TolvanaEnableAutostartForTests", true); }
bool TLSettings::waitOnAppStart() { return getBool("TolvanaWaitOnAppStart", true); }
bool TLSettings::enableInitialUpdate() { return getBool("TolvanaInitialUpdate", true); }
double TLSettings::timeoutIntervalForRequest() { return getNumber("TolvanaTimeoutIntervalForRequest", 4.0); }
double TLSettings::timeoutIntervalForResource() { return getNumber("TolvanaTimeoutIntervalForResource", 12.0); }
bool TLSettings::translateWebViews() { return getBool("TolvanaTranslateWebViews", false); }
bool TLSettings::enableJSConsoleLog() { return getBool("TolvanaEnableJSConsoleLog", false); }
bool TLSettings::translateWebViewSubPages() { return getBool("TolvanaTranslateWebViewSubPages", false); }
std::vector<std::string> TLSettings::webViewOrigins() {
  std::vector<std::string> origins;
  for (const std::string& part : split(getString("TolvanaWebViewOrigins", ""), ',')) {
    if (std::string origin = trimWhitespace(part); !origin.empty()) origins.push_back(std::move(origin));
  }
  return origins;
}
std::vector<std::string> TLSettings::updateGroups() { return split(getString("TolvanaUpdateGroups", ""), ','); }
std::vector<std::string> TLSettings::updateLanguages() { return split(getString("TolvanaUpdateLanguages", ""), ','); }
std::set<std::string> TLSettings::additionalFrameworks() { return nameSet("TolvanaAdditionalFrameworks"); }
std::set<std::string> TLSettings::additionalStringFiles() { return nameSet("TolvanaAdditionalStringFiles"); }
bool TLSettings::enableLogGetString() { return getBool("TolvanaLogGetString", false); }
bool TLSettings::draftModeEnabled() { return getBool("TolvanaDraftModeEnabled", true); }
bool TLSettings::collectStoryBoardStrings() { return getBool("TolvanaCollectStoryBoardStrings", true); }
bool TLSettings::keepDatabaseOpen() { return getBool("TolvanaKeepDatabaseOpen", false); }
bool TLSettings::livePreview() { return getBool("TolvanaLivePreview", false); }
std::string TLSettings::proxyHost() { return getString("TolvanaProxyHost", ""); }
std::string TLSettings::settingsFileName() { return getString("TolvanaSettingsFilename", "tolvana_settings.tolvana"); }
std::string TLSettings::testSettingsFileName() {
  return getString("TolvanaTestSettingsFilename", "tolvana_settings.tolvana");
}
std::string TLSettings::logLevel() { return getString("TolvanaLogLevel", "i"); }

std::string TLSettings::hostWithAppId(std::string_view appId) {
  std::string host = getString("TolvanaHost", build::kPublicApiBase);
  if (auto at = host.find("%@"); at != std::string::npos) host.replace(at, 2, appId);
  return host;
}

bool TLSettings::uiTestScreenCaptureEnabled() { return hasLaunchArgument("TolvanaUITestScreenshotEnabled"); }
bool TLSettings::showIdModeEnabledOnLaunch() { return hasLaunchArgument("TolvanaShowIdModeEnabled"); }

std::optional<double> TLSettings::pseudoLocalizationExpansion() {
  if (!getBool("TolvanaPseudoLocalization", false) && !hasLaunchArgument("TolvanaPseudoLocalization")) {
    return std::nullopt;
  }
  return getNumber("TolvanaPseudoLocalizationExpansion", 0.4);
}

}  // namespace tolvana
