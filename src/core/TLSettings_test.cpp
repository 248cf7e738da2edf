#include "core/TLSettings.h"

#include <gtest/gtest.h>

#include "tests/support/TestPlatform.h"
#include "tolvana/BuildConfig.h"

namespace tolvana {
namespace {

using testing::TestPlatform;

struct TypedCase {
  const char* name;
  const char* key;
  Value stored;
  Value expected;  // the accessor's answer
};

Value read(const char* key) {
  std::string k = key;
  if (k == "TolvanaKeepDatabaseOpen") return TLSettings::keepDatabaseOpen();
  if (k == "TolvanaEnableAutostart") return TLSettings::autostartEnabled();
  if (k == "TolvanaTimeoutIntervalForRequest") return TLSettings::timeoutIntervalForRequest();
  if (k == "TolvanaTimeoutIntervalForResource") return TLSettings::timeoutIntervalForResource();
  if (k == "TolvanaSettingsFilename") return TLSettings::settingsFileName();
  if (k == "TolvanaLogLevel") return TLSettings::logLevel();
  if (k == "TolvanaDraftModeEnabled") return TLSettings::draftModeEnabled();
  ADD_FAILURE() << "no accessor for " << key;
  return {};
}

class TLSettingsTyped : public ::testing::TestWithParam<TypedCase> {};

TEST_P(TLSettingsTyped, WrongKindYieldsTheDefault) {
  TestPlatform platform({{GetParam().key, GetParam().stored}});
  platform.install();
  EXPECT_EQ(read(GetParam().key), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Keys, TLSettingsTyped,
    ::testing::Values(
        TypedCase{"keepOpenInteger", "TolvanaKeepDatabaseOpen", Value(1), Value(false)},
        TypedCase{"keepOpenBoolean", "TolvanaKeepDatabaseOpen", Value(true), Value(true)},
        TypedCase{"keepOpenStringYes", "TolvanaKeepDatabaseOpen", Value("YES"), Value(false)},
        TypedCase{"autostartOff", "TolvanaEnableAutostart", Value(false), Value(false)},
        TypedCase{"timeoutString", "TolvanaTimeoutIntervalForRequest", Value("10"), Value(4.0)},
        TypedCase{"timeoutInteger", "TolvanaTimeoutIntervalForRequest", Value(10), Value(10.0)},
        TypedCase{"timeoutBoolean", "TolvanaTimeoutIntervalForResource", Value(true), Value(1.0)},
        TypedCase{"timeoutReal", "TolvanaTimeoutIntervalForResource", Value(2.5), Value(2.5)},
        TypedCase{"fileNameNumber", "TolvanaSettingsFilename", Value(3), Value("tolvana_settings.tolvana")},
        TypedCase{"logLevelString", "TolvanaLogLevel", Value("w"), Value("w")},
        TypedCase{"draftDefaultOn", "TolvanaDraftModeEnabled", Value(Value::Array{}), Value(true)}),
    [](const auto& info) { return std::string(info.param.name); });

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
