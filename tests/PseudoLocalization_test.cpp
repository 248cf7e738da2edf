// Pseudo-localisation through the engine, switched on as a tester would.
#include <gtest/gtest.h>

#include <functional>

#include "tests/support/AppFixture.h"
#include "tolvana/Hooks.h"
#include "tolvana/Tolvana.h"

namespace tolvana {
namespace {

using testing::AppFixture;

struct PseudoApp {
  explicit PseudoApp(const std::function<void(AppFixture&)>& switchOn = {}) {
    app.appLanguage("en", {{"hello", "Hello %{name}", ""}, {"items[one]", "%{n} item", ""}});
    app.platform.locale->setPreferredLanguages({"en"});
    if (switchOn) switchOn(app);
    app.install();
  }
  AppFixture app;
};

TEST(PseudoLocalization, OnlyWhenTheAppOrALaunchArgumentAsks) {
  const struct {
    const char* name;
    std::function<void(AppFixture&)> switchOn;
    const char* hello;
  } cases[] = {
      {"off by default", {}, "Hello Ann"},
      {"Info.plist", [](AppFixture& a) { a.bundle.info("TolvanaPseudoLocalization", true); }, "[Ĥéļļö Ann~~]"},
      {"not a Boolean", [](AppFixture& a) { a.bundle.info("TolvanaPseudoLocalization", "YES"); }, "Hello Ann"},
      {"launch argument, twice as long",
       [](AppFixture& a) {
         a.platform.device->setLaunchArguments({"app", "TolvanaPseudoLocalization"});
         a.bundle.info("TolvanaPseudoLocalizationExpansion", 1.0);
       },
       "[Ĥéļļö Ann~~~~~~]"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    PseudoApp pseudo(c.switchOn);
    EXPECT_EQ(Tolvana::localizedStringForKey("hello", Tolvana::Arguments{{"name", "Ann"}}), c.hello);
  }
}

TEST(PseudoLocalization, EveryLookUpButKeysShownInsteadOfTexts) {
  PseudoApp pseudo([](AppFixture& a) { a.bundle.info("TolvanaPseudoLocalization", true); });
  EXPECT_EQ(Tolvana::localizedStringForKey("items", Tolvana::Arguments{{"n", "1"}}, 1), "[1 îţéɱ~~]");
  EXPECT_EQ(Tolvana::localizedStringForKey("absent", "Default"), "[Đéƒåûļţ~~~]");
  EXPECT_EQ(Tolvana::localizedStringsForLanguage("en").at("hello"), "[Ĥéļļö %{name}~~]");
  EXPECT_EQ(Tolvana::localizedStringsForCurrentLanguage().at("hello"), "[Ĥéļļö %{name}~~]");
  EXPECT_EQ(Tolvana::localizeMap({{"en", {{"hello", ""}, {"absent", "Default"}}}}),
            (Tolvana::LanguageMap{{"en", {{"hello", "[Ĥéļļö %{name}~~]"}, {"absent", "[Đéƒåûļţ~~~]"}}}}));
  // A toolkit's own text, which the stores lack, is shown transformed rather than left to the
  // toolkit's other sources.
  auto toolkit = TolvanaHooks::lookUp("Check out", "Check out", "MainWindow");
  ASSERT_TRUE(toolkit);
  EXPECT_EQ(toolkit->text, "[Çĥéçķ öûţ~~~~]");
  Tolvana::setShowIdModeEnabled(true);
  EXPECT_EQ(Tolvana::localizedStringForKey("hello"), "hello");
}

}  // namespace
}  // namespace tolvana
