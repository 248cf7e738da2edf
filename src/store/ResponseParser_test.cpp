#include "store/ResponseParser.h"

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <filesystem>

#include "store/TLDBSqlite.h"
#include "store/TLDatabase.h"
#include "support/Format.h"
#include "support/Json.h"
#include "tests/support/AppFixture.h"

namespace tolvana {
namespace {

using testing::AppFixture;
using testing::StoreContents;

Value group(std::int64_t version, Value::Dictionary entries) {
  return Value::Dictionary{{"version", version}, {"entries", std::move(entries)}};
}

Value entry(Value value, Value draft = Value()) {
  Value::Dictionary e{{"v", std::move(value)}};
  if (!draft.isNull()) e["d"] = std::move(draft);
  return e;
}

class ResponseParserTest : public ::testing::Test {
 protected:
  void SetUp() override {
    app.bundle.info("TolvanaLogLevel", "v");
    app.stores["de"] = StoreContents{{{"hello", "Hallo", ""}}, {{"main", 3}, {"extra", 1}}};
    app.appLanguage("en", {{"hello", "Hello", ""}});
    app.install();
    db = TLDatabase::create();
    ASSERT_NE(db, nullptr);
  }

  bool parse(const std::string& json) { return db->parseResponseV2Json(json); }

  AppFixture app;
  std::shared_ptr<TLDatabase> db;
};

TEST_F(ResponseParserTest, EmptyVersionlessAndDatalessAnswers) {
  EXPECT_TRUE(parse("{}"));
  EXPECT_TRUE(app.platform.log->contains("Empty Response"));
  EXPECT_FALSE(TLDatabase::isLanguageDeleted("de"));

  EXPECT_FALSE(parse(R"({"baseLanguage":"en","data":{}})"));
  EXPECT_TRUE(app.platform.log->contains("Missing Version Info."));
  EXPECT_FALSE(parse(R"({"__v":"9","baseLanguage":"en"})"));
  EXPECT_FALSE(parse(R"({"__v":9})"));
  EXPECT_TRUE(app.platform.log->contains("Missing Baselanguage."));
  EXPECT_FALSE(parse("[1,2]"));
  EXPECT_FALSE(parse("{\"__v\": 3, \"data\": {\"de\""));

  // A versioned answer without data means the project has no languages left.
  EXPECT_TRUE(parse(R"({"__v":2,"baseLanguage":"en"})"));
  EXPECT_TRUE(TLDatabase::isLanguageDeleted("de"));
  EXPECT_TRUE(TLDatabase::isLanguageDeleted("en"));
}

TEST_F(ResponseParserTest, OnlyNewerGroupsAreWrittenOneTransactionEach) {
  Value answer = Value::Dictionary{
      {"__v", 5}, {"masterLanguage", "de"}, {"collectMissingEnabled", true},
      {"data", Value::Dictionary{{"de", Value::Dictionary{{"main", group(3, {{"hello", entry("stale")}})},
                                                          {"extra", group(2, {{"n", entry(42)}, {"r", entry(2.5, "d")}})},
                                                          {"empty", group(9, {})}}},
                                 {"it", Value::Dictionary{{"main", group(1, {{"ciao", entry("Ciao")}})}}}}}};
  EXPECT_TRUE(db->parseResponseV2(answer));
  EXPECT_EQ(db->valueWithKey("hello", "de"), "Hallo");  // version 3 is not newer than 3
  EXPECT_EQ(db->valueWithKey("n", "de"), "42");          // numbers are texts
  EXPECT_EQ(db->entryWithKey("r", "de"), (TLLanguageEntry{"r", "2.5", "d"}));
  EXPECT_EQ(db->versionForGroup("extra", "de"), 2);
  EXPECT_EQ(db->versionForGroup("empty", "de"), -1);  // a version only comes with entries
  EXPECT_EQ(db->valueWithKey("ciao", "it"), "Ciao");
  EXPECT_EQ(db->baseLanguage(), "de");
  EXPECT_TRUE(db->collectMissingEnabled());
  EXPECT_FALSE(db->draftModeEnabled());  // absent reads as off
  EXPECT_TRUE(db->isLanguageSupported("it"));
  EXPECT_TRUE(TLDatabase::isLanguageDeleted("en"));  // on disk but not delivered
  EXPECT_FALSE(TLDatabase::isLanguageDeleted("de"));
  EXPECT_TRUE(app.platform.log->contains("Entries parsed in total: 3"));

  // An answer that is not newer keeps the app-level fields but still takes newer groups.
  EXPECT_TRUE(parse(R"({"__v":4,"baseLanguage":"fr","data":{"de":{"main":{"version":4,"entries":{"hello":{"v":"Moin"}}}}}})"));
  EXPECT_EQ(db->baseLanguage(), "de");
  EXPECT_EQ(db->valueWithKey("hello", "de"), "Moin");
  // Nor does an equal one; a newer one takes "baseLanguage" over "masterLanguage".
  EXPECT_TRUE(parse(R"({"__v":5,"baseLanguage":"fr","draftModeEnabled":true,"data":{}})"));
  EXPECT_EQ(db->baseLanguage(), "de");
  EXPECT_FALSE(db->draftModeEnabled());
  EXPECT_TRUE(parse(R"({"__v":6,"masterLanguage":"it","baseLanguage":"fr","data":{}})"));
  EXPECT_EQ(db->baseLanguage(), "fr");
}

// Versions past 32 bits: the reference server versions a file by its time in milliseconds.
// A truncated version would never match the server's and the group would come again at
// every update.
TEST_F(ResponseParserTest, VersionsPast32BitsAreKeptWholeAndNotFetchedAgain) {
  for (std::int64_t version : {std::int64_t{4294967305}, std::int64_t{1732000000123}}) {
    SCOPED_TRACE(version);
    std::string answer = format(R"({"__v":2,"baseLanguage":"en","data":{"de":{"main":{"version":%lld,"entries":{"hello":{"v":"v%lld"}}}}}})",
                                static_cast<long long>(version), static_cast<long long>(version));
    ASSERT_TRUE(parse(answer));
    EXPECT_EQ(db->versionForGroup("main", "de"), version);
    EXPECT_EQ(TLDBSqlite::initWithPath(app.storePath("de"))->getGroupVersion("main"), version);
    app.platform.log->clear();
    ASSERT_TRUE(parse(answer));
    EXPECT_TRUE(app.platform.log->contains("Entries parsed in total: 0"));
  }
}

// A server that lists thousands of languages: those with nothing newer cost no store and the
// deletion marks one write of the defaults; those with entries get stores only up to a bound.
TEST_F(ResponseParserTest, AnAnswerListingHundredsOfLanguagesCreatesBoundedStoresAndWritesMarksOnce) {
  auto storeFiles = [&] {
    std::size_t count = 0;
    for (const auto& entry : std::filesystem::directory_iterator(std::filesystem::path(app.storePath("de")).parent_path())) {
      count += entry.path().extension() == ".sqlite";
    }
    return count;
  };
  auto answer = [](int version, const char* group) {
    std::string data = R"("de":{"main":{"version":3,"entries":{"hello":{"v":"Hallo"}}}})";
    for (int i = 0; i < 300; ++i) data += format(R"(,"x%d":{%@})", i, group);
    return format(R"({"__v":%d,"baseLanguage":"en","data":{%@}})", version, data);
  };
  const std::size_t before = storeFiles();
  const int writes = app.platform.defaults->synchronizeCount();
  ASSERT_TRUE(parse(answer(2, "")));
  EXPECT_EQ(storeFiles(), before);
  EXPECT_LE(app.platform.defaults->synchronizeCount() - writes, 1);
  EXPECT_TRUE(TLDatabase::isLanguageDeleted("en"));

  ASSERT_TRUE(parse(answer(3, R"("main":{"version":1,"entries":{"k":{"v":"t"}}})")));
  EXPECT_EQ(storeFiles(), before + ResponseParser::kMaxNewLanguagesPerAnswer);
  EXPECT_TRUE(app.platform.log->contains("new languages"));
  EXPECT_EQ(db->valueWithKey("k", "x0"), "t");
}

TEST_F(ResponseParserTest, DraftModeTakesEveryGroupAgain) {
  db->setDraftModeQuery([] { return true; });
  EXPECT_TRUE(parse(R"({"__v":1,"baseLanguage":"en","data":{"de":{"main":{"version":1,"entries":{"hello":{"v":"Hi","d":"Entwurf"}}}}}})"));
  EXPECT_EQ(db->entryWithKey("hello", "de"), (TLLanguageEntry{"hello", "Hi", "Entwurf"}));
  EXPECT_EQ(db->versionForGroup("main", "de"), 1);
}

TEST_F(ResponseParserTest, HostileTypesAreSkippedAndNoTransactionStaysOpen) {
  const char* answer = R"({"__v":7,"baseLanguage":"en","data":{
      "de":{"main":{"version":"8","entries":{"a":{"v":"x"}}},
            "g2":[1,2],
            "g3":{"version":8,"entries":{"nul":null,"arr":{"v":[1]},"obj":{"v":{"x":1}},"ok":{"v":"fine","d":true},"good":{"v":"yes"}}},
            "g4":{"version":9,"entries":[]}},
      "fr":"not an object"}})";
  EXPECT_TRUE(parse(answer));
  EXPECT_EQ(db->valueWithKey("a", "de"), std::nullopt);
  EXPECT_EQ(db->valueWithKey("good", "de"), "yes");
  EXPECT_EQ(db->valueWithKey("ok", "de"), std::nullopt);
  EXPECT_EQ(db->valueWithKey("arr", "de"), std::nullopt);
  EXPECT_TRUE(app.platform.log->contains("Group 'main' of 'de' has no integer version; skipped."));
  EXPECT_TRUE(app.platform.log->contains("Entry 'nul' of 'g3' is no object; skipped."));

  // Another connection can write at once: nothing holds the file locked.
  sqlite3* other = nullptr;
  ASSERT_EQ(sqlite3_open(app.storePath("de").c_str(), &other), SQLITE_OK);
  EXPECT_EQ(sqlite3_exec(other, "BEGIN IMMEDIATE; COMMIT;", nullptr, nullptr, nullptr), SQLITE_OK);
  sqlite3_close(other);
}

