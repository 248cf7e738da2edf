#include "config/TLSettings.h"

#include <gtest/gtest.h>

#include <map>

#include "tests/support/TestPlatform.h"
#include "tolvana/BuildConfig.h"

namespace tolvana {
namespace {

using testing::TestPlatform;

TEST(TLSettings, WrongKindYieldsTheDefault) {
  const std::map<std::string, Value (*)()> read = {
      {"TolvanaKeepDatabaseOpen", [] { return Value(TLSettings::keepDatabaseOpen()); }},
      {"TolvanaEnableAutostart", [] { return Value(TLSettings::autostartEnabled()); }},
      {"TolvanaTimeoutIntervalForRequest", [] { return Value(TLSettings::timeoutIntervalForRequest()); }},
      {"TolvanaTimeoutIntervalForResource", [] { return Value(TLSettings::timeoutIntervalForResource()); }},
      {"TolvanaSettingsFilename", [] { return Value(TLSettings::settingsFileName()); }},
      {"TolvanaLogLevel", [] { return Value(TLSettings::logLevel()); }},
      {"TolvanaDraftModeEnabled", [] { return Value(TLSettings::draftModeEnabled()); }},
  };
  const struct {
    const char* key;
    Value stored, expected;
  } cases[] = {
      {"TolvanaKeepDatabaseOpen", 1, false},
      {"TolvanaKeepDatabaseOpen", true, true},
      {"TolvanaKeepDatabaseOpen", "YES", false},
      {"TolvanaEnableAutostart", false, false},
      {"TolvanaTimeoutIntervalForRequest", "10", 4.0},
      {"TolvanaTimeoutIntervalForRequest", 10, 10.0},
      {"TolvanaTimeoutIntervalForResource", true, 1.0},
      {"TolvanaTimeoutIntervalForResource", 2.5, 2.5},
      {"TolvanaSettingsFilename", 3, "tolvana_settings.tolvana"},
      {"TolvanaLogLevel", "w", "w"},
      {"TolvanaDraftModeEnabled", Value::Array{}, true},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string(c.key) + " = " + c.stored.description());
    TestPlatform platform({{c.key, c.stored}});
    platform.install();
    EXPECT_EQ(read.at(c.key)(), c.expected);
  }
}

TEST(TLSettings, DefaultsWithoutAnyKey) {
  TestPlatform platform;
  platform.install();
  EXPECT_TRUE(TLSettings::autostartEnabled());
  EXPECT_TRUE(TLSettings::autostartEnabledForTests());
  EXPECT_TRUE(TLSettings::waitOnAppStart());
  EXPECT_TRUE(TLSettings::enableInitialUpdate());
  EXPECT_TRUE(TLSettings::collectStoryBoardStrings());
  EXPECT_FALSE(TLSettings::translateWebViews());
  EXPECT_FALSE(TLSettings::enableLogGetString());
  EXPECT_DOUBLE_EQ(TLSettings::timeoutIntervalForResource(), 12.0);
  EXPECT_EQ(TLSettings::updateGroups(), std::vector<std::string>{""});
  EXPECT_TRUE(TLSettings::additionalFrameworks().empty());
  EXPECT_EQ(TLSettings::proxyHost(), "");
  EXPECT_EQ(TLSettings::testSettingsFileName(), "tolvana_settings.tolvana");
  EXPECT_EQ(TLSettings::logLevel(), "i");
  EXPECT_EQ(TLSettings::hostWithAppId("app1"), build::kPublicApiBase);
}

TEST(TLSettings, ListsAndHost) {
  TestPlatform platform({{"TolvanaUpdateGroups", "main, extra ,extra"},
                         {"TolvanaUpdateLanguages", "de,fr"},
                         {"TolvanaAdditionalFrameworks", " A.framework, , ,B "},
                         {"TolvanaAdditionalStringFiles", "Errors.strings"},
                         {"TolvanaHost", "https://h.example/%@/api"}});
  platform.install();
  EXPECT_EQ(TLSettings::updateGroups(), (std::vector<std::string>{"main", " extra ", "extra"}));
  EXPECT_EQ(TLSettings::updateLanguages(), (std::vector<std::string>{"de", "fr"}));
  EXPECT_EQ(TLSettings::additionalFrameworks(), (std::set<std::string>{"A", "B"}));
  EXPECT_EQ(TLSettings::additionalStringFiles(), (std::set<std::string>{"Errors"}));
  EXPECT_EQ(TLSettings::hostWithAppId("5f0"), "https://h.example/5f0/api");
}

TEST(TLSettings, LaunchArgumentsMustMatchWhole) {
  TestPlatform platform;
  platform.install();
  platform.device->setLaunchArguments({"app", "TolvanaShowIdModeEnabledX", "-TolvanaUITestScreenshotEnabled"});
  EXPECT_FALSE(TLSettings::showIdModeEnabledOnLaunch());
  EXPECT_FALSE(TLSettings::uiTestScreenCaptureEnabled());
  platform.device->setLaunchArguments({"app", "TolvanaShowIdModeEnabled", "TolvanaUITestScreenshotEnabled"});
  EXPECT_TRUE(TLSettings::showIdModeEnabledOnLaunch());
  EXPECT_TRUE(TLSettings::uiTestScreenCaptureEnabled());
}

}  // namespace
}  // namespace tolvana
