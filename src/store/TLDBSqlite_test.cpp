#include "store/TLDBSqlite.h"

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <functional>

#include "store/ReadIndexSnapshot.h"
#include "store/StoreFingerprint.h"
#include "tests/support/TempDir.h"
#include "tests/support/TestPlatform.h"

namespace tolvana {
namespace {

using testing::TempDir;
using testing::TestPlatform;

class TLDBSqliteTest : public ::testing::Test {
 protected:
  TestPlatform platform;
  TempDir dir;
  std::string path = dir.file("de.sqlite");
};

TEST_F(TLDBSqliteTest, EmptyPartsAreStoredAsNullAndListedAsEmptyStrings) {
  platform.install();
  auto store = TLDBSqlite::initWithPath(path);
  EXPECT_EQ(store->entryList(), std::vector<TLLanguageEntry>{});
  store->beginWriteTransaction();
  store->createOrUpdateEntry("a", "", std::nullopt);
  store->createOrUpdateEntry("b", "B", "drafted");
  store->commitWriteTransaction();

  EXPECT_EQ(store->entryList(), (std::vector<TLLanguageEntry>{{"a", "", ""}, {"b", "B", "drafted"}}));
  sqlite3* db = nullptr;
  ASSERT_EQ(sqlite3_open(path.c_str(), &db), SQLITE_OK);
  sqlite3_stmt* nulls = nullptr;
  sqlite3_prepare_v2(db, "SELECT value IS NULL AND draft IS NULL FROM entries WHERE key='a'", -1, &nulls, nullptr);
  ASSERT_EQ(sqlite3_step(nulls), SQLITE_ROW);
  EXPECT_EQ(sqlite3_column_int(nulls, 0), 1);
  sqlite3_finalize(nulls);
  sqlite3_close(db);
}

TEST_F(TLDBSqliteTest, ConnectionIsHeldOnlyForATransactionByDefault) {
  platform.install();
  auto store = TLDBSqlite::initWithPath(path);
  EXPECT_FALSE(store->isOpen());
  store->beginWriteTransaction();
  EXPECT_TRUE(store->isOpen());
  store->commitWriteTransaction();
  EXPECT_FALSE(store->isOpen());
  EXPECT_EQ(store->getGroupVersion("main"), -1);
  EXPECT_FALSE(store->isOpen());
  EXPECT_EQ(platform.log->count("E/"), 0u);
}

TEST_F(TLDBSqliteTest, KeptOpenStoreRefusesASecondOpenAndLogsMisuse) {
  TestPlatform keepOpen({{"CFBundleIdentifier", "io.tolvana.tests"}, {"TolvanaKeepDatabaseOpen", true}});
  keepOpen.install();
  auto store = TLDBSqlite::initWithPath(path);
  ASSERT_TRUE(store->isOpen());
  store->open(true);
  store->createOrUpdateEntry("outside", "a transaction", std::nullopt);
  store->beginWriteTransaction();
  store->createOrUpdateEntry("", "v", std::nullopt);
  store->createOrUpdateGroup("", 1);
  store->createOrUpdateGroup("main", 4);
  store->commitWriteTransaction();
  for (const char* message : {"Database already open!", "Failed to add entry", "Empty key (createOrUpdateEntry).",
                              "Empty name (createOrUpdateGroup)."}) {
    EXPECT_EQ(keepOpen.log->count(message), 1u) << message;
  }
  EXPECT_EQ(store->getGroupVersion("main"), 4);
  EXPECT_EQ(store->entryList()->size(), 0u);
  EXPECT_TRUE(store->isOpen());
}

// Look-ups come from the read index: a commit shows whole at once, a rolled-back transaction
// never, and a write by another connection within a second, never later. Group versions,
// which decide what an update writes, show another connection's write at once.
TEST_F(TLDBSqliteTest, ReadIndexFollowsCommitsAndOutsideWrites) {
  platform.install();
  auto store = TLDBSqlite::initWithPath(path);
  auto write = [&](const char* key, const char* value) {
    store->beginWriteTransaction();
    store->createOrUpdateGroup("main", value[0] - '0');
    store->createOrUpdateEntry(key, value, "draft");
    return store->commitWriteTransaction();
  };
  ASSERT_TRUE(write("a", "1"));
  EXPECT_EQ(store->getGroupVersion("main"), 1);  // loads the versions
  EXPECT_EQ(store->entryValueForKey("a"), "1");  // loads the index
  store->beginWriteTransaction();
  store->createOrUpdateEntry("a", "2", std::nullopt);
  store->createOrUpdateEntry("b", "2", std::nullopt);
  EXPECT_EQ(store->entryValueForKey("a"), "1");
  EXPECT_FALSE(store->entryValueForKey("b"));
  ASSERT_TRUE(store->commitWriteTransaction());
  EXPECT_EQ(store->entryForKey("a"), (TLLanguageEntry{"a", "2", ""}));
  EXPECT_EQ(store->entryValueForKey("b"), "2");
  ASSERT_TRUE(write("c", "3"));
  EXPECT_EQ(store->getGroupVersion("main"), 3);

  sqlite3* other = nullptr;
  ASSERT_EQ(sqlite3_open(path.c_str(), &other), SQLITE_OK);
  // A locked store makes the commit fail and roll back; the index keeps the old text.
  ASSERT_EQ(sqlite3_exec(other, "BEGIN EXCLUSIVE", nullptr, nullptr, nullptr), SQLITE_OK);
  EXPECT_FALSE(write("a", "lost"));
  EXPECT_EQ(store->getGroupVersion("main"), 3);
  ASSERT_EQ(sqlite3_exec(other, "UPDATE entries SET value='outside' WHERE key='a'; UPDATE groups SET version=9; COMMIT",
                         nullptr, nullptr, nullptr),
            SQLITE_OK);
  sqlite3_close(other);
  EXPECT_EQ(store->getGroupVersion("main"), 9);
  EXPECT_EQ(store->entryValueForKey("a"), "2");  // not yet a second
  platform.clock->advance(std::chrono::seconds(1));
  EXPECT_EQ(store->entryValueForKey("a"), "outside");
  EXPECT_EQ(store->entryForKey("a"), (TLLanguageEntry{"a", "outside", ""}));
  EXPECT_GT(store->indexBytes(), 0u);
}

// A new instance over the file takes its index from the snapshot beside it, but only from one
// of this version of the file: after another process's write it reads the store again.
TEST_F(TLDBSqliteTest, IndexSnapshotServesOnlyTheVersionOfTheStoreItWasTakenFrom) {
  platform.install();
  auto fingerprint = [&] { return storeFingerprint(path, FileSignature::of(path)); };
  auto store = TLDBSqlite::initWithPath(path);
  auto write = [&](const char* key, const char* value) {
    store->beginWriteTransaction();
    store->createOrUpdateEntry(key, value, std::nullopt);
    return store->commitWriteTransaction();
  };
  ASSERT_TRUE(write("a", "1"));
  EXPECT_FALSE(ReadIndexSnapshot::load(path, fingerprint()));  // no look-up yet, so none saved
  EXPECT_EQ(store->entryValueForKey("a"), "1");
  EXPECT_EQ(ReadIndexSnapshot::load(path, fingerprint())->size(), 1u);
  ASSERT_TRUE(write("b", "2"));
  EXPECT_FALSE(ReadIndexSnapshot::load(path, fingerprint()));
  EXPECT_EQ(TLDBSqlite::initWithPath(path)->entryValueForKey("b"), "2");
  auto saved = ReadIndexSnapshot::load(path, fingerprint());
  ASSERT_TRUE(saved);
  EXPECT_EQ(saved->size(), 2u);
  EXPECT_EQ(saved->find("b")->value, "2");

  TLReadIndex planted;
  planted.put("a", "planted", "");
  ReadIndexSnapshot::save(path, fingerprint(), planted);
  EXPECT_EQ(TLDBSqlite::initWithPath(path)->entryValueForKey("a"), "planted");

  sqlite3* other = nullptr;
  ASSERT_EQ(sqlite3_open(path.c_str(), &other), SQLITE_OK);
  ASSERT_EQ(sqlite3_exec(other, "UPDATE entries SET value='outside' WHERE key='a'", nullptr, nullptr, nullptr),
            SQLITE_OK);
  sqlite3_close(other);
  EXPECT_EQ(TLDBSqlite::initWithPath(path)->entryValueForKey("a"), "outside");
  EXPECT_EQ(ReadIndexSnapshot::load(path, fingerprint())->find("a")->value, "outside");
  EXPECT_EQ(platform.log->count("E/"), 0u);
}

TEST_F(TLDBSqliteTest, ASymlinkedStoreFileIsRefusedAndItsTargetLeftAlone) {
  platform.install();
  const std::string outside = dir.file("outside.sqlite");
  std::ofstream{outside};
  const std::string link = dir.file("fr.sqlite");
  ASSERT_EQ(symlink(outside.c_str(), link.c_str()), 0);
  auto linked = TLDBSqlite::initWithPath(link);
  linked->beginWriteTransaction();
  linked->createOrUpdateEntry("k", "v", {});
  linked->commitWriteTransaction();
  EXPECT_TRUE(platform.log->contains("Failed to open/create database"));
  EXPECT_EQ(std::filesystem::file_size(outside), 0u);
}

TEST_F(TLDBSqliteTest, MissingOrUnopenableFileFailsEveryOperationWithItsMessage) {
  platform.install();
  EXPECT_EQ(TLDBSqlite::initWithPath(std::nullopt), nullptr);
  EXPECT_TRUE(platform.log->contains("E/Tolvana\xEF\xB9\x95 Database path not initalized!"));
  auto store = TLDBSqlite::initWithPath(dir.file("missing-dir/de.sqlite"));
  ASSERT_NE(store, nullptr);
  EXPECT_TRUE(platform.log->contains("Failed to open/create database"));
  EXPECT_TRUE(platform.log->contains("Database is nil"));
  struct Case {
    const char* message;
    std::function<void(TLDBSqlite&)> operation;
  };
  const Case cases[] = {
      {"Database not open (getGroupVersion).", [](TLDBSqlite& s) { EXPECT_EQ(s.getGroupVersion("g"), -1); }},
      {"Database not open (entryValueForKey).", [](TLDBSqlite& s) { EXPECT_FALSE(s.entryValueForKey("k")); }},
      {"Database not open (entryValueForKey).", [](TLDBSqlite& s) { EXPECT_FALSE(s.entryForKey("k")); }},
      {"Database not open (entryValueForKey).", [](TLDBSqlite& s) { EXPECT_FALSE(s.entryList()); }},
      {"Database not open (beginWriteTransaction).", [](TLDBSqlite& s) { s.beginWriteTransaction(); }},
      {"Database not open (createOrUpdateEntry).", [](TLDBSqlite& s) { s.createOrUpdateEntry("k", "v", {}); }},
      {"Database not open (createOrUpdateGroup).", [](TLDBSqlite& s) { s.createOrUpdateGroup("g", 1); }},
      {"Database not open (commitWriteTransaction).", [](TLDBSqlite& s) { s.commitWriteTransaction(); }},
      {"Database not open (close).", [](TLDBSqlite& s) { s.close(); }},
  };
  for (const Case& c : cases) {
    platform.log->clear();
    c.operation(*store);
    EXPECT_TRUE(platform.log->contains(std::string("E/Tolvana\xEF\xB9\x95 ") + c.message)) << c.message;
  }
}

}  // namespace
}  // namespace tolvana
