#include "localization/TLPluralRule.h"

#include <gtest/gtest.h>

namespace tolvana {
namespace {

struct Case {
  const char* code;
  std::uint64_t n;
  TLPluralRule expected;
};

class PluralTable : public ::testing::TestWithParam<Case> {};

TEST_P(PluralTable, PicksTheServiceForm) {
  EXPECT_EQ(GetPluralRuleForISO6391(GetParam().n, GetParam().code), GetParam().expected)
      << GetParam().code << " " << GetParam().n;
}

constexpr auto Zero = TLPluralRuleZero, One = TLPluralRuleOne, Two = TLPluralRuleTwo, Few = TLPluralRuleFew,
               Many = TLPluralRuleMany, Other = TLPluralRuleOther;

INSTANTIATE_TEST_SUITE_P(
    Languages, PluralTable,
    ::testing::Values(Case{"en", 0, Other}, Case{"en", 1, One}, Case{"fr", 0, One}, Case{"fr", 2, Other},
                      Case{"ar", 0, Zero}, Case{"ar", 2, Two}, Case{"ar", 102, Other}, Case{"ar", 103, Few},
                      Case{"ar", 111, Many}, Case{"hr", 11, Few}, Case{"hr", 21, One}, Case{"hr", 12, Many},
                      Case{"hr", 22, Few}, Case{"hr", 5, Many}, Case{"he", 0, Many}, Case{"he", 20, Many},
                      Case{"he", 11, Other}, Case{"he", 2, Two}, Case{"he", 7, Other}, Case{"lv", 0, Zero},
                      Case{"lv", 21, One}, Case{"lv", 11, Many}, Case{"lv", 5, Many}, Case{"pl", 0, Many},
                      Case{"pl", 22, Few}, Case{"pl", 12, Many}, Case{"ro", 0, Few}, Case{"ro", 19, Few},
                      Case{"ro", 20, Other}, Case{"ro", 101, Other}, Case{"ru", 21, One}, Case{"ru", 11, Many},
                      Case{"ru", 104, Few}, Case{"uk", 3, Few}, Case{"cs", 0, Other}, Case{"cs", 4, Few},
                      Case{"cs", 22, Other}, Case{"sk", 1, One}, Case{"ja", 1, Other}, Case{"id", 1, Other},
                      Case{"DE", 1, One}, Case{"xx", 2, Other}));

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
