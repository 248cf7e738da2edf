#include "localization/TLPluralRule.h"

#include <gtest/gtest.h>

#include "config/TLDeviceUtil.h"
#include "tests/support/TestPlatform.h"

namespace tolvana {
namespace {

// The form of each quantity in a window, one letter each: z zero, o one, t two, f few,
// m many, . other.
TLPluralRule formOf(char letter) { return static_cast<TLPluralRule>(std::string_view("zotfm.").find(letter)); }

// Two windows hold every edge of every range the languages state: 0..29 those of n and of
// n % 10, 96..125 those of n % 100 (99 | 100, 102 | 103, 110 | 111, 114 | 115, 119 | 120).
TEST(PluralRule, EveryFormAtEveryEdgeOfEveryLanguage) {
  const struct {
    std::vector<const char*> codes;
    const char* from0;
    const char* from96;
  } families[] = {
      {{"ca", "da", "nl", "en", "de", "fi", "el", "hu", "it", "nb", "nn", "pt", "es", "sv", "xx", "", "FR"},
       ".o............................", ".............................."},
      {{"fr"}, "oo............................", ".............................."},
      {{"id", "ja", "ko", "ms", "th", "tr", "vi"}, "..............................", ".............................."},
      {{"ar"}, "zotffffffffmmmmmmmmmmmmmmmmmmm", "mmmm...ffffffffmmmmmmmmmmmmmmm"},
      {{"hr"}, "mofffmmmmmmfmmmmmmmmmofffmmmmm", "mmmmmofffmmmmmmfmmmmmmmmmofffm"},
      {{"cs", "sk"}, ".offf.........................", ".............................."},
      {{"he"}, "mot.................m.........", "....m.........m.........m....."},
      {{"lv"}, "zommmmmmmmmmmmmmmmmmmommmmmmmm", "mmmmmommmmmmmmmmmmmmmmmmmommmm"},
      {{"pl"}, "mofffmmmmmmmmmmmmmmmmmfffmmmmm", "mmmmmmfffmmmmmmmmmmmmmmmmmfffm"},
      {{"ro"}, "foffffffffffffffffff..........", "......ffffffffffffffffff......"},
      {{"ru", "uk"}, "mofffmmmmmmmmmmmmmmmmofffmmmmm", "mmmmmofffmmmmmmmmmmmmmmmmofffm"},
  };
  for (const auto& family : families) {
    for (const char* code : family.codes) {
      for (std::uint64_t i = 0; i < 30; ++i) {
        EXPECT_EQ(GetPluralRuleForISO6391(i, code), formOf(family.from0[i])) << '"' << code << "\" " << i;
        EXPECT_EQ(GetPluralRuleForISO6391(96 + i, code), formOf(family.from96[i])) << '"' << code << "\" " << 96 + i;
      }
    }
  }
}

// Two letters take the table, three the one/other rule, any other length other.
TEST(PluralRule, TheDeviceLanguageChoosesTheRule) {
  testing::TestPlatform platform;
  platform.install();
  const struct {
    const char* language;
    std::uint64_t n;
    TLPluralRule expected;
  } cases[] = {
      {"pl-PL", 22, TLPluralRuleFew}, {"pl-PL", 1, TLPluralRuleOne},  {"zh-Hans", 1, TLPluralRuleOne},
      {"zh-Hans", 2, TLPluralRuleOther}, {"haw", 1, TLPluralRuleOne}, {"haw", 0, TLPluralRuleOther},
      {"fr", 0, TLPluralRuleOne},     {"yue-HK", 0, TLPluralRuleOther}, {"", 1, TLPluralRuleOther},
      {"abcd", 1, TLPluralRuleOther},
  };
  for (const auto& c : cases) {
    platform.locale->setPreferredLanguages({c.language});
    TLDeviceUtil::forgetDeviceLanguages();
    EXPECT_EQ(TLPluralRuleForQuantity(c.n), c.expected) << '"' << c.language << "\" " << c.n;
  }
  TLDeviceUtil::forgetDeviceLanguages();
}

TEST(PluralRule, WordsOfTheSixRulesOnly) {
  EXPECT_EQ(pluralRuleWord(0), "zero");
  EXPECT_EQ(pluralRuleWord(5), "other");
  EXPECT_EQ(pluralRuleWord(6), std::nullopt);
  EXPECT_EQ(pluralRuleWord(-1), std::nullopt);
}

}  // namespace
}  // namespace tolvana
