#include "store/TLDatabase.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <future>
#include <thread>

#include "config/ProcessState.h"
#include "platform/PropertyList.h"
#include "support/FileSignature.h"
#include "support/Files.h"
#include "tests/support/AppFixture.h"

namespace tolvana {
namespace {

namespace fs = std::filesystem;
using testing::AppFixture;
using testing::StoreContents;

class TLDatabaseTest : public ::testing::Test {
 protected:
  AppFixture app;
  void shipThreeLanguages() {
    app.appLanguage("en", {{"hello", "Hello", ""}, {"empty", "", ""}});
    app.stores["de"] = StoreContents{{{"hello", "Hallo", "Hallo (Entwurf)"}, {"bye", "Tschüss", ""}}, {{"main", 3}}};
    app.stores["fr"] = StoreContents{{{"hello", "Bonjour", ""}}, {{"main", 3}}};
    app.stores["pt-BR"] = StoreContents{{{"hello", "Olá", ""}}, {{"main", 2}}};
  }
};

TEST_F(TLDatabaseTest, UnpacksTheArchiveAndAnswersFromRealStores) {
  shipThreeLanguages();
  app.install();
  auto db = TLDatabase::create();
  ASSERT_NE(db, nullptr);
  EXPECT_TRUE(db->initialized());
  EXPECT_EQ(db->appId(), "app1");
  EXPECT_EQ(db->apiSecret(), "s3cr3t-key");
  EXPECT_EQ(db->baseLanguage(), "en");
  EXPECT_EQ(db->dbPathFormat(), app.dataDirectory() + "/app1/%@.sqlite");
  EXPECT_EQ(db->availableLanguages(), (std::set<std::string>{"de", "en", "fr", "pt-BR"}));

  EXPECT_EQ(db->valueWithKey("hello", "de"), "Hallo");
  EXPECT_EQ(db->valueWithKey("hello", "pt-BR"), "Olá");
  EXPECT_EQ(db->valueWithKey("hello", "en"), "Hello");
  EXPECT_EQ(db->valueWithKey("empty", "en"), "");  // stored NULL reads as the empty string
  EXPECT_EQ(db->valueWithKey("nothing", "en"), std::nullopt);
  EXPECT_EQ(db->entryWithKey("hello", "de"), (TLLanguageEntry{"hello", "Hallo", "Hallo (Entwurf)"}));
  EXPECT_EQ(db->versionForGroup("main", "de"), 3);
  EXPECT_EQ(db->versionForGroup("main", "en"), 1);  // the app file's version
  EXPECT_EQ(db->versionForGroup("other", "de"), -1);
  EXPECT_EQ(db->versionForGroup("main", "xx"), 0);  // no store answers

  // The project allows draft mode, so drafts win in the language table.
  EXPECT_EQ(db->stringsForLanguage("de"), (std::map<std::string, std::string>{{"bye", "Tschüss"}, {"hello", "Hallo (Entwurf)"}}));
  EXPECT_TRUE(db->isLanguageSupported("pt-BR"));
  EXPECT_FALSE(db->isLanguageSupported("pt"));
}

// Look-ups read the manager's settings and stores through a view of their own thread; every
// change must reach that view at the thread's next look-up.
TEST_F(TLDatabaseTest, ALookUpThreadSeesEveryChangeAtItsNextLookUp) {
  shipThreeLanguages();
  app.install();
  auto db = TLDatabase::create();
  ASSERT_NE(db, nullptr);
  auto inThread = [](auto read) {
    decltype(read()) result;
    std::thread([&] { result = read(); }).join();
    return result;
  };
  std::optional<std::string> base;
  std::optional<std::string> italian;
  auto readBoth = [&] {
    base = db->lookupSettings().baseLanguage;
    italian = db->valueWithKey("hello", "it");
  };
  readBoth();
  EXPECT_EQ(base, "en");
  EXPECT_EQ(italian, std::nullopt);

  db->setBaseLanguage("de");
  auto store = db->databaseForLanguage("it", true);
  ASSERT_NE(store, nullptr);
  store->beginWriteTransaction();
  store->createOrUpdateEntry("hello", "Ciao", std::nullopt);
  ASSERT_TRUE(store->commitWriteTransaction());
  readBoth();
  EXPECT_EQ(base, "de");
  EXPECT_EQ(italian, "Ciao");
  EXPECT_EQ(inThread([&] { return db->valueWithKey("hello", "it"); }), "Ciao");
  EXPECT_EQ(inThread([&] { return db->lookupSettings().baseLanguage; }), "de");
}

// A parse holds the manager's lock for its whole run: a look-up in a language whose store is
// not open yet must open it without waiting for the parse to end.
TEST_F(TLDatabaseTest, FirstLookUpInALanguageDoesNotWaitForAParse) {
  shipThreeLanguages();
  app.install();
  auto db = TLDatabase::create();
  ASSERT_NE(db, nullptr);
  std::promise<void> parsing, lookedUp;
  bool lookUpCameFirst = false;
  db->setDraftModeQuery([&, done = lookedUp.get_future().share()] {
    parsing.set_value();
    lookUpCameFirst = done.wait_for(std::chrono::seconds(10)) == std::future_status::ready;
    return false;
  });
  std::thread parser([&] {
    db->parseResponseV2Json(R"({"__v":4,"baseLanguage":"en","data":{"de":{"main":{"version":4,"entries":{"hello":{"v":"Moin"}}}}}})");
  });
  parsing.get_future().wait();
  EXPECT_EQ(db->valueWithKey("hello", "fr"), "Bonjour");
  EXPECT_EQ(db->valueWithKey("hello", "it"), std::nullopt);
  lookedUp.set_value();
  parser.join();
  EXPECT_TRUE(lookUpCameFirst);
  EXPECT_EQ(db->valueWithKey("hello", "de"), "Moin");
}

// An adapter may keep serving answers across an update, under the keys whose texts it left as
// they were in every language (written again unchanged, or not brought at all); a change of the
// app's settings leaves no answer standing.
TEST_F(TLDatabaseTest, AnUpdateLeavesStandingTheAnswersOfKeysItDidNotChange) {
  shipThreeLanguages();
  app.install();
  auto db = TLDatabase::create();
  ASSERT_NE(db, nullptr);
  auto& state = ProcessState::get();
  std::uint64_t since = state.answersGeneration.load();
  auto stands = [&](const char* key) {
    auto written = state.textWrites.writtenBetween(since, state.answersGeneration.load());
    return written && !std::binary_search(written->begin(), written->end(), std::string(key));
  };
  ASSERT_TRUE(db->parseResponseV2Json(R"({"__v":1,"baseLanguage":"en","data":{
      "de":{"main":{"version":4,"entries":{"bye":{"v":"Tschüss"}}}},
      "fr":{"main":{"version":4,"entries":{"hello":{"v":"Salut"}}}}}})"));
  EXPECT_FALSE(stands("hello"));
  EXPECT_TRUE(stands("bye"));
  EXPECT_TRUE(stands("never written"));

