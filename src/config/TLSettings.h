// TLSettings: the host's configuration, from its main bundle's Info.plist and two launch
// arguments.
//
// Nothing is cached: each accessor reads the Info.plist value again, so the answer always
// follows the installed main bundle. Every key has a fixed type; a value of another type
// silently yields the default (an Integer 1 is no Boolean, the String "10" no Number).
//
// Thread contract: every accessor may be called from any thread.
#pragma once

#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "tolvana/Value.h"

namespace tolvana {

class TLSettings {
 public:
  enum class Kind { Boolean, Number, String };

  // The raw Info.plist value of the main bundle, or nullopt.
  static std::optional<Value> objectForInfoDictionaryKey(std::string_view key);
  // The value when present and of the kind (a Number accepts Booleans as 0/1), else the default.
  static Value getSettingForKey(std::string_view key, const Value& defaultValue, Kind kind);

  static bool autostartEnabled();
  static bool autostartEnabledForTests();
  static bool waitOnAppStart();
  static bool enableInitialUpdate();
  static double timeoutIntervalForRequest();
  static double timeoutIntervalForResource();
  static bool translateWebViews();
  static bool enableJSConsoleLog();
  static bool translateWebViewSubPages();
  // The origins whose pages get the page bridge, trimmed, empty ones left out; none means
  // every page of a translated web view.
  static std::vector<std::string> webViewOrigins();
  // Split at each comma as they stand: an empty value gives one empty element.
  static std::vector<std::string> updateGroups();
  static std::vector<std::string> updateLanguages();
  // Trimmed names without file extension, empty ones left out.
  static std::set<std::string> additionalFrameworks();
  static std::set<std::string> additionalStringFiles();
  static bool enableLogGetString();
  static bool draftModeEnabled();
  static bool collectStoryBoardStrings();
  static bool keepDatabaseOpen();
  // "TolvanaLivePreview": in draft mode, hear of the server's edits as they are made.
  static bool livePreview();
  // "TolvanaHost", else the build's public API base; a "%@" in it becomes the app id.
  static std::string hostWithAppId(std::string_view appId);
  static std::string proxyHost();
  static std::string settingsFileName();
  static std::string testSettingsFileName();
  static std::string logLevel();
  // Pseudo-localisation, asked for by "TolvanaPseudoLocalization" (Boolean) or the launch
  // argument of that name: the share texts grow by ("TolvanaPseudoLocalizationExpansion",
  // Number, 0.4), or nullopt while it is off.
  static std::optional<double> pseudoLocalizationExpansion();

  // Launch arguments equal to "TolvanaUITestScreenshotEnabled" / "TolvanaShowIdModeEnabled".
  static bool uiTestScreenCaptureEnabled();
  static bool showIdModeEnabledOnLaunch();

  static bool getBool(std::string_view key, bool defaultValue);
  static double getNumber(std::string_view key, double defaultValue);
  static std::string getString(std::string_view key, std::string_view defaultValue);
};

}  // namespace tolvana
