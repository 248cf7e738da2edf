// Faults a store meets on a device: the process killed in the middle of an update, and a
// disk that fills up during one. Each fault hits a child process (a file-size limit stands
// in for the full disk); the test then checks what the child left: every store opens and
// reads whole, every group's version matches all its entries, and the next update recovers.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <map>
#include <random>
#include <set>
#include <thread>

#include "store/TLDBSqlite.h"
#include "store/TLDatabase.h"
#include "support/Format.h"
#include "tests/support/AppFixture.h"

namespace tolvana {
namespace {

constexpr int kGroups = 40, kEntries = 100;
const char* const kLanguages[] = {"de", "fr"};

// Every group of both languages at one version; each value names that version.
std::string answer(int version, int padding = 0) {
  std::string data;
  for (const char* language : kLanguages) {
    std::string groups;
    for (int g = 0; g < kGroups; ++g) {
      std::string entries;
      for (int i = 0; i < kEntries; ++i) {
        entries += format("%@\"g%d.k%d\":{\"v\":\"v%d %@\"}", i ? "," : "", g, i, version, std::string(padding + 40, '.'));
      }
      groups += format("%@\"g%d\":{\"version\":%d,\"entries\":{%@}}", g ? "," : "", g, version, entries);
    }
    data += format("%@\"%@\":{%@}", data.empty() ? "" : ",", language, groups);
  }
  return format("{\"__v\":%d,\"baseLanguage\":\"en\",\"data\":{%@}}", version, data);
}

// What is wrong with the store at path: empty when it reads whole and each group holds all
// its entries at the group's version.
std::string problemsOf(const std::string& path) {
  auto store = TLDBSqlite::initWithPath(path);
  auto groups = store->groupList();
  auto entries = store->entryList();
  if (!groups || !entries || store->isBroken()) return "does not read";
  std::string problems;
  std::map<std::string, int> counts;
  for (const auto& entry : *entries) {
    std::string group = entry.key.substr(0, entry.key.find('.'));
    ++counts[group];
    if ((*groups)[group] != std::stoi(entry.value.substr(1))) problems += " " + group + " holds " + entry.value;
  }
  for (const auto& [group, version] : *groups) {
    if (counts[group] != kEntries) problems += format(" %@ v%d holds %d entries", group, version, counts[group]);
  }
  return problems;
}

// Runs body in a child with the file-size limit given (none when 0), killed after killAfter
// when given; the child's exit status.
int inChild(rlim_t fileSizeLimit, const std::function<int()>& body,
            std::optional<std::chrono::microseconds> killAfter = std::nullopt) {
  pid_t child = fork();
  if (child == 0) {
    signal(SIGXFSZ, SIG_IGN);
    rlimit limit{fileSizeLimit ? fileSizeLimit : RLIM_INFINITY, fileSizeLimit ? fileSizeLimit : RLIM_INFINITY};
    setrlimit(RLIMIT_FSIZE, &limit);
    _exit(body());
  }
  if (killAfter) {
    std::this_thread::sleep_for(*killAfter);
    kill(child, SIGKILL);
  }
  int status = 0;
  waitpid(child, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

class StoreFaults : public ::testing::Test {
 protected:
  void SetUp() override {
    app.install();
    db = TLDatabase::create();
    ASSERT_TRUE(db && db->parseResponseV2Json(answer(1)));
  }
  void expectIntactStores() {
    for (const char* language : kLanguages) EXPECT_EQ(problemsOf(app.storePath(language)), "") << language;
  }
  std::function<int()> update(std::string json) {
    return [this, json] { return db->parseResponseV2Json(json) ? 0 : 1; };
  }

  testing::AppFixture app;
  std::shared_ptr<TLDatabase> db;
};

TEST_F(StoreFaults, KilledAtRandomPointsOfALargeUpdateLeavesWholeGroups) {
  auto start = std::chrono::steady_clock::now();
  ASSERT_EQ(inChild(0, update(answer(2))), 0);
  auto whole = std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now() - start);
  std::mt19937 random(20261124);
  int torn = 0;  // runs killed amid the writes: groups left at different versions
  for (int run = 0; run < 20; ++run) {
    SCOPED_TRACE(run);
    auto killed = update(answer(3 + run));  // made before the fork: the child only writes
    inChild(0, killed, std::chrono::microseconds(std::uniform_int_distribution<long>(0, whole.count())(random)));
    expectIntactStores();
    std::set<std::int64_t> versions;
    for (int g = 0; g < kGroups; ++g) versions.insert(db->versionForGroup(format("g%d", g), "fr"));
    torn += versions.size() > 1;
    EXPECT_NE(db->valueWithKey("g0.k0", "de"), std::nullopt);
  }
  EXPECT_GT(torn, 0);
}

TEST_F(StoreFaults, FullDiskDuringAnUpdateWritesWholeGroupsAndTheNextUpdateTheRest) {
  const auto limit = static_cast<rlim_t>(std::filesystem::file_size(app.storePath("de")) + 64 * 1024);
  ASSERT_EQ(inChild(limit, [this] { return db->parseResponseV2Json(answer(2, 200)) && db->unwrittenGroups() > 0 ? 0 : 1; }), 0)
      << "refused, or every group written despite the limit";
  expectIntactStores();
  ASSERT_TRUE(db->parseResponseV2Json(answer(2, 200)));
  EXPECT_EQ(db->unwrittenGroups(), 0);
  for (int g = 0; g < kGroups; ++g) EXPECT_EQ(db->versionForGroup(format("g%d", g), "fr"), 2) << g;
  expectIntactStores();
}

}  // namespace
}  // namespace tolvana