  since = state.answersGeneration.load();
  ASSERT_TRUE(db->parseResponseV2Json(R"({"__v":99,"baseLanguage":"de","data":{}})"));
  EXPECT_FALSE(stands("bye"));
}

// A start writes the app file's strings again only when that could change a row: when the
// file differs from the last start's, or a store was written since.
TEST_F(TLDatabaseTest, StartsRewriteTheAppFileOnlyWhenItOrItsStoreChanged) {
  app.appLanguage("en", {{"hello", "Hello", ""}});
  app.install();
  const std::string receipt = app.dataDirectory() + "/app.tolvana.receipt";
  auto start = [&] {
    auto db = TLDatabase::create();
    EXPECT_NE(db, nullptr);
    return db;
  };
  auto change = [&](TLDatabase& db, const char* text) {
    auto store = db.databaseForLanguage("en", false);
    store->beginWriteTransaction();
    store->createOrUpdateEntry("hello", text, std::nullopt);
    ASSERT_TRUE(store->commitWriteTransaction());
  };

  auto db = start();
  ASSERT_TRUE(fs::exists(receipt));
  const FileSignature written = FileSignature::of(app.storePath("en"));
  db = start();
  EXPECT_EQ(FileSignature::of(app.storePath("en")), written);  // not written again
  EXPECT_EQ(db->appVersion(), Value(1));
  EXPECT_EQ(db->baseLanguage(), "en");
  EXPECT_EQ(db->valueWithKey("hello", "en"), "Hello");

  change(*db, "Changed since");
  EXPECT_EQ(start()->valueWithKey("hello", "en"), "Hello");  // the app file wins again at a start

  replaceFileAtomically(receipt, "not a receipt");
  change(*start(), "Changed again");
  EXPECT_EQ(start()->valueWithKey("hello", "en"), "Hello");

  app.appLanguage("en", {{"hello", "Hello again", ""}});
  app.install();
  EXPECT_EQ(start()->valueWithKey("hello", "en"), "Hello again");
}

TEST_F(TLDatabaseTest, UnknownLanguageWithoutCreateLeavesNoFile) {
  app.install();
  auto db = TLDatabase::create();
  ASSERT_NE(db, nullptr);
  EXPECT_EQ(db->databaseForLanguage("it", false), nullptr);
  EXPECT_FALSE(fs::exists(app.storePath("it")));
  auto created = db->databaseForLanguage("it", true);
  ASSERT_NE(created, nullptr);
  EXPECT_TRUE(fs::exists(app.storePath("it")));
  EXPECT_EQ(db->databaseForLanguage("it", false), created);  // one cached backend per language
}

TEST_F(TLDatabaseTest, BrokenSettingsYieldNoManager) {
  struct Case {
    const char* name;
    std::function<void(AppFixture&)> breakIt;
    const char* message;
  } const cases[] = {
      {"no secret", [](AppFixture& a) { a.appFile.erase("apiSecret"); },
       "Could not parse secret from Settings File: 'tolvana_settings.tolvana'."},
      {"no id", [](AppFixture& a) { a.appFile.erase("_id"); }, "Could not parse app id from Settings File"},
      {"no archive", [](AppFixture& a) { a.archiveName.clear(); }, "Error parsing settings file."},
  };
  for (const Case& c : cases) {
    AppFixture broken;
    c.breakIt(broken);
    broken.install();
    EXPECT_EQ(TLDatabase::create(), nullptr) << c.name;
    EXPECT_TRUE(broken.platform.log->contains(c.message)) << c.name;
  }
}

TEST_F(TLDatabaseTest, ArchiveNamesAndTheFlutterFallBack) {
  app.archiveName = "flutter_assets/assets/tolvana_settings.tolvana";
  app.install();
  EXPECT_NE(TLDatabase::create(), nullptr);

  AppFixture custom;
  custom.archiveName = "custom.tolvana";
  custom.bundle.info("TolvanaSettingsFilename", "custom");
  custom.install();
  EXPECT_NE(TLDatabase::create(), nullptr);
}

TEST_F(TLDatabaseTest, NextStartRemovesMarkedStoresAndKeepsTheOthers) {
  shipThreeLanguages();
  app.bundle.info("TolvanaLogLevel", "v");
  app.install();
  auto db = TLDatabase::create();
  ASSERT_NE(db, nullptr);
  db->removeUnusedDatabases({"en", "de", "pt-BR"});
  EXPECT_TRUE(TLDatabase::isLanguageDeleted("fr"));
  EXPECT_FALSE(TLDatabase::isLanguageDeleted("de"));
  EXPECT_EQ(app.platform.defaults->objectForKey("tolvana_deleted_language/fr"), Value(1));
  EXPECT_TRUE(fs::exists(app.storePath("fr")));  // only marked until the archive is unpacked again
  auto german = db->databaseForLanguage("de", false);
  german->beginWriteTransaction();
  german->createOrUpdateEntry("hello", "Servus", std::nullopt);
  german->commitWriteTransaction();

  german.reset();
  db.reset();
  auto second = TLDatabase::create();
  ASSERT_NE(second, nullptr);
  EXPECT_FALSE(fs::exists(app.storePath("fr")));
  EXPECT_TRUE(app.platform.log->contains("File lang fr is marked for  deletion, removing it now"));
  EXPECT_FALSE(second->isLanguageSupported("fr"));
  EXPECT_EQ(second->valueWithKey("hello", "de"), "Servus");  // kept stores are not unpacked over

  second->removeUnusedDatabases({});
  for (const char* language : {"en", "de", "pt-BR"}) EXPECT_TRUE(TLDatabase::isLanguageDeleted(language)) << language;
}

// A store that SQLite cannot read is moved aside, so that the next start unpacks it again
// and an update counts its groups as absent.
TEST_F(TLDatabaseTest, BrokenStoreIsMovedAsideAndComesBackFromTheArchive) {
  const std::string update = R"({"__v":2,"baseLanguage":"en","data":{"de":{"main":{"version":1,"entries":{"hello":{"v":"Neu"}}}}}})";
  struct Case {
    std::string bytes;  // what the store becomes; empty: cut to 1000 bytes
    std::function<void(TLDatabase&)> use;
    const char* afterRestart;  // the archive's text, or what the update wrote into a fresh store
  } const cases[] = {
      {std::string(8192, 'x'), [](TLDatabase& db) { EXPECT_EQ(db.valueWithKey("hello", "de"), std::nullopt); }, "Hallo"},
      {"", [](TLDatabase& db) { EXPECT_EQ(db.versionForGroup("main", "de"), 0); }, "Hallo"},
      {"SQLite format 3" + std::string(5000, '\1'), [&](TLDatabase& db) { EXPECT_TRUE(db.parseResponseV2Json(update)); }, "Neu"},
  };
  shipThreeLanguages();
  app.install();
  for (const Case& c : cases) {
    SCOPED_TRACE(c.afterRestart);
    fs::remove_all(app.dataDirectory());
    auto db = TLDatabase::create();
    ASSERT_EQ(db->valueWithKey("hello", "de"), "Hallo");
    if (c.bytes.empty()) {
      fs::resize_file(app.storePath("de"), 1000);
    } else {
      replaceFileAtomically(app.storePath("de"), c.bytes);
    }
    app.platform.clock->advance(std::chrono::seconds(1));
    c.use(*db);
    EXPECT_TRUE(fs::exists(app.storePath("de") + ".corrupt"));
    EXPECT_FALSE(fs::exists(app.storePath("de") + ".index"));
    EXPECT_TRUE(app.platform.log->contains("E/Tolvana\xEF\xB9\x95 Store de is broken"));
    db.reset();
    auto next = TLDatabase::create();
    EXPECT_EQ(next->valueWithKey("hello", "de"), c.afterRestart);
    EXPECT_FALSE(next->isLanguageSupported("de.sqlite"));
  }
}

TEST_F(TLDatabaseTest, LatestAppInfoHoldsTheAppLevelFields) {
  app.install();
  auto db = TLDatabase::create();
  db->saveLatestAppInfo();
  auto saved = plist::readFile(app.dataDirectory() + "/latest.app.tolvana");
  ASSERT_TRUE(saved && saved->isDictionary());
  EXPECT_EQ(saved->asDictionary().size(), 5u);
  EXPECT_EQ(*saved->find("_id"), Value("app1"));
  EXPECT_EQ(*saved->find("baseLanguage"), Value("en"));
  EXPECT_EQ(*saved->find("draftModeEnabled"), Value(true));
}

}  // namespace
}  // namespace tolvana
