// Argument substitution and plural rules with hostile texts, names and quantities. The input
// is a text, then name/value lines: "text\nname=value\n...". A look-up must end quickly with
// a bounded result.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>

#include "core/TLInternal.h"
#include "localization/TLPluralRule.h"
#include "support/StringUtil.h"
#include "tests/support/TestPlatform.h"

using namespace tolvana;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static auto* platform = [] {
    auto* p = new testing::TestPlatform;
    p->install();
    return p;
  }();
  std::string input(reinterpret_cast<const char*>(data), size);
  auto lines = split(input, '\n');
  std::map<std::string, std::string> arguments;
  for (std::size_t i = 1; i < lines.size(); ++i) {
    auto equals = lines[i].find('=');
    if (equals != std::string::npos) arguments[lines[i].substr(0, equals)] = lines[i].substr(equals + 1);
  }
  auto result = TLInternal::formatString(lines[0], &arguments);
  if (!result || result->size() > std::max<std::size_t>(TLInternal::kFormattedSizeLimit, 16 * size + 16 * lines.size())) {
    std::abort();
  }

  std::uint64_t quantity = 0;
  std::memcpy(&quantity, data, std::min(size, sizeof quantity));
  std::string code = lines[0].substr(0, 3);
  for (auto rule : {GetPluralRuleForISO6391(quantity, code), GetPluralRuleForISO6392(quantity),
                    GetPluralRuleForSpecialCases(quantity, code), TLPluralRuleForQuantity(quantity)}) {
    if (rule < TLPluralRuleZero || rule > TLPluralRuleOther || !pluralRuleWord(rule)) std::abort();
  }
  platform->log->clear();
  return 0;
}
