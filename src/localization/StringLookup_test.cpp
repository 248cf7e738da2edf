#include <gtest/gtest.h>
#include <sqlite3.h>

#include <atomic>
#include <chrono>
#include <cstdio>

#include "config/ProcessState.h"
#include "config/TLDeviceUtil.h"
#include "localization/StringLookup.h"
#include "tests/support/AppFixture.h"
#include "tests/support/EngineParts.h"

namespace tolvana {
namespace {

using testing::AppFixture;
using testing::EngineParts;
using testing::StoreContents;

// Stores: de-AT (long), de (short), en (base); the bundle's own table has "bundle.only".
class StringLookupTest : public ::testing::Test {
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
    parts = std::make_unique<EngineParts>();
  }
  std::string lookup(std::string_view key, std::optional<std::string_view> value = std::nullopt,
                     std::optional<std::string_view> table = std::nullopt) {
    return parts->lookup.localizedStringForKey(key, value, table, nullptr).text;
  }
  AppFixture app;
  std::unique_ptr<EngineParts> parts;
};

TEST_F(StringLookupTest, FallBackChainCollectsNothingWithoutDebuggerOrDraftMode) {
  start();
  EXPECT_EQ(lookup("hello"), "Servus");             // long device language
  EXPECT_EQ(lookup("short.only"), "Kurz");          // short device language
  EXPECT_EQ(lookup("base.only"), "Base");           // base language
  EXPECT_EQ(lookup("bundle.only"), "From the bundle");
  EXPECT_EQ(lookup("empty.base", "Default"), "Default");
  EXPECT_EQ(lookup("nowhere"), "nowhere");
  EXPECT_EQ(parts->lookup.localizedStringForKey("hello", std::nullopt, std::nullopt, nullptr).key, std::nullopt);  // untagged outside draft mode
  // Without a debugger or draft mode no miss is collected.
  EXPECT_FALSE(parts->state.collectMissingEnabled());
  lookup("missing", "Missing text");
  EXPECT_TRUE(parts->missing.missingEntries().empty());
}

TEST_F(StringLookupTest, DraftAndShowIdModes) {
  start();
  parts->state.inDraftMode = true;
  EXPECT_EQ(lookup("short.only"), "Kurz");
  EXPECT_EQ(lookup("draft.empty"), "Veröffentlicht");  // an empty draft shows the published value
  app.platform.locale->setPreferredLanguages({"de"});
  TLDeviceUtil::forgetDeviceLanguages();
  auto tagged = parts->lookup.localizedStringForKey("hello", std::nullopt, std::nullopt, nullptr);
  EXPECT_EQ(tagged.text, "Hallo-Entwurf");
  EXPECT_EQ(tagged.key, "hello");
  parts->state.inDraftMode = false;
  parts->state.inShowIdMode = true;
  EXPECT_EQ(lookup("hello", "Default"), "hello");
  EXPECT_TRUE(parts->missing.missingEntries().empty());
}

TEST_F(StringLookupTest, MissesAreRecordedOnlyUnderTheirConditions) {
  app.platform.device->setBeingTraced(true);  // misses are collected with a debugger attached
  start();
  lookup("nowhere");                              // no default: not recorded
  lookup("nowhere", "");                          // empty default: not recorded
  lookup("hello", "Hi");                          // present in the base language
  lookup("Main.title", "Title", "Main");          // a storyboard table, collected by default
  lookup("missing", "Missing text");
  // A table look-up goes to the main bundle's development language, the others to the base
  // language; both are en here.
  EXPECT_EQ(parts->missing.missingEntries(),
            (TLLanguageMap{{"en", {{"Main.title", "Title"}, {"missing", "Missing text"}}}}));
  EXPECT_TRUE(parts->missing.missingEntryUpdateQueued());
  EXPECT_EQ(app.platform.log->count("The Development Language(en) of your app is different to your Tolvana Base "
                                    "Language(en). Your strings will be uploaded to en."),
            1u);
}

// What an adapter may keep: an answer whose look-up had nothing else to do.
TEST_F(StringLookupTest, RepeatableOnlyWithoutAMissToRecordOrAKeyToTag) {
  app.platform.device->setBeingTraced(true);
  start();
  auto repeatable = [&](std::string_view key, std::optional<std::string_view> value) {
    return parts->lookup.localizedStringForKey(key, value, std::nullopt, nullptr).repeatable;
  };
  EXPECT_TRUE(repeatable("hello", "Hi"));
  EXPECT_FALSE(repeatable("missing", "Missing text"));
  parts->state.inDraftMode = true;
  EXPECT_FALSE(repeatable("hello", "Hi"));
}

TEST_F(StringLookupTest, StoryboardStringsAreSkippedWhenNotCollected) {
  app.platform.device->setBeingTraced(true);
  app.bundle.info("TolvanaCollectStoryBoardStrings", false);
  start();
  lookup("Main.title", "Title", "Main");
  lookup("Other.title", "Title", "Other");
  EXPECT_EQ(parts->missing.missingEntries(), (TLLanguageMap{{"en", {{"Other.title", "Title"}}}}));
}

TEST_F(StringLookupTest, ArgumentsAndPlurals) {
  start();
  std::map<std::string, std::string> args{{"n", "3"}, {"name", "Ann"}};
  EXPECT_EQ(StringLookup::formatString("Hello %{name}, %{name}! %{unknown}", &args), "Hello Ann, Ann! %{unknown}");
  std::map<std::string, std::string> none;
  EXPECT_EQ(StringLookup::formatString("Hi %{name}", &none), "Hi %{name}");
  EXPECT_EQ(StringLookup::formatString(std::nullopt, &args), std::nullopt);

  // A replacement holding a later placeholder is filled in, but doubling chains stop at the
  // bound with an error instead of hanging the look-up.
  std::map<std::string, std::string> chained{{"a", "%{b}!"}, {"b", "x"}};
  EXPECT_EQ(StringLookup::formatString("%{a}", &chained), "x!");
  std::map<std::string, std::string> doubling;
  for (int i = 0; i < 40; ++i) {
    char name[8], next[8];
    std::snprintf(name, sizeof name, "a%02d", i);
    std::snprintf(next, sizeof next, "a%02d", i + 1);
    doubling[name] = std::string("%{") + next + "}%{" + next + "}";
  }
  auto bombed = StringLookup::formatString("%{a00}", &doubling);
  ASSERT_TRUE(bombed);
  EXPECT_LE(bombed->size(), StringLookup::kFormattedSizeLimit);
  EXPECT_TRUE(app.platform.log->contains("Formatting stopped at argument"));

  EXPECT_EQ(parts->lookup.localizedStringForKeyWithArgumentsAndPluralRule("items", &args, 5, std::nullopt).text, "3 items");
  EXPECT_EQ(parts->lookup.localizedStringForKeyWithArgumentsAndPluralRule("items", &args, 2, std::nullopt).text, "items[two]");
  EXPECT_EQ(parts->lookup.localizedStringForKeyWithArgumentsAndPluralRule("items", &args, 9, "fallback").text, "fallback");
  EXPECT_EQ(parts->lookup.localizedStringForKeyWithArgumentsAndPluralRule("items", &args, 9, std::nullopt).text,
            "items[(null)]");
  EXPECT_EQ(parts->lookup.localizedStringForKeyWithArguments("hel\nlo", &args, std::nullopt).text, "Servus");

  parts->state.enabled = false;
  EXPECT_EQ(parts->lookup.localizedStringForKeyWithArguments("a\nb", &args, "Default %{n}").text, "Default 3");
  EXPECT_EQ(parts->lookup.localizedStringForKeyWithArgumentsAndPluralRule("items", &args, 1, std::nullopt).text, "items[one]");
  EXPECT_EQ(lookup("hello"), "Bundle hello");
}

TEST_F(StringLookupTest, TablesMapsAndExistence) {
  app.platform.device->setBeingTraced(true);
  start();
  auto current = parts->lookup.localizedStringsForCurrentLanguage();
  EXPECT_EQ(current["hello"], "Servus");
  EXPECT_EQ(current["short.only"], "Kurz");
  EXPECT_EQ(current["base.only"], "Base");

  TLLanguageMap map{{"de", {{"hello", "Hi"}, {"unknown", "Default"}, {"unknown.empty", ""}}}, {"xx", {}}};
  auto localized = parts->lookup.localizeMap(map);
  EXPECT_EQ(localized["de"], (std::map<std::string, std::string>{{"hello", "Hallo"}, {"unknown", "Default"}}));
  EXPECT_TRUE(localized.count("xx"));
  EXPECT_EQ(parts->missing.missingEntries(), (TLLanguageMap{{"de", {{"unknown", "Default"}, {"unknown.empty", ""}}}}));

  EXPECT_TRUE(parts->lookup.entryExists("empty.base"));
  EXPECT_FALSE(parts->lookup.entryExists("short.only"));
}

// Asked for often enough, a text comes from the thread's recent answers; every change that
// bears on it must still show at once, an outside write within a second.
TEST_F(StringLookupTest, RepeatedLookUpsSeeEveryChange) {
  start();
  auto repeated = [&](std::string_view key, std::optional<std::string_view> value = std::nullopt) {
    lookup(key, value);
    lookup(key, value);
    return lookup(key, value);
  };
  EXPECT_EQ(repeated("hello"), "Servus");
  auto store = parts->state.database()->databaseForLanguage("de-AT", false);
  store->beginWriteTransaction();
  store->createOrUpdateEntry("hello", "Grüß Gott", std::nullopt);
  ASSERT_TRUE(store->commitWriteTransaction());
  EXPECT_EQ(repeated("hello"), "Grüß Gott");

  sqlite3* other = nullptr;
  ASSERT_EQ(sqlite3_open(app.storePath("de-AT").c_str(), &other), SQLITE_OK);
  ASSERT_EQ(sqlite3_exec(other, "UPDATE entries SET value='Von draußen, ganz neu' WHERE key='hello'", nullptr, nullptr,
                         nullptr),
            SQLITE_OK);
  sqlite3_close(other);
  app.platform.clock->advance(std::chrono::seconds(1));
  EXPECT_EQ(repeated("hello"), "Von draußen, ganz neu");

  // Set here without the engine's setters, which announce every switch to the kept answers.
  auto flip = [](std::atomic<bool>& flag, bool on) {
    flag = on;
    ProcessState::get().answersChanged();
  };
  flip(parts->state.inShowIdMode, true);
  EXPECT_EQ(repeated("hello"), "hello");
  flip(parts->state.inShowIdMode, false);
  app.platform.locale->setPreferredLanguages({"de"});
  TLDeviceUtil::forgetDeviceLanguages();
  EXPECT_EQ(repeated("hello"), "Hallo");

  EXPECT_EQ(repeated("missing", "Missing text"), "Missing text");
  flip(parts->state.inDraftMode, true);  // misses are collected from now on
  EXPECT_EQ(repeated("missing", "Missing text"), "Missing text");
  EXPECT_EQ(parts->missing.missingEntries(), (TLLanguageMap{{"en", {{"missing", "Missing text"}}}}));
}

}  // namespace
}  // namespace tolvana