// A malformed answer writes nothing at all: not a group, not an entry, no app-level field.
TEST_F(ResponseParserTest, MalformedAnswersWriteNothing) {
  const std::string head = R"({"__v":9,"baseLanguage":"fr","data":{"de":{"main":{"version":4,"entries":{"a":{"v":"1"},)";
  for (const char* tail : {R"("b" {"v":"2"},"c":{"v":"3"}}}}}})", R"("b":{"v":"2")", R"("b":{"v":"2"}]}}}})",
                                  R"("b":{"v":tru}}}}}})", R"("b":{"v":"2"}}}}}} trailing)"}) {
    EXPECT_FALSE(parse(head + tail)) << tail;
    EXPECT_EQ(db->versionForGroup("main", "de"), 3) << tail;
    EXPECT_EQ(db->valueWithKey("a", "de"), std::nullopt) << tail;
    EXPECT_EQ(db->appVersion(), Value(1)) << tail;
  }
}

// Paths below the test's folder outside the bundle and the data directory (and its parents).
std::vector<std::string> outsideTheDataDirectory(const AppFixture& app) {
  std::vector<std::string> outside;
  const std::string data = app.dataDirectory();
  for (const auto& entry : std::filesystem::recursive_directory_iterator(app.dir.path())) {
    std::string path = entry.path().string();
    if (!path.starts_with(data) && !path.starts_with(app.bundle.path()) && !data.starts_with(path + "/")) {
      outside.push_back(path);
    }
  }
  return outside;
}

