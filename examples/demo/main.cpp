// The demo: loads the sample app bundle and shows what the library reads from it.
#include <cstdio>
#include <string>
#include <vector>

#include "core/TLSettings.h"
#include "support/TLLog.h"
#include "tolvana/BuildConfig.h"
#include "tolvana/platform/Platform.h"

using namespace tolvana;

namespace {

struct Row {
  const char* key;
  TLSettings::Kind kind;
  std::string value;
};

const char* kindName(TLSettings::Kind kind) {
  switch (kind) {
    case TLSettings::Kind::Boolean: return "Boolean";
    case TLSettings::Kind::Number: return "Number";
    case TLSettings::Kind::String: return "String";
  }
  return "";
}

std::string joined(const auto& items) {
  std::string out = "[";
  for (const auto& item : items) out += (out.size() > 1 ? ", " : "") + ("\"" + item + "\"");
  return out + "]";
}

std::string yesNo(bool b) { return b ? "true" : "false"; }

}  // namespace

int main() {
  auto bundle = Platform::Current().bundles().mainBundle();
  std::printf("App bundle: %s (%s)\n", bundle->bundlePath().c_str(),
              bundle->bundleIdentifier().value_or("no identifier").c_str());
  std::printf("Preferred languages: %s\n\n", joined(Platform::Current().locale().preferredLanguages()).c_str());

  using K = TLSettings::Kind;
  std::vector<Row> rows = {
      {"TolvanaEnableAutostart", K::Boolean, yesNo(TLSettings::autostartEnabled())},
      {"TolvanaEnableAutostartForTests", K::Boolean, yesNo(TLSettings::autostartEnabledForTests())},
      {"TolvanaWaitOnAppStart", K::Boolean, yesNo(TLSettings::waitOnAppStart())},
      {"TolvanaInitialUpdate", K::Boolean, yesNo(TLSettings::enableInitialUpdate())},
      {"TolvanaTimeoutIntervalForRequest", K::Number, Value(TLSettings::timeoutIntervalForRequest()).description()},
      {"TolvanaTimeoutIntervalForResource", K::Number, Value(TLSettings::timeoutIntervalForResource()).description()},
      {"TolvanaTranslateWebViews", K::Boolean, yesNo(TLSettings::translateWebViews())},
      {"TolvanaEnableJSConsoleLog", K::Boolean, yesNo(TLSettings::enableJSConsoleLog())},
      {"TolvanaTranslateWebViewSubPages", K::Boolean, yesNo(TLSettings::translateWebViewSubPages())},
      {"TolvanaUpdateGroups", K::String, joined(TLSettings::updateGroups())},
      {"TolvanaUpdateLanguages", K::String, joined(TLSettings::updateLanguages())},
      {"TolvanaAdditionalFrameworks", K::String, joined(TLSettings::additionalFrameworks())},
      {"TolvanaAdditionalStringFiles", K::String, joined(TLSettings::additionalStringFiles())},
      {"TolvanaLogGetString", K::Boolean, yesNo(TLSettings::enableLogGetString())},
      {"TolvanaDraftModeEnabled", K::Boolean, yesNo(TLSettings::draftModeEnabled())},
      {"TolvanaCollectStoryBoardStrings", K::Boolean, yesNo(TLSettings::collectStoryBoardStrings())},
      {"TolvanaKeepDatabaseOpen", K::Boolean, yesNo(TLSettings::keepDatabaseOpen())},
      {"TolvanaHost", K::String, TLSettings::hostWithAppId("5f0c0ffee")},
      {"TolvanaProxyHost", K::String, "\"" + TLSettings::proxyHost() + "\""},
      {"TolvanaSettingsFilename", K::String, TLSettings::settingsFileName()},
      {"TolvanaTestSettingsFilename", K::String, TLSettings::testSettingsFileName()},
      {"TolvanaLogLevel", K::String, TLSettings::logLevel()},
  };
  std::printf("%-34s %-8s %-10s %s\n", "Setting", "Type", "Source", "Value");
  for (const Row& row : rows) {
    auto raw = TLSettings::objectForInfoDictionaryKey(row.key);
    bool typed = raw && TLSettings::getSettingForKey(row.key, Value(), row.kind) == *raw;
    const char* source = !raw ? "default" : typed ? "Info.plist" : "default*";
    std::printf("%-34s %-8s %-10s %s\n", row.key, kindName(row.kind), source, row.value.c_str());
  }
  std::printf("(default* = present in the Info.plist with the wrong type, so the default applies)\n\n");
  std::printf("Bundle's own table, \"welcome\": %s\n\n",
              bundle->localizedStringForKey("welcome", std::nullopt, std::nullopt).c_str());

  std::printf("Engine log lines (threshold from TolvanaLogLevel):\n");
  std::fflush(stdout);
  logVerbose("Tolvana Setting found: %@ value: %@", "TolvanaLogLevel", TLSettings::logLevel());
  logInfo("Version: %@", build::kSdkVersion);
  logWarning("A message of two lines\nbecomes two log lines");
  return 0;
}
