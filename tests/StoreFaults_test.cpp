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
#include <ostream>
#include <set>
#include <thread>

#include "store/TLDBSqlite.h"
#include "store/TLDatabase.h"
#include "support/Format.h"
#include "tests/support/AppFixture.h"
#include "tolvana/platform/LogSink.h"

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

// Each fault hits a child process made by running this test program anew (a fork of a
// process with threads could inherit a lock some other thread held). The child works on the
// parent's data directory, named in this variable.
constexpr const char* kParentData = "TOLVANA_STORE_FAULTS_DATA";

// Ends the process, as the system would kill it, once the log reports that at least this many
// entries were written: between two groups' transactions, deterministically.
class KillingSink final : public LogSink {
 public:
  explicit KillingSink(long after) : after_(after) {}
  void writeLine(std::string_view line) override {
    auto at = line.find("Entries parsed so far: ");
    if (at != std::string_view::npos && std::atol(line.data() + at + 23) >= after_) kill(getpid(), SIGKILL);
  }

 private:
  long after_;
};

class StoreFaults : public ::testing::Test {
 protected:
  void SetUp() override {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    app.bundle.info("TolvanaLogLevel", "v");
    app.install();
    db = TLDatabase::create();
    ASSERT_TRUE(db && db->parseResponseV2Json(answer(1)));
    // A child runs this too, and keeps the parent's.
    setenv(kParentData, app.dir.file("data").c_str(), 0);
  }
  void TearDown() override { unsetenv(kParentData); }
  void expectIntactStores() {
    for (const char* language : kLanguages) EXPECT_EQ(problemsOf(app.storePath(language)), "") << language;
  }
  // In the child: the parent's stores, through a manager of the child's own.
  std::shared_ptr<TLDatabase> parentStores() {
    app.platform.device->setDataDirectory(std::string(std::getenv(kParentData)));
    return TLDatabase::create();
  }
  // Whether the groups of both languages are left at more than one version.
  bool torn() {
    std::set<std::int64_t> versions;
    for (const char* language : kLanguages) {
      for (int g = 0; g < kGroups; ++g) versions.insert(db->versionForGroup(format("g%d", g), language));
    }
    return versions.size() > 1;
  }

  testing::AppFixture app;
  std::shared_ptr<TLDatabase> db;
};

// Where the kill comes: after at least this many entries, between two groups (by the log), or
// at whatever moment a thread watching the progress gets to it (in a transaction, between two,
// or after the end).
struct Kill {
  long after;
  bool betweenGroups;
};
void PrintTo(const Kill& kill, std::ostream* out) {
  *out << kill.after << (kill.betweenGroups ? " between groups" : " watched");
}
constexpr long kTotal = 2L * kGroups * kEntries;

class StoreKills : public StoreFaults, public ::testing::WithParamInterface<Kill> {};

TEST_P(StoreKills, LeaveWholeGroupsAndTheNextUpdateMendsThem) {
  const Kill at = GetParam();
  auto killedOrDone = [](int status) {
    return (WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL) || (WIFEXITED(status) && WEXITSTATUS(status) == 0);
  };
  auto updateAndDie = [&] {
    auto stores = parentStores();
    std::string update = answer(2);
    if (at.betweenGroups) {
      testing::installPorts([&](Platform::Ports& ports) { ports.logSink = std::make_shared<KillingSink>(at.after); });
    } else {
      std::thread([stores, after = at.after] {
        while (stores->entriesWritten() < after) std::this_thread::yield();
        kill(getpid(), SIGKILL);
      }).detach();
    }
    stores->parseResponseV2Json(update);
    _exit(0);
  };
  EXPECT_EXIT(updateAndDie(), killedOrDone, "");
  expectIntactStores();
  if (at.betweenGroups) EXPECT_TRUE(torn()) << "the kill came after the last group";
  ASSERT_TRUE(db->parseResponseV2Json(answer(3)));
  EXPECT_FALSE(torn());
  expectIntactStores();
}

INSTANTIATE_TEST_SUITE_P(Points, StoreKills,
                         ::testing::Values(Kill{kEntries, true}, Kill{kTotal / 2 + kEntries, true},
                                           Kill{kTotal - kEntries, true}, Kill{1, false}, Kill{kTotal / 3, false},
                                           Kill{kTotal * 3 / 4, false}));

TEST_F(StoreFaults, FullDiskDuringAnUpdateWritesWholeGroupsAndTheNextUpdateTheRest) {
  const auto limit = static_cast<rlim_t>(std::filesystem::file_size(app.storePath("de")) + 64 * 1024);
  auto updateOnAFullDisk = [&] {
    auto stores = parentStores();
    std::string update = answer(2, 200);
    signal(SIGXFSZ, SIG_IGN);
    rlimit fileSize{limit, limit};
    setrlimit(RLIMIT_FSIZE, &fileSize);
    _exit(stores->parseResponseV2Json(update) && stores->unwrittenGroups() > 0 ? 0 : 1);
  };
  EXPECT_EXIT(updateOnAFullDisk(), ::testing::ExitedWithCode(0), "") << "refused, or every group written despite the limit";
  expectIntactStores();
  ASSERT_TRUE(db->parseResponseV2Json(answer(2, 200)));
  EXPECT_EQ(db->unwrittenGroups(), 0);
  EXPECT_FALSE(torn());
  expectIntactStores();
}

}  // namespace
}  // namespace tolvana