// Each name as a language of the app file, a language of an answer and the app id.
TEST(HostileNames, AreRefusedAndNothingLandsOutsideTheDataDirectory) {
  for (const std::string& name : {std::string("../../../../pwned"), std::string(".."), std::string("de/../../../x"),
                                  std::string("de\0../x", 7), std::string(300, 'a'), std::string()}) {
    SCOPED_TRACE(name);
    AppFixture app;
    app.appLanguage(name, {{"k", "v", ""}});
    app.appLanguage("de", {{"k", "good", ""}});
    app.install();
    auto db = TLDatabase::create();
    ASSERT_NE(db, nullptr);
    EXPECT_EQ(db->valueWithKey("k", "de"), "good");  // the rest goes on
    Value::Dictionary groups{{"main", group(2, {{"k", entry("new")}})}};
    EXPECT_TRUE(db->parseResponseV2(Value::Dictionary{{"__v", 2}, {"baseLanguage", "en"}, {"data", Value::Dictionary{{name, groups}, {"de", groups}}}}));
    EXPECT_EQ(db->valueWithKey("k", "de"), "new");
    EXPECT_EQ(db->databaseForLanguage(name, true), nullptr);
    app.appFile["_id"] = name;
    app.install();
    EXPECT_EQ(TLDatabase::create(), nullptr);
    EXPECT_EQ(outsideTheDataDirectory(app), std::vector<std::string>{});
  }
}

TEST(ResponseParserV1, EmptyLanguagesCreateNoStoreAndTheBaseLanguageWins) {
  AppFixture app;
  app.appFile["masterLanguage"] = "de";
  app.appLanguage("en", {{"k", "v", ""}});
  app.appLanguage("es", {});
  app.install();
  auto db = TLDatabase::create();
  ASSERT_NE(db, nullptr);
  EXPECT_EQ(db->databaseForLanguage("es", false), nullptr);
  EXPECT_EQ(db->availableLanguages(), std::set<std::string>{"en"});
  EXPECT_EQ(db->baseLanguage(), "en");
}

}  // namespace
}  // namespace tolvana
