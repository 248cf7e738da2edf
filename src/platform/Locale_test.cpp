#include <gtest/gtest.h>

#include <map>

#include "platform/fake/FixedLocale.h"
#include "platform/fake/MemoryUserDefaults.h"
#include "platform/posix/IcuLocale.h"

namespace tolvana {
namespace {

using Environment = std::map<std::string, std::string, std::less<>>;

std::shared_ptr<Locale> localeWith(Environment variables, std::shared_ptr<UserDefaults> defaults = nullptr) {
  return makeIcuLocale(defaults, [variables](std::string_view name) -> std::optional<std::string> {
    auto it = variables.find(name);
    return it == variables.end() ? std::nullopt : std::optional<std::string>(it->second);
  });
}

TEST(LocaleContract, SplitsIdentifiersLikeIcuInEveryImplementation) {
  struct Case {
    const char *identifier, *language, *script, *region, *variant;
    int count;
  } const cases[] = {
      {"zh-Hans-CN", "zh", "Hans", "CN", "", 3}, {"sr-Latn-RS", "sr", "Latn", "RS", "", 3},
      {"sr-Cyrl-RS", "sr", "Cyrl", "RS", "", 3}, {"fil-PH", "fil", "", "PH", "", 2},
      {"fil", "fil", "", "", "", 1},             {"tl", "tl", "", "", "", 1},
      {"en_US", "en", "", "US", "", 2},          {"pt_BR", "pt", "", "BR", "", 2},
      {"de", "de", "", "", "", 1},               {"de-DE-1996", "de", "", "DE", "1996", 3},
  };
  for (const auto& locale : {localeWith({}), std::shared_ptr<Locale>(std::make_shared<FixedLocale>())}) {
    for (const Case& c : cases) {
      LocaleComponents parts = locale->componentsFromLocaleIdentifier(c.identifier);
      EXPECT_EQ(std::vector<std::string>({parts.language, parts.script, parts.region, parts.variant}),
                std::vector<std::string>({c.language, c.script, c.region, c.variant}))
          << c.identifier;
      EXPECT_EQ(parts.count(), c.count) << c.identifier;
    }
  }
}

TEST(IcuLocale, PreferredLanguagesComeFromTheAppThenTheEnvironment) {
  struct Case {
    const char* name;
    std::optional<Value> appLanguages;
    Environment environment;
    std::vector<std::string> expected;
  } const cases[] = {
      {"app wins", Value::Array{"fr-CA", "de"}, {{"LANGUAGE", "it"}}, {"fr-CA", "de"}},
      {"app strings only", Value::Array{1, "", "it"}, {}, {"it"}},
      {"empty app list", Value::Array{}, {{"LANGUAGE", "pt_BR:de_AT.UTF-8@euro::C"}}, {"pt-BR", "de-AT"}},
      {"app not a list", Value("fr"), {{"LANG", "nb_NO.UTF-8"}}, {"nb-NO"}},
      {"C skipped", std::nullopt, {{"LANGUAGE", ""}, {"LC_ALL", "C"}, {"LC_MESSAGES", "POSIX"}, {"LANG", "sv_SE"}},
       {"sv-SE"}},
      {"script modifier", std::nullopt, {{"LC_MESSAGES", "sr_RS@latin"}, {"LANG", "de_DE"}}, {"sr-Latn-RS"}},
      {"C with codeset", std::nullopt, {{"LANG", "C.UTF-8"}}, {"en"}},
  };
  for (const Case& c : cases) {
    auto defaults = std::make_shared<MemoryUserDefaults>();
    if (c.appLanguages) defaults->setObject("AppleLanguages", *c.appLanguages);
    EXPECT_EQ(localeWith(c.environment, defaults)->preferredLanguages(), c.expected) << c.name;
  }
}

TEST(IcuLocale, CurrentRegionFollowsTheLocaleVariables) {
  EXPECT_EQ(localeWith({{"LC_ALL", "de_AT.UTF-8"}, {"LANG", "en_US"}})->currentRegion(), "AT");
  EXPECT_EQ(localeWith({{"LANGUAGE", "fr_FR"}, {"LANG", "de"}})->currentRegion(), std::nullopt);
}

}  // namespace
}  // namespace tolvana
