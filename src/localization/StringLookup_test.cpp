#include <gtest/gtest.h>

#include <cstdio>

#include "core/TLInternal.h"
#include "config/TLDeviceUtil.h"
#include "tests/support/AppFixture.h"

namespace tolvana {
namespace {

using testing::AppFixture;
using testing::StoreContents;

// Stores: de-AT (long), de (short), en (base); the bundle's own table has "bundle.only".
class StringLookup : public ::testing::Test {
 protected:
  void start() {
    app.platform.locale->setPreferredLanguages({"de-AT"});
    app.bundle.strings("en", "Localizable", {{"bundle.only", "From the bundle"}, {"hello", "Bundle hello"}});
    app.bundle.resource("Main.storyboardc/Info.plist", "");
    app.appLanguage("en", {{"hello", "Hello", ""}, {"base.only", "Base", ""}, {"empty.base", "", ""},
                           {"items[one]", "%{n} item", ""}, {"items[other]", "%{n} items", ""}});
    app.stores["de"] = StoreContents{{{"hello", "Hallo", "Hallo-Entwurf"}, {"short.only", "Kurz", ""}}, {{"main", 1}}};
    app.stores["de-AT"] = StoreContents{{{"hello", "Servus", ""}, {"draft.empty", "Veröffentlicht", ""}}, {{"main", 1}}};
    app.install();
    engine = TLInternal::sharedInstance();
  }
  std::string lookup(std::string_view key, std::optional<std::string_view> value = std::nullopt,
                     std::optional<std::string_view> table = std::nullopt) {
    return engine->localizedStringForKey(key, value, table, nullptr).text;
  }
  AppFixture app;
  std::shared_ptr<TLInternal> engine;
};

TEST_F(StringLookup, FallBackChainCollectsNothingWithoutDebuggerOrDraftMode) {
  start();
  EXPECT_EQ(lookup("hello"), "Servus");             // long device language
  EXPECT_EQ(lookup("short.only"), "Kurz");          // short device language
  EXPECT_EQ(lookup("base.only"), "Base");           // base language
  EXPECT_EQ(lookup("bundle.only"), "From the bundle");
  EXPECT_EQ(lookup("empty.base", "Default"), "Default");
  EXPECT_EQ(lookup("nowhere"), "nowhere");
  EXPECT_EQ(engine->localizedStringForKey("hello", std::nullopt).key, std::nullopt);  // untagged outside draft mode
  // Without a debugger or draft mode no miss is collected.
  EXPECT_FALSE(engine->collectMissingEnabled());
  lookup("missing", "Missing text");
  EXPECT_TRUE(engine->missingEntries().empty());
}

TEST_F(StringLookup, DraftAndShowIdModes) {
  start();
  engine->setInDraftMode(true);
  EXPECT_EQ(lookup("short.only"), "Kurz");
  EXPECT_EQ(lookup("draft.empty"), "Veröffentlicht");  // an empty draft shows the published value
  app.platform.locale->setPreferredLanguages({"de"});
  TLDeviceUtil::deviceLanguageLong(std::nullopt);
  auto tagged = engine->localizedStringForKey("hello", std::nullopt);
  EXPECT_EQ(tagged.text, "Hallo-Entwurf");
  EXPECT_EQ(tagged.key, "hello");
  engine->setInDraftMode(false);
  engine->setInShowIdMode(true);
  EXPECT_EQ(lookup("hello", "Default"), "hello");
  EXPECT_TRUE(engine->missingEntries().empty());
}

TEST_F(StringLookup, MissesAreRecordedOnlyUnderTheirConditions) {
  app.platform.device->setBeingTraced(true);  // misses are collected with a debugger attached
  start();
  lookup("nowhere");                              // no default: not recorded
  lookup("nowhere", "");                          // empty default: not recorded
  lookup("hello", "Hi");                          // present in the base language
  lookup("Main.title", "Title", "Main");          // a storyboard table, collected by default
  lookup("missing", "Missing text");
  // A table look-up goes to the main bundle's development language, the others to the base
  // language; both are en here.
  EXPECT_EQ(engine->missingEntries(),
            (TLLanguageMap{{"en", {{"Main.title", "Title"}, {"missing", "Missing text"}}}}));
  EXPECT_TRUE(engine->missingEntryUpdateQueued());
  EXPECT_EQ(app.platform.log->count("The Development Language(en) of your app is different to your Tolvana Base "
                                    "Language(en). Your strings will be uploaded to en."),
            1u);
}

TEST_F(StringLookup, StoryboardStringsAreSkippedWhenNotCollected) {
  app.platform.device->setBeingTraced(true);
  app.bundle.info("TolvanaCollectStoryBoardStrings", false);
  start();
  lookup("Main.title", "Title", "Main");
  lookup("Other.title", "Title", "Other");
  EXPECT_EQ(engine->missingEntries(), (TLLanguageMap{{"en", {{"Other.title", "Title"}}}}));
}

TEST_F(StringLookup, ArgumentsAndPlurals) {
  start();
  std::map<std::string, std::string> args{{"n", "3"}, {"name", "Ann"}};
  EXPECT_EQ(TLInternal::formatString("Hello %{name}, %{name}! %{unknown}", &args), "Hello Ann, Ann! %{unknown}");
  std::map<std::string, std::string> none;
  EXPECT_EQ(TLInternal::formatString("Hi %{name}", &none), "Hi %{name}");
  EXPECT_EQ(TLInternal::formatString(std::nullopt, &args), std::nullopt);

  // A replacement holding a later placeholder is filled in, but doubling chains stop at the
  // bound with an error instead of hanging the look-up.
  std::map<std::string, std::string> chained{{"a", "%{b}!"}, {"b", "x"}};
  EXPECT_EQ(TLInternal::formatString("%{a}", &chained), "x!");
  std::map<std::string, std::string> doubling;
  for (int i = 0; i < 40; ++i) {
    char name[8], next[8];
    std::snprintf(name, sizeof name, "a%02d", i);
    std::snprintf(next, sizeof next, "a%02d", i + 1);
    doubling[name] = std::string("%{") + next + "}%{" + next + "}";
  }
  auto bombed = TLInternal::formatString("%{a00}", &doubling);
  ASSERT_TRUE(bombed);
  EXPECT_LE(bombed->size(), TLInternal::kFormattedSizeLimit);
  EXPECT_TRUE(app.platform.log->contains("Formatting stopped at argument"));

  EXPECT_EQ(engine->localizedStringForKeyWithArgumentsAndPluralRule("items", &args, 5, std::nullopt).text, "3 items");
  EXPECT_EQ(engine->localizedStringForKeyWithArgumentsAndPluralRule("items", &args, 2, std::nullopt).text, "items[two]");
  EXPECT_EQ(engine->localizedStringForKeyWithArgumentsAndPluralRule("items", &args, 9, "fallback").text, "fallback");
  EXPECT_EQ(engine->localizedStringForKeyWithArgumentsAndPluralRule("items", &args, 9, std::nullopt).text,
            "items[(null)]");
  EXPECT_EQ(engine->localizedStringForKeyWithArguments("hel\nlo", &args, std::nullopt).text, "Servus");

  engine->setEnabled(false);
  EXPECT_EQ(engine->localizedStringForKeyWithArguments("a\nb", &args, "Default %{n}").text, "Default 3");
  EXPECT_EQ(engine->localizedStringForKeyWithArgumentsAndPluralRule("items", &args, 1, std::nullopt).text, "items[one]");
  EXPECT_EQ(lookup("hello"), "Bundle hello");
}

TEST_F(StringLookup, TablesMapsAndExistence) {
  app.platform.device->setBeingTraced(true);
  start();
  auto current = engine->localizedStringsForCurrentLanguage();
  EXPECT_EQ(current["hello"], "Servus");
  EXPECT_EQ(current["short.only"], "Kurz");
  EXPECT_EQ(current["base.only"], "Base");

  TLLanguageMap map{{"de", {{"hello", "Hi"}, {"unknown", "Default"}, {"unknown.empty", ""}}}, {"xx", {}}};
  auto localized = engine->localizeMap(map);
  EXPECT_EQ(localized["de"], (std::map<std::string, std::string>{{"hello", "Hallo"}, {"unknown", "Default"}}));
  EXPECT_TRUE(localized.count("xx"));
  EXPECT_EQ(engine->missingEntries(), (TLLanguageMap{{"de", {{"unknown", "Default"}, {"unknown.empty", ""}}}}));

  EXPECT_TRUE(engine->entryExists("empty.base"));
  EXPECT_FALSE(engine->entryExists("short.only"));
}

}  // namespace
}  // namespace tolvana
