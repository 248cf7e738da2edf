// Plural rules: the numbering of plural forms and the choice of a form for a quantity.
//
// A text with plural forms is stored once per form, under the key followed by the form's
// word in brackets ("items[one]"). The tables below follow the translation service's own
// numbering per language, including its deliberate departures from CLDR (hr, he, lv, ro),
// so that apps and the service agree on which form a quantity shows.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tolvana {

enum TLPluralRule : std::int64_t {
  TLPluralRuleInvalid = -1,
  TLPluralRuleZero = 0,
  TLPluralRuleOne = 1,
  TLPluralRuleTwo = 2,
  TLPluralRuleFew = 3,
  TLPluralRuleMany = 4,
  TLPluralRuleOther = 5,
};

// The rule for the quantity in the current device language.
TLPluralRule TLPluralRuleForQuantity(std::uint64_t quantity);
TLPluralRule GetPluralRuleForISO6391(std::uint64_t quantity, std::string_view twoLetterCode);
TLPluralRule GetPluralRuleForISO6392(std::uint64_t quantity);
// Whether the two-letter code has a table of its own; any other language gets "one" for 1
// and "other" for the rest.
bool hasPluralTable(std::string_view twoLetterCode);
// A hook for languages that need their own rule; none does today, so it always answers other.
TLPluralRule GetPluralRuleForSpecialCases(std::uint64_t quantity, std::string_view languageCode);

// "zero" … "other" for 0 … 5, nullopt for any other number.
std::optional<std::string_view> pluralRuleWord(std::int64_t rule);

}  // namespace tolvana
