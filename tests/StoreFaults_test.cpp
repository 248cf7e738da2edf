// Faults a store meets on a device: the process killed in the middle of an update, and a
// disk that fills up during one. Each fault hits a child process (a file-size limit stands
// in for the full disk); the test then checks what the child left: every store opens and
// reads whole, every group's version matches all its entries, and the next update recovers.
#include <gtest/gtest.h>
#include <linux/capability.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <map>
#include <optional>
#include <ostream>
#include <random>
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

// Runs body in a child with the file-size limit given (none when 0), killed after killAfter
// when given; the child's exit status. The child only does what the body does, on one thread.
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
    // A child is killed before it could remove its own fixture, so that goes inside this one.
    if (const char* tmp = std::getenv("TMPDIR")) savedTmpDir = tmp;
    std::filesystem::create_directories(app.dir.file("children"));
    setenv("TMPDIR", app.dir.file("children").c_str(), 1);
  }
  void TearDown() override {
    unsetenv(kParentData);
    if (savedTmpDir) setenv("TMPDIR", savedTmpDir->c_str(), 1);
    else unsetenv("TMPDIR");
  }
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
  std::optional<std::string> savedTmpDir;
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

// Gives or takes the owner's write access to dir and everything in it (no one else has any).
void setWritable(const std::string& dir, bool writable) {
  namespace fs = std::filesystem;
  const auto options = writable ? fs::perm_options::add : fs::perm_options::remove;
  fs::permissions(dir, fs::perms::owner_write, options);
  for (const auto& entry : fs::recursive_directory_iterator(dir)) fs::permissions(entry.path(), fs::perms::owner_write, options);
}

// A process run as root writes whatever the permissions say; without these capabilities it
// meets them as any app does.
void dropPermissionOverrides() {
  __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
  __user_cap_data_struct data[2]{};
  syscall(SYS_capget, &header, data);
  for (int capability : {CAP_DAC_OVERRIDE, CAP_DAC_READ_SEARCH}) {
    data[capability / 32].effective &= ~(1u << (capability % 32));
    data[capability / 32].permitted &= ~(1u << (capability % 32));
  }
  syscall(SYS_capset, &header, data);
}

// A data directory the app can no longer write (a read-only mount, permissions taken away):
// the start answers from what the directory holds, also when the app ships a newer app file,
// and says why nothing was written.
TEST(ReadOnlyDataDirectory, StartsAndAnswersFromWhatItHolds) {
  testing::AppFixture app;
  app.appLanguage("en", {{"hello", "Hello", ""}});
  app.stores["de"] = testing::StoreContents{{{"hello", "Hallo", ""}}, {{"main", 3}}};
  app.install();
  ASSERT_NE(TLDatabase::create(), nullptr);
  for (bool newerAppFile : {false, true}) {
    SCOPED_TRACE(newerAppFile);
    if (newerAppFile) {
      app.appLanguage("en", {{"hello", "Hello again", ""}});
      app.install();
    }
    int status = inChild(0, [&] {
      setWritable(app.dataDirectory(), false);
      dropPermissionOverrides();
      auto db = TLDatabase::create();
      if (!db) return 1;
      int bits = 0;
      if (db->valueWithKey("hello", "de") != "Hallo") bits |= 2;
      if (db->valueWithKey("hello", "en") != "Hello") bits |= 4;
      if (newerAppFile != app.platform.log->contains("cannot be written")) bits |= 8;
      if (app.platform.log->contains("App settings file missing")) bits |= 16;
      return bits;
    });
    EXPECT_EQ(status, 0) << "bits: 1 no manager, 2 store unread, 4 app file's text changed, 8 reason logged wrongly, 16 told the file is missing";
  }
  setWritable(app.dataDirectory(), true);
}

// The first start unpacks the archive's stores; a process killed during it must leave each
// store whole or absent, since a store cut short would be served as complete and show keys.
TEST(FirstStartFaults, KilledAtRandomPointsOfALargeUnpackLeavesEachStoreWholeOrAbsent) {
  constexpr std::size_t kStoreEntries = 20000;
  const char* const languages[] = {"de", "fr", "it", "es"};
  testing::AppFixture app;
  for (const char* language : languages) {
    auto& contents = app.stores[language];
    for (std::size_t i = 0; i < kStoreEntries; ++i) {
      contents.entries.push_back({format("k%lu", static_cast<unsigned long>(i)), format("%@ %lu %@", language, i * 7919, std::string(60, 'x')), ""});
    }
  }
  app.install();
  auto storeProblems = [&] {
    std::string problems;
    for (const char* language : languages) {
      if (!std::filesystem::exists(app.storePath(language))) continue;
      auto entries = TLDBSqlite::initWithPath(app.storePath(language))->entryList();
      if (!entries || entries->size() != kStoreEntries) problems += format(" %@ cut short", language);
    }
    return problems;
  };
  auto firstStart = [] { return TLDatabase::create() ? 0 : 1; };
  auto start = std::chrono::steady_clock::now();
  ASSERT_EQ(inChild(0, firstStart), 0);
  auto whole = std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now() - start);
  std::mt19937 random(20261202);
  for (int run = 0; run < 30; ++run) {
    SCOPED_TRACE(run);
    std::filesystem::remove_all(app.dataDirectory());
    inChild(0, firstStart, std::chrono::microseconds(std::uniform_int_distribution<long>(0, whole.count())(random)));
    EXPECT_EQ(storeProblems(), "");
  }
  // What a writer killed long ago left beside a store goes when the store is written next.
  const std::string leftover = std::filesystem::path(app.storePath("de")).parent_path() / ".de.sqlite.Ab12Cd";
  std::filesystem::remove_all(app.dataDirectory());
  std::filesystem::create_directories(std::filesystem::path(leftover).parent_path());
  std::ofstream(leftover) << "half a store";
  std::filesystem::last_write_time(leftover, std::filesystem::file_time_type::clock::now() - std::chrono::minutes(2));
  ASSERT_NE(TLDatabase::create(), nullptr);
  EXPECT_EQ(storeProblems(), "");
  EXPECT_FALSE(std::filesystem::exists(leftover));
  for (const char* language : languages) EXPECT_TRUE(std::filesystem::exists(app.storePath(language))) << language;
}

}  // namespace
}  // namespace tolvana
