#include "core/TLInternal.h"

#include <gtest/gtest.h>

#include <cmath>

#include "config/ProcessState.h"
#include "support/StringUtil.h"
#include "tests/support/AppFixture.h"
#include "tolvana/BuildConfig.h"

namespace tolvana {
namespace {

using testing::AppFixture;

std::size_t indexOf(const std::vector<std::string>& lines, std::string_view text) {
  for (std::size_t i = 0; i < lines.size(); ++i) {
    if (lines[i].find(text) != std::string::npos) return i;
  }
  return lines.size();
}

TEST(TLInternalStart, LogsInTheFixedOrder) {
  AppFixture app;
  app.bundle.info("TolvanaLogLevel", "v")
      .info("TolvanaHost", "https://h.example/%@")
      .info("TolvanaDraftModeEnabled", false)
      .info("TolvanaUpdateGroups", "main, extra ,extra")
      .info("TolvanaTranslateWebViews", false)
      .info("TolvanaLogGetString", Value(7));
  app.install();
  auto engine = TLInternal::sharedInstance();
  auto lines = app.platform.log->lines();
  const char* expectedOrder[] = {
      "I/Tolvana\xEF\xB9\x95 Version: 2.0.149",
      "Tolvana Setting found: TolvanaLogLevel value: v",
      "App is in debug mode: false",
      "Tolvana Setting found: TolvanaTranslateWebViews value: true",  // always shown as true
      "Tolvana Setting found: TolvanaHost value: https://h.example/%@",
      "Tolvana Setting found: TolvanaDraftModeEnabled value: false",
      "Tolvana Setting found: TolvanaUpdateGroups value: true",
      "Tolvana Setting found: TolvanaLogGetString value: true",
      "Current Language: en-US",
      "Development Language: en",
      "Strings will NOT be uploaded. Neither the debugger is connected nor the app is in draft mode!",
  };
  std::size_t previous = 0;
  for (const char* expected : expectedOrder) {
    std::size_t at = indexOf(lines, expected);
    ASSERT_LT(at, lines.size()) << "missing: " << expected;
    EXPECT_GE(at, previous) << "out of order: " << expected;
    previous = at;
  }
  EXPECT_FALSE(ProcessState::get().draftModeEnabled);
  TLInternal::dropInstanceForTesting();  // a new simulated process starts with the permission on
  EXPECT_TRUE(ProcessState::get().draftModeEnabled);
  engine = TLInternal::sharedInstance();
  EXPECT_EQ(engine->defaultGroups(), (std::vector<std::string>{"main", "extra"}));
  EXPECT_TRUE(engine->enabled());
  ASSERT_NE(engine->database(), nullptr);
  EXPECT_TRUE(app.platform.ui->alerts().empty());
}

TEST(TLInternalStart, SwitchedOffEngineStopsAtOnceAndStartsAgainWhenSwitchedOn) {
  AppFixture app;
  app.platform.defaults->setObject("TolvanaEnabled", false);
  app.install();
  auto off = TLInternal::sharedInstance();
  EXPECT_FALSE(off->enabled());
  EXPECT_EQ(off->database(), nullptr);
  EXPECT_TRUE(app.platform.log->lines().empty());
  // A disabled engine answers from the bundle's own tables.
  EXPECT_EQ(off->localizedStringForKey("k", "fallback").text, "fallback");
  off->setEnabled(true);
  auto on = TLInternal::sharedInstance();
  EXPECT_NE(on, off);
  EXPECT_TRUE(on->enabled());
  EXPECT_NE(on->database(), nullptr);
}

TEST(TLInternalStart, MissingArchiveAlertsOncePerProcess) {
  AppFixture app;
  app.archiveName.clear();
  app.install();
  auto engine = TLInternal::sharedInstance();
  EXPECT_EQ(engine->database(), nullptr);
  EXPECT_TRUE(engine->defaultGroups().empty());
  TLInternal::resetInstance();
  app.platform.dispatch->drain();
  auto alerts = app.platform.ui->alerts();
  ASSERT_EQ(alerts.size(), 1u);
  EXPECT_EQ(alerts[0].title, "Error!");
  EXPECT_EQ(alerts[0].message,
            "Tolvana settings file missing or outdated! Please download the settings file for your app from the dashboard.");
  EXPECT_TRUE(alerts[0].actions.empty());
}

TEST(TLInternalSwitch, OnlyAChangeIsPersisted) {
  AppFixture app;
  app.install();
  auto engine = TLInternal::sharedInstance();
  int writes = app.platform.defaults->synchronizeCount();
  engine->setEnabled(true);
  EXPECT_EQ(app.platform.defaults->synchronizeCount(), writes);
  EXPECT_FALSE(app.platform.log->contains("Tolvana is now"));
  engine->setEnabled(false);
  EXPECT_TRUE(app.platform.log->contains("Tolvana is now disabled!"));
  EXPECT_EQ(app.platform.defaults->objectForKey("TolvanaEnabled"), Value(false));
  EXPECT_FALSE(TLInternal::readTolvanaEnabled(*app.platform.defaults));
}

TEST(TLInternalStart, LaunchArgumentsAndDraftModeFromDefaults) {
  AppFixture app;
  app.platform.device->setLaunchArguments({"Fixture", "TolvanaShowIdModeEnabled", "TolvanaUITestScreenshotEnabled"});
  app.platform.defaults->setObject("TolvanaDraftMode", true);
  app.install();
  auto engine = TLInternal::sharedInstance();
  EXPECT_TRUE(engine->isInShowIdMode());
  EXPECT_TRUE(engine->isInDraftMode());
  EXPECT_TRUE(app.platform.log->contains("UI Tests are running."));
  EXPECT_TRUE(app.platform.log->contains("Show ID mode was set on app launch."));
  app.platform.dispatch->drain();
  EXPECT_EQ(app.platform.ui->calls(), (std::vector<std::string>{"installLookupHooks", "addOverlay(uiTests)"}));
  engine->setInDraftMode(true);
  engine->setInDraftMode(false);
  engine->setInDraftMode(false);
  app.platform.dispatch->drain();
  EXPECT_EQ(app.platform.ui->calls().back(), "removeOverlay");
  EXPECT_EQ(app.platform.ui->calls().size(), 3u);
  // The notice is decided before draft mode is read from the defaults, so it still shows.
  EXPECT_TRUE(app.platform.log->contains("Strings will NOT be uploaded"));
}

TEST(TLInternal, ResetErasesTheDefaultsDomainAndEnterpriseHostsMatchBySuffix) {
  AppFixture app;
  app.platform.defaults->setObject("HostOwnSetting", 5);
  app.install();
  auto engine = TLInternal::sharedInstance();
  std::string suffix = split(build::kEnterpriseHosts, ';').front();
  EXPECT_TRUE(engine->isEnterpriseHost("https://acme." + suffix + "/api"));
  EXPECT_TRUE(engine->isEnterpriseHost("https://" + suffix + ":8443"));
  EXPECT_FALSE(engine->isEnterpriseHost("https://" + suffix + ".evil.example/"));
  TLInternal::resetInstance();
  EXPECT_EQ(app.platform.defaults->objectForKey("HostOwnSetting"), std::nullopt);
  EXPECT_NE(TLInternal::sharedInstance(), engine);
}

TEST(TLInternal, PluralWordsAndExit) {
  AppFixture app;
  app.install();
  auto engine = TLInternal::sharedInstance();
  EXPECT_EQ(engine->pluralRuleFromString("few"), 3);
  EXPECT_EQ(engine->pluralRuleFromString("One"), -1);
  EXPECT_TRUE(app.platform.log->contains("Invalid PluralRule: One"));
  EXPECT_EQ(engine->pluralRuleFromString(std::nullopt), -1);
  EXPECT_EQ(engine->pluralRuleToString(4), "many");
  engine->exitApp();
  EXPECT_EQ(app.platform.device->exitStatus(), 0);
}

// The last report's time comes from the defaults file, which any program of the user may
// write: no number it can hold may make the month check undefined.
TEST(TLInternal, MonthlyReportIsDueForEveryTimeButOneOfThisMonth) {
  AppFixture app;
  app.install();
  auto engine = TLInternal::sharedInstance();
  const double now = app.platform.clock->secondsSince1970();
  const std::pair<Value, bool> cases[] = {
      {Value(now), false},  {Value(-1e300), true}, {Value(1e300), true}, {Value(HUGE_VAL), true},
      {Value(-HUGE_VAL), true}, {Value(std::nan("")), true}, {Value(9.3e18), true}, {Value("soon"), true},
  };
  for (const auto& [stored, due] : cases) {
    app.platform.defaults->setObject("TolvanaLastMAU", stored);
    EXPECT_EQ(engine->shouldSendMAU(), due) << stored.description();
  }
}

}  // namespace
}  // namespace tolvana
