#include "localization/TLPluralRule.h"

#include <gtest/gtest.h>

namespace tolvana {
namespace {

constexpr auto Zero = TLPluralRuleZero, One = TLPluralRuleOne, Two = TLPluralRuleTwo, Few = TLPluralRuleFew,
               Many = TLPluralRuleMany, Other = TLPluralRuleOther;

TEST(PluralRule, PicksTheServiceFormPerLanguage) {
  const struct {
    const char* code;
    std::uint64_t n;
    TLPluralRule expected;
  } cases[] = {
      {"en", 0, Other}, {"en", 1, One},    {"fr", 0, One},     {"fr", 2, Other},   {"ar", 0, Zero},
      {"ar", 2, Two},   {"ar", 102, Other}, {"ar", 103, Few},  {"ar", 111, Many},  {"hr", 11, Few},
      {"hr", 21, One},  {"hr", 12, Many},  {"hr", 22, Few},    {"hr", 5, Many},    {"he", 0, Many},
      {"he", 20, Many}, {"he", 11, Other}, {"he", 2, Two},     {"he", 7, Other},   {"lv", 0, Zero},
      {"lv", 21, One},  {"lv", 11, Many},  {"lv", 5, Many},    {"pl", 0, Many},    {"pl", 22, Few},
      {"pl", 12, Many}, {"ro", 0, Few},    {"ro", 19, Few},    {"ro", 20, Other},  {"ro", 101, Other},
      {"ru", 21, One},  {"ru", 11, Many},  {"ru", 104, Few},   {"uk", 3, Few},     {"cs", 0, Other},
      {"cs", 4, Few},   {"cs", 22, Other}, {"sk", 1, One},     {"ja", 1, Other},   {"id", 1, Other},
      {"DE", 1, One},   {"xx", 2, Other},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(GetPluralRuleForISO6391(c.n, c.code), c.expected) << c.code << " " << c.n;
  }
}

TEST(PluralRule, ThreeLetterAndWords) {
  EXPECT_EQ(GetPluralRuleForISO6392(1), One);
  EXPECT_EQ(GetPluralRuleForISO6392(0), Other);
  EXPECT_EQ(GetPluralRuleForSpecialCases(1, "zh-Hans"), Other);
  EXPECT_EQ(pluralRuleWord(3), "few");
  EXPECT_EQ(pluralRuleWord(6), std::nullopt);
  EXPECT_EQ(pluralRuleWord(-1), std::nullopt);
}

}  // namespace
}  // namespace tolvana
