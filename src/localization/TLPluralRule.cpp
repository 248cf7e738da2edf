#include "localization/TLPluralRule.h"

#include <array>

#include "config/TLDeviceUtil.h"
#include "support/ReadEpoch.h"

namespace tolvana {

namespace {

constexpr std::array<std::string_view, 6> kWords = {"zero", "one", "two", "few", "many", "other"};
// Forms of 1..10 in Hebrew, and of 1..4 in the Slavic group.
constexpr std::array<TLPluralRule, 10> kHebrew = {TLPluralRuleOne,   TLPluralRuleTwo,   TLPluralRuleOther, TLPluralRuleOther,
                                                  TLPluralRuleOther, TLPluralRuleOther, TLPluralRuleOther, TLPluralRuleOther,
                                                  TLPluralRuleOther, TLPluralRuleOther};
constexpr std::array<TLPluralRule, 4> kSlavic = {TLPluralRuleOne, TLPluralRuleFew, TLPluralRuleFew, TLPluralRuleFew};

TLPluralRule oneOrOther(std::uint64_t n) { return n == 1 ? TLPluralRuleOne : TLPluralRuleOther; }

bool in(std::uint64_t n, std::uint64_t low, std::uint64_t high) { return n >= low && n <= high; }

TLPluralRule arabic(std::uint64_t n) {
  if (n <= 2) return static_cast<TLPluralRule>(n);
  std::uint64_t h = n % 100;
  if (in(h, 3, 10)) return TLPluralRuleFew;
  if (in(h, 11, 99)) return TLPluralRuleMany;
  return TLPluralRuleOther;
}

TLPluralRule croatian(std::uint64_t n) {
  std::uint64_t t = n % 10, h = n % 100;
  if (t == 1) return h == 11 ? TLPluralRuleFew : TLPluralRuleOne;
  if (in(t, 2, 4)) return in(h, 12, 14) ? TLPluralRuleMany : TLPluralRuleFew;
  return TLPluralRuleMany;
}

TLPluralRule czech(std::uint64_t n) { return in(n, 1, 4) ? kSlavic[n - 1] : TLPluralRuleOther; }

TLPluralRule hebrew(std::uint64_t n) {
  if (in(n, 1, 10)) return kHebrew[n - 1];
  return n % 10 == 0 ? TLPluralRuleMany : TLPluralRuleOther;
}

TLPluralRule latvian(std::uint64_t n) {
  if (n == 0) return TLPluralRuleZero;
  if (n == 1) return TLPluralRuleOne;
  return n % 10 == 1 && n % 100 != 11 ? TLPluralRuleOne : TLPluralRuleMany;
}

TLPluralRule polish(std::uint64_t n) {
  if (n == 1) return TLPluralRuleOne;
  return in(n % 10, 2, 4) && !in(n % 100, 12, 14) ? TLPluralRuleFew : TLPluralRuleMany;
}

TLPluralRule romanian(std::uint64_t n) {
  if (n == 0) return TLPluralRuleFew;
  if (n == 1) return TLPluralRuleOne;
  return in(n % 100, 2, 19) ? TLPluralRuleFew : TLPluralRuleOther;
}

TLPluralRule russian(std::uint64_t n) {
  std::uint64_t t = n % 10;
  if (in(n % 100, 11, 14) || t == 0 || in(t, 5, 9)) return TLPluralRuleMany;
  return kSlavic[t - 1];
}

struct Row {
  std::string_view code;
  TLPluralRule (*rule)(std::uint64_t);
};

TLPluralRule always(std::uint64_t) { return TLPluralRuleOther; }
TLPluralRule french(std::uint64_t n) { return n <= 1 ? TLPluralRuleOne : TLPluralRuleOther; }

// Compared in this order; the first match decides.
constexpr Row kTable[] = {
    {"ar", arabic},     {"ca", oneOrOther}, {"hr", croatian},   {"cs", czech},      {"da", oneOrOther},
    {"nl", oneOrOther}, {"en", oneOrOther}, {"fr", french},     {"de", oneOrOther}, {"fi", oneOrOther},
    {"el", oneOrOther}, {"he", hebrew},     {"hu", oneOrOther}, {"id", always},     {"it", oneOrOther},
    {"ja", always},     {"ko", always},     {"lv", latvian},    {"ms", always},     {"nb", oneOrOther},
    {"nn", oneOrOther}, {"pl", polish},     {"pt", oneOrOther}, {"ro", romanian},   {"ru", russian},
    {"es", oneOrOther}, {"sk", czech},      {"sv", oneOrOther}, {"th", always},     {"tr", always},
    {"uk", russian},    {"vi", always},
};

}  // namespace

TLPluralRule GetPluralRuleForISO6391(std::uint64_t quantity, std::string_view code) {
  for (const Row& row : kTable) {
    if (row.code == code) return row.rule(quantity);
  }
  return oneOrOther(quantity);
}

TLPluralRule GetPluralRuleForISO6392(std::uint64_t quantity) { return oneOrOther(quantity); }

TLPluralRule GetPluralRuleForSpecialCases(std::uint64_t, std::string_view languageCode) {
  if (languageCode == "zh-Hans" || languageCode == "zh-Hant") return TLPluralRuleOther;
  return TLPluralRuleOther;
}

TLPluralRule TLPluralRuleForQuantity(std::uint64_t quantity) {
  ReadEpoch::Section section;
  const DeviceLanguages& device = TLDeviceUtil::deviceLanguages();
  const std::string& shortLanguage = device.shortCode;
  GetPluralRuleForSpecialCases(quantity, device.longCode);
  if (shortLanguage.size() == 2) return GetPluralRuleForISO6391(quantity, shortLanguage);
  if (shortLanguage.size() == 3) return GetPluralRuleForISO6392(quantity);
  return TLPluralRuleOther;
}

std::optional<std::string_view> pluralRuleWord(std::int64_t rule) {
  if (rule < 0 || rule > 5) return std::nullopt;
  return kWords[static_cast<std::size_t>(rule)];
}

}  // namespace tolvana
