#include "support/TLLog.h"

#include <gtest/gtest.h>

#include "tests/support/TestPlatform.h"

namespace tolvana {
namespace {

using testing::TestPlatform;

TEST(TLLog, ShowsLevelsAtOrAboveTheThreshold) {
  const struct {
    std::optional<Value> setting;
    const char* shown;
  } cases[] = {
      {std::nullopt, "IWEA"}, {"w", "WEA"},          {"W", "WEA"},     {"v", "VDIWEA"},
      {"warn", "IWEA"},       {"error", "IWEA"},     {0, "VDIWEA"},    {9, ""},
      {-3, "VDIWEA"},         {4.7, "EA"},           {true, "DIWEA"},  {Value::Array{}, "IWEA"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.setting ? c.setting->description() : "(absent)");
    Value::Dictionary info;
    if (c.setting) info["TolvanaLogLevel"] = *c.setting;
    TestPlatform platform(info);
    platform.install();
    for (int level = 0; level <= 5; ++level) TLLog::sharedInstance().log(TLLog::tag(), level, "level %d", level);
    std::string shown;
    for (const auto& line : platform.log->lines()) shown += line.substr(0, 1);
    EXPECT_EQ(shown, c.shown);
  }
}

TEST(TLLog, LineFormatSplitsOnLineFeedsOnlyAndKnowsSixLevels) {
  TestPlatform platform;
  platform.install();
  logError("first\nsecond\r\nthird\n");
  // U+FE55 and a blank separate the tag from the text.
  std::vector<std::string> expected = {"E/Tolvana\xEF\xB9\x95 first", "E/Tolvana\xEF\xB9\x95 second\r",
                                       "E/Tolvana\xEF\xB9\x95 third", "E/Tolvana\xEF\xB9\x95 "};
  EXPECT_EQ(platform.log->lines(), expected);

  platform.log->clear();
  logWarning("");
  EXPECT_EQ(platform.log->lines(), std::vector<std::string>{"W/Tolvana\xEF\xB9\x95 "});
  EXPECT_EQ(TLLog::levelAsString(6), std::nullopt);
  EXPECT_EQ(TLLog::levelAsString(-1), std::nullopt);
}

TEST(TLLog, CustomTagReadsItsOwnThresholdKey) {
  TestPlatform platform(Value::Dictionary{{"TLLogTag", "Acme"}, {"AcmeLogLevel", "e"}, {"TolvanaLogLevel", "v"}});
  platform.install();
  EXPECT_EQ(TLLog::tag(), "Acme");
  logWarning("dropped");
  logError("kept %@ and %ld", "text", 42L);
  EXPECT_EQ(platform.log->lines(), std::vector<std::string>{"E/Acme\xEF\xB9\x95 kept text and 42"});
}

TEST(TLLog, ThresholdIsCachedUntilReset) {
  auto bundle = std::make_shared<MemoryBundle>("/app/T.app", Value::Dictionary{{"TolvanaLogLevel", "e"}});
  TestPlatform platform;
  platform.bundles = std::make_shared<MemoryBundles>(bundle);
  platform.install();
  EXPECT_EQ(TLLog::sharedInstance().levelForTag("Tolvana"), 4);
  bundle->setInfo("TolvanaLogLevel", "v");
  EXPECT_EQ(TLLog::sharedInstance().levelForTag("Tolvana"), 4);
  TLLog::sharedInstance().resetTagLevels();
  EXPECT_EQ(TLLog::sharedInstance().levelForTag("Tolvana"), 0);
}

}  // namespace
}  // namespace tolvana
