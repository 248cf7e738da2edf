// The storage contract, run against SQLite and a real PostgreSQL alike: publication,
// import, what apps send in, and numbering under concurrent writers.
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <set>
#include <thread>

#include "ServerTestSupport.h"
#include "storage/Storage.h"
#include "storage/StorageError.h"
#include "tests/support/TempDir.h"

namespace tolvana::server {
namespace {

using testing::ScratchPostgres;

class StorageContract : public ::testing::TestWithParam<std::string> {
 protected:
  void SetUp() override {
    if (GetParam() == "postgres") {
      postgres = std::make_unique<ScratchPostgres>();
      storage = openStorage({.databaseUrl = postgres->url()});
    } else {
      storage = openStorage({.dataDirectory = dir.path()});
    }
    storage->createProject(Project{.id = "p", .apiSecret = "s", .baseLanguage = "en", .languages = {"de"}});
  }

  Entry draft(std::string language, std::string group, std::string key, std::optional<std::string> text) {
    auto [base, plural] = Entry::splitAppKey(key);
    return Entry{std::move(language), std::move(group), base, plural, std::nullopt, std::move(text), 0};
  }
  // language/group@version for each group, in order.
  std::vector<std::string> versions(const std::vector<Group>& groups) {
    std::vector<std::string> out;
    for (const Group& g : groups) out.push_back(g.language + "/" + g.name + "@" + std::to_string(g.version));
    return out;
  }
  // key=value|draft for each entry of a group.
  std::vector<std::string> texts(const std::string& language, const std::string& group) {
    std::vector<std::string> out;
    for (const Entry& e : storage->entries("p", {.language = language, .group = group})) {
      out.push_back(e.appKey() + "=" + e.value.value_or("-") + "|" + e.draft.value_or("-"));
    }
    return out;
  }

