#include "support/TLLog.h"

#include <gtest/gtest.h>

#include "tests/support/TestPlatform.h"

namespace tolvana {
namespace {

using testing::TestPlatform;

void logAllLevels() {
  for (int level = 0; level <= 5; ++level) TLLog::sharedInstance().log(TLLog::tag(), level, "level %d", level);
}

std::string levelsShown(const testing::LogCapture& log) {
  std::string shown;
  for (const auto& line : log.lines()) shown += line.substr(0, 1);
  return shown;
}

struct ThresholdCase {
  const char* name;
  std::optional<Value> setting;
  const char* shown;
};

class TLLogThreshold : public ::testing::TestWithParam<ThresholdCase> {};

TEST_P(TLLogThreshold, ShowsLevelsAtOrAboveTheThreshold) {
  Value::Dictionary info;
  if (GetParam().setting) info["TolvanaLogLevel"] = *GetParam().setting;
  TestPlatform platform(info);
  platform.install();
  logAllLevels();
  EXPECT_EQ(levelsShown(*platform.log), GetParam().shown);
}

INSTANTIATE_TEST_SUITE_P(
    Settings, TLLogThreshold,
    ::testing::Values(ThresholdCase{"absent", std::nullopt, "IWEA"}, ThresholdCase{"lowerW", Value("w"), "WEA"},
                      ThresholdCase{"upperW", Value("W"), "WEA"}, ThresholdCase{"verbose", Value("v"), "VDIWEA"},
                      ThresholdCase{"wordWarn", Value("warn"), "IWEA"}, ThresholdCase{"wordError", Value("error"), "IWEA"},
                      ThresholdCase{"numberZero", Value(0), "VDIWEA"}, ThresholdCase{"numberNine", Value(9), ""},
                      ThresholdCase{"negative", Value(-3), "VDIWEA"}, ThresholdCase{"real", Value(4.7), "EA"},
                      ThresholdCase{"booleanIsOne", Value(true), "DIWEA"}, ThresholdCase{"array", Value(Value::Array{}), "IWEA"}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(TLLog, LineFormatSplitsOnLineFeedsOnly) {
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
  TLLog::sharedInstance().setLevelForTag("Other", 5);
  EXPECT_EQ(TLLog::sharedInstance().levelForTag("Other"), 5);
}

TEST(TLLog, LevelStrings) {
  EXPECT_EQ(TLLog::levelAsString(0), "V");
  EXPECT_EQ(TLLog::levelAsString(5), "A");
  EXPECT_EQ(TLLog::levelAsString(6), std::nullopt);
  EXPECT_EQ(TLLog::levelAsString(-1), std::nullopt);
}

}  // namespace
}  // namespace tolvana
