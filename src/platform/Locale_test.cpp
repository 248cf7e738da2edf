#include <gtest/gtest.h>

#include <map>

#include "platform/fake/FixedLocale.h"
#include "platform/fake/MemoryUserDefaults.h"
#include "platform/posix/IcuLocale.h"

namespace tolvana {
namespace {

using Environment = std::map<std::string, std::string, std::less<>>;

EnvironmentFn environmentOf(Environment variables) {
  return [variables = std::move(variables)](std::string_view name) -> std::optional<std::string> {
    auto it = variables.find(name);
    if (it == variables.end()) return std::nullopt;
    return it->second;
  };
}

TEST(LocaleContract, SplitsIdentifiersLikeIcuInEveryImplementation) {
  struct Case {
    const char* identifier;
    LocaleComponents expected;
    int count;
  };
  const Case cases[] = {
      {"zh-Hans-CN", {"zh", "Hans", "CN", ""}, 3}, {"sr-Latn-RS", {"sr", "Latn", "RS", ""}, 3},
      {"sr-Cyrl-RS", {"sr", "Cyrl", "RS", ""}, 3}, {"fil-PH", {"fil", "", "PH", ""}, 2},
      {"fil", {"fil", "", "", ""}, 1},             {"tl", {"tl", "", "", ""}, 1},
      {"en_US", {"en", "", "US", ""}, 2},          {"pt_BR", {"pt", "", "BR", ""}, 2},
      {"de", {"de", "", "", ""}, 1},               {"es-419", {"es", "", "419", ""}, 2},
      {"de-DE-1996", {"de", "", "DE", "1996"}, 3}, {"", {"", "", "", ""}, 0},
  };
  std::shared_ptr<Locale> implementations[] = {makeIcuLocale(nullptr, environmentOf({})),
                                               std::make_shared<FixedLocale>()};
  for (const auto& locale : implementations) {
    for (const Case& c : cases) {
      SCOPED_TRACE(c.identifier);
      LocaleComponents parts = locale->componentsFromLocaleIdentifier(c.identifier);
      EXPECT_EQ(parts.language, c.expected.language);
      EXPECT_EQ(parts.script, c.expected.script);
      EXPECT_EQ(parts.region, c.expected.region);
      EXPECT_EQ(parts.variant, c.expected.variant);
      EXPECT_EQ(parts.count(), c.count);
    }
  }
}

TEST(IcuLocale, PreferredLanguagesComeFromTheAppThenTheEnvironment) {
  struct Case {
    const char* name;
    std::optional<Value> appLanguages;
    Environment environment;
    std::vector<std::string> expected;
  };
  const Case cases[] = {
      {"app wins", Value::Array{"fr-CA", "de"}, {{"LANGUAGE", "it"}}, {"fr-CA", "de"}},
      {"app strings only", Value::Array{1, "", "it"}, {}, {"it"}},
      {"empty app list", Value::Array{}, {{"LANGUAGE", "pt_BR:de_AT.UTF-8@euro::C"}}, {"pt-BR", "de-AT"}},
      {"app not a list", Value("fr"), {{"LANG", "nb_NO.UTF-8"}}, {"nb-NO"}},
      {"C is skipped", std::nullopt, {{"LANGUAGE", ""}, {"LC_ALL", "C"}, {"LC_MESSAGES", "POSIX"}, {"LANG", "sv_SE"}},
       {"sv-SE"}},
      {"script modifier", std::nullopt, {{"LC_MESSAGES", "sr_RS@latin"}, {"LANG", "de_DE"}}, {"sr-Latn-RS"}},
      {"C with codeset", std::nullopt, {{"LANG", "C.UTF-8"}}, {"en"}},
      {"nothing", std::nullopt, {}, {"en"}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    auto defaults = std::make_shared<MemoryUserDefaults>();
    if (c.appLanguages) defaults->setObject("AppleLanguages", *c.appLanguages);
    EXPECT_EQ(makeIcuLocale(defaults, environmentOf(c.environment))->preferredLanguages(), c.expected);
  }
}

TEST(IcuLocale, CurrentRegionFollowsTheLocaleVariables) {
  EXPECT_EQ(makeIcuLocale(nullptr, environmentOf({{"LC_ALL", "de_AT.UTF-8"}, {"LANG", "en_US"}}))->currentRegion(),
            "AT");
  EXPECT_EQ(makeIcuLocale(nullptr, environmentOf({{"LANGUAGE", "fr_FR"}, {"LANG", "de"}}))->currentRegion(),
            std::nullopt);
  EXPECT_EQ(makeIcuLocale(nullptr, environmentOf({}))->currentRegion(), std::nullopt);
}

}  // namespace
}  // namespace tolvana
