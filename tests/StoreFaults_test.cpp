// Faults a store meets on a device: the process killed in the middle of an update, and a
// disk that fills up during an unpack or an update. Each fault runs in a child process (the
// file-size limit stands in for a full disk), and the test then checks what the child left:
// every store opens and is intact, every group's recorded version matches all its entries,
// and the next start or update recovers.
#include <gtest/gtest.h>
#include <signal.h>
#include <sqlite3.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <map>
#include <random>
#include <set>
#include <thread>

#include "store/TLDatabase.h"
#include "support/Format.h"
#include "tests/support/AppFixture.h"

namespace tolvana {
namespace {

using testing::AppFixture;

constexpr int kGroups = 40;
constexpr int kEntries = 100;
const char* const kLanguages[] = {"de", "fr"};

// Every group of both languages at one version; a value names the version it came with and
// grows by padding characters.
std::string answer(int version, int padding = 0) {
  const std::string pad(static_cast<std::size_t>(padding), '.');
  std::string data;
  for (const char* language : kLanguages) {
    std::string groups;
    for (int g = 0; g < kGroups; ++g) {
      std::string entries;
      for (int i = 0; i < kEntries; ++i) {
        entries += format("%@\"g%d.k%d\":{\"v\":\"v%d g%d k%d, a sentence of some length%@\"}",
                          entries.empty() ? "" : ",", g, i, version, g, i, pad);
      }
      groups += format("%@\"g%d\":{\"version\":%d,\"entries\":{%@}}", groups.empty() ? "" : ",", g, version, entries);
    }
    data += format("%@\"%@\":{%@}", data.empty() ? "" : ",", language, groups);
  }
  return format("{\"__v\":%d,\"baseLanguage\":\"en\",\"data\":{%@}}", version, data);
}

// What is wrong with the store at path; empty when it is intact and each group holds all its
// entries at the group's version.
std::string problemsOf(const std::string& path) {
  sqlite3* db = nullptr;
  // Read-write, as the engine first opens a store: a killed writer leaves a journal that
  // only such a connection rolls back.
  if (sqlite3_open_v2(path.c_str(), &db, SQLITE_OPEN_READWRITE, nullptr) != SQLITE_OK) {
    sqlite3_close(db);
    return path + " does not open";
  }
  std::string problems;
  auto each = [&](const char* sql, auto row) {
    sqlite3_stmt* statement = nullptr;
    if (sqlite3_prepare_v2(db, sql, -1, &statement, nullptr) != SQLITE_OK) problems += sqlite3_errmsg(db);
    while (statement && sqlite3_step(statement) == SQLITE_ROW) row(statement);
    sqlite3_finalize(statement);
  };
  auto text = [](sqlite3_stmt* s, int column) { return std::string(reinterpret_cast<const char*>(sqlite3_column_text(s, column))); };
  each("PRAGMA integrity_check", [&](sqlite3_stmt* s) {
    if (text(s, 0) != "ok") problems += " integrity: " + text(s, 0);
  });
  std::map<int, int> versions, counts;
  each("SELECT name, version FROM groups", [&](sqlite3_stmt* s) {
    versions[std::stoi(text(s, 0).substr(1))] = sqlite3_column_int(s, 1);
  });
  each("SELECT key, value FROM entries", [&](sqlite3_stmt* s) {
    int group = std::stoi(text(s, 0).substr(1)), version = std::stoi(text(s, 1).substr(1));
    ++counts[group];
    if (versions[group] != version) problems += format(" g%d at v%d holds a v%d entry", group, versions[group], version);
  });
  for (const auto& [group, version] : versions) {
    if (counts[group] != kEntries) problems += format(" g%d v%d holds %d entries", group, version, counts[group]);
  }
  sqlite3_close(db);
  return problems;
}

// Runs body in a child process with the file-size limit given (none when 0); returns the
// child's exit status, or -signal when killAfter ended it first.
int inChild(rlim_t fileSizeLimit, const std::function<int()>& body,
            std::optional<std::chrono::microseconds> killAfter = std::nullopt) {
  pid_t child = fork();
  if (child == 0) {
    if (fileSizeLimit) {
      signal(SIGXFSZ, SIG_IGN);
      rlimit limit{fileSizeLimit, fileSizeLimit};
      setrlimit(RLIMIT_FSIZE, &limit);
    }
    _exit(body());
  }
  if (killAfter) {
    std::this_thread::sleep_for(*killAfter);
    kill(child, SIGKILL);
  }
  int status = 0;
  waitpid(child, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

class StoreFaults : public ::testing::Test {
 protected:
  void SetUp() override {
    app.install();
    auto db = TLDatabase::create();
    ASSERT_TRUE(db && db->parseResponseV2Json(answer(1)));
  }
  void expectIntactStores() {
    for (const char* language : kLanguages) EXPECT_EQ(problemsOf(app.storePath(language)), "") << language;
  }

  AppFixture app;
};

TEST_F(StoreFaults, KilledAtRandomPointsOfALargeUpdateLeavesWholeGroups) {
  auto db = TLDatabase::create();
  ASSERT_NE(db, nullptr);
  // The answer is made before the fork, so that the child spends its time writing.
  auto update = [&db](const std::string& json) { return [&db, json] { return db->parseResponseV2Json(json) ? 0 : 1; }; };
  const std::string second = answer(2);
  auto start = std::chrono::steady_clock::now();
  ASSERT_EQ(inChild(0, update(second)), 0);
  auto whole = std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now() - start);

  std::mt19937 random(20261124);
  int torn = 0;  // runs that ended with groups at different versions: killed amid the writes
  for (int run = 0; run < 20; ++run) {
    SCOPED_TRACE(run);
    const std::string json = answer(3 + run);
    std::chrono::microseconds at(std::uniform_int_distribution<long>(0, whole.count())(random));
    inChild(0, update(json), at);
    expectIntactStores();
    std::set<std::int64_t> versions;
    for (const char* language : kLanguages) {
      for (int g = 0; g < kGroups; ++g) versions.insert(db->versionForGroup(format("g%d", g), language));
    }
    torn += versions.size() > 1;
    EXPECT_NE(db->valueWithKey("g0.k0", "de"), std::nullopt);
  }
  EXPECT_GT(torn, 0);
}

TEST_F(StoreFaults, FullDiskDuringAnUpdateWritesWholeGroupsAndTheNextUpdateTheRest) {
  const auto limit = static_cast<rlim_t>(std::filesystem::file_size(app.storePath("de")) + 64 * 1024);
  int status = inChild(limit, [] {
    auto db = TLDatabase::create();
    if (!db || !db->parseResponseV2Json(answer(2, 200))) return 1;
    return db->unwrittenGroups() > 0 ? 0 : 2;
  });
  ASSERT_EQ(status, 0) << "1: answer refused, 2: every group written despite the limit";
  expectIntactStores();

  auto db = TLDatabase::create();
  ASSERT_TRUE(db && db->parseResponseV2Json(answer(2, 200)));
  EXPECT_EQ(db->unwrittenGroups(), 0);
  for (int g = 0; g < kGroups; ++g) EXPECT_EQ(db->versionForGroup(format("g%d", g), "fr"), 2) << g;
  expectIntactStores();
}

TEST(StoreFaultsUnpack, FullDiskDuringTheFirstUnpackLeavesNothingAndTheNextStartUnpacksAll) {
  AppFixture app;
  testing::StoreContents big;
  for (int i = 0; i < 2000; ++i) big.entries.push_back({format("k%d", i), std::string(100, 'x'), ""});
  app.stores["de"] = big;
  app.install();
  int status = inChild(64 * 1024, [] { return TLDatabase::create() ? 1 : 0; });
  EXPECT_EQ(status, 0) << "the start succeeded on a full disk";
  EXPECT_FALSE(std::filesystem::exists(app.storePath("de")));

  auto db = TLDatabase::create();
  ASSERT_NE(db, nullptr);
  EXPECT_EQ(db->valueWithKey("k1999", "de"), std::string(100, 'x'));
}

}  // namespace
}  // namespace tolvana