  tolvana::testing::TempDir dir;
  std::unique_ptr<ScratchPostgres> postgres;
  std::unique_ptr<Storage> storage;
};

TEST_P(StorageContract, DraftsWaitForPublicationAndOnlyChangedGroupsMoveUp) {
  auto revision = *storage->revision("p");
  storage->editDrafts("p", {draft("de", "main", "a", "A"), draft("de", "main", "items[one]", "1 Ding"),
                            draft("de", "extra", "c", "C")});
  EXPECT_GT(*storage->revision("p"), revision);
  EXPECT_EQ(texts("de", "main"), (std::vector<std::string>{"a=-|A", "items[one]=-|1 Ding"}));
  EXPECT_EQ(versions(storage->groups("p")), (std::vector<std::string>{"de/extra@0", "de/main@0"}));

  auto first = storage->publish("p", {.language = "de", .group = "main"});
  EXPECT_EQ(versions(first.changed), (std::vector<std::string>{"de/main@1"}));
  EXPECT_EQ(first.contentVersion, 2);
  EXPECT_EQ(texts("de", "extra"), (std::vector<std::string>{"c=-|C"}));
  EXPECT_EQ(versions(storage->publish("p", {}).changed), (std::vector<std::string>{"de/extra@1"}));

  // A draft equal to the published text, and a withdrawn one, change nothing apps see.
  storage->editDrafts("p", {draft("de", "main", "a", "A"), draft("de", "extra", "c", "Z")});
  storage->editDrafts("p", {draft("de", "extra", "c", std::nullopt)});
  auto unchanged = storage->publish("p", {});
  EXPECT_TRUE(unchanged.changed.empty());
  EXPECT_EQ(unchanged.contentVersion, 3);
  EXPECT_EQ(texts("de", "main"), (std::vector<std::string>{"a=A|-", "items[one]=1 Ding|-"}));

  try {
    storage->editDrafts("p", {draft("fr", "main", "a", "Un")});
    ADD_FAILURE() << "a language outside the project was taken";
  } catch (const StorageError& e) {
    EXPECT_EQ(e.kind(), StorageError::Kind::invalid);
  }
  EXPECT_THROW(storage->publish("nope", {}), StorageError);
}

TEST_P(StorageContract, ImportsKeepVersionsOfUnchangedGroupsAndRaiseChangedOnes) {
  auto import = [&](std::int64_t version, std::vector<std::pair<std::string, std::string>> values) {
    std::vector<Entry> entries;
    for (auto& [key, value] : values) entries.push_back(Entry{"fr", "main", key, "", value, std::nullopt, 0});
    storage->importGroup("p", Group{"fr", "main", version}, entries);
    return storage->groups("p").front().version;
  };
  struct Step {
    std::int64_t fileVersion;
    std::vector<std::pair<std::string, std::string>> values;
    std::int64_t stored;
  } const steps[] = {
      {5, {{"a", "1"}, {"b", "2"}}, 5},  // new: the file's version
      {5, {{"a", "1"}, {"b", "2"}}, 5},  // the same again
      {3, {{"a", "1"}, {"b", "2"}}, 5},  // an older file of the same texts
      {3, {{"a", "1"}}, 6},              // changed, with a version apps have seen already
      {10, {{"a", "9"}}, 10},            // changed, with a newer version
  };
  for (const Step& step : steps) EXPECT_EQ(import(step.fileVersion, step.values), step.stored) << step.fileVersion;
  EXPECT_EQ(texts("fr", "main"), (std::vector<std::string>{"a=9|-"}));
  EXPECT_EQ(storage->project("p")->languages, (std::vector<std::string>{"de", "en", "fr"}));
}

TEST_P(StorageContract, MissingStringsAreCountedAndAcceptedIntoTheBaseLanguage) {
  storage->recordMissing("p", {{"de", "k1", "", 100, 100, 1, "1.0", {}}});
  storage->recordMissing("p", {{"de", "k1", "Text", 200, 200, 1, "1.1", {}}, {"de", "items[one]", "One", 200, 200, 1, "1.1", {}}});
  storage->recordMissing("p", {{"de", "k1", "Other", 300, 300, 1, "1.2", {}}});
  auto missing = storage->missing("p");
  ASSERT_EQ(missing.size(), 2u);
  const MissingString& k1 = missing[1];
  EXPECT_EQ(k1.value, "Text");  // the first text that was not empty
  EXPECT_EQ(std::tie(k1.count, k1.firstSeen, k1.lastSeen, k1.appVersion), std::make_tuple(3, 100, 300, std::string("1.2")));

  storage->editDrafts("p", {draft("en", "main", "items[one]", "Already here")});
  auto added = storage->acceptMissing("p", {{"de", "k1"}, {"de", "items[one]"}, {"de", "never.reported"}}, "main");
  ASSERT_EQ(added.size(), 1u);
  EXPECT_EQ(texts("en", "main"), (std::vector<std::string>{"items[one]=-|Already here", "k1=-|Text"}));
  for (const MissingString& m : storage->missing("p")) EXPECT_TRUE(m.acceptedAt.has_value()) << m.key;
  EXPECT_TRUE(storage->acceptMissing("p", {{"de", "k1"}}, "main").empty());
}

TEST_P(StorageContract, ConcurrentWritersEachGetTheirOwnNumber) {
  constexpr int kWriters = 16;
  std::vector<std::int64_t> shots(kWriters);
  std::vector<std::string> tags(kWriters);
  std::vector<std::thread> writers;
  for (int i = 0; i < kWriters; ++i) {
    writers.emplace_back([&, i] {
      shots[i] = storage->addScreenshot("p", Screenshot{.tag = "Home", .positionsJson = "[]", .deviceJson = "{}"},
                                        testing::pngOf(1000 + i, static_cast<char>('a' + i)));
      tags[i] = storage->addIssue("p", Issue{.summary = "s" + std::to_string(i)}).tag;
      storage->recordDevices("p", {DeviceProfile{"phone", "{}", 10, 20 + i, 2}});
    });
  }
  for (auto& writer : writers) writer.join();
  EXPECT_EQ(std::set<std::int64_t>(shots.begin(), shots.end()).size(), std::size_t{kWriters});
  EXPECT_EQ(std::set<std::string>(tags.begin(), tags.end()).size(), std::size_t{kWriters});
  for (int i = 0; i < kWriters; ++i) {
    EXPECT_EQ(storage->screenshotImage("p", shots[i]), testing::pngOf(1000 + i, static_cast<char>('a' + i)));
  }
  auto issues = storage->issues("p");
  ASSERT_EQ(issues.size(), std::size_t{kWriters});
  EXPECT_EQ(issues.back().tag, "ISSUE-" + std::to_string(kWriters));
  auto devices = storage->devices("p");
  ASSERT_EQ(devices.size(), 1u);
  EXPECT_EQ(devices[0].requests, 2 * kWriters);
  EXPECT_EQ(devices[0].lastSeen, 20 + kWriters - 1);
}

TEST_P(StorageContract, SessionsLastUntilTheyExpireOrTheirAccountChanges) {
  storage->createAccount({.name = "ann", .passwordHash = "h1", .role = Role::translator});
  EXPECT_THROW(storage->createAccount({.name = "ann", .passwordHash = "h2"}), StorageError);
  const Seconds now = 1'000'000;
  storage->createSession({.idDigest = "old", .account = "ann", .expiresAt = now}, now - 1);
  storage->createSession({.idDigest = "live", .account = "ann", .expiresAt = now + 60}, now - 1);
  ASSERT_TRUE(storage->session("live", now).has_value());
  EXPECT_EQ(storage->session("live", now)->role, Role::translator);
  EXPECT_FALSE(storage->session("old", now).has_value());
  EXPECT_FALSE(storage->session("nobody's", now).has_value());

  // A new password (or role) ends the sessions made with the old one.
  storage->replaceAccount({.name = "ann", .passwordHash = "h3", .role = Role::admin});
  EXPECT_FALSE(storage->session("live", now).has_value());
  EXPECT_EQ(storage->account("ann")->passwordHash, "h3");
  EXPECT_EQ(storage->account("ann")->role, Role::admin);

  storage->createSession({.idDigest = "again", .account = "ann", .expiresAt = now + 60}, now);
  EXPECT_TRUE(storage->removeAccount("ann"));
  EXPECT_FALSE(storage->session("again", now).has_value());
  EXPECT_FALSE(storage->removeAccount("ann"));
  EXPECT_TRUE(storage->accounts().empty());
}

INSTANTIATE_TEST_SUITE_P(Backends, StorageContract, ::testing::Values("sqlite", "postgres"),
                         [](const auto& info) { return info.param; });

TEST(Migrations, ADatabaseOfANewerServerIsRefused) {
  tolvana::testing::TempDir dir;
  openStorage({.dataDirectory = dir.path()})->createProject(Project{.id = "p", .apiSecret = "s", .baseLanguage = "en"});
  auto reopened = openStorage({.dataDirectory = dir.path()});  // every step ran once already
  EXPECT_TRUE(reopened->project("p").has_value());
  sqlite3* db = nullptr;
  sqlite3_open((dir.path() + "/tolvana-server.sqlite").c_str(), &db);
  sqlite3_exec(db, "INSERT INTO schema_migrations VALUES (999, 0)", nullptr, nullptr, nullptr);
  sqlite3_close(db);
  try {
    openStorage({.dataDirectory = dir.path()});
    ADD_FAILURE() << "a database of schema 999 was opened";
  } catch (const StorageError& e) {
    EXPECT_NE(std::string(e.what()).find("schema version 999"), std::string::npos) << e.what();
  }
}

}  // namespace
}  // namespace tolvana::server
