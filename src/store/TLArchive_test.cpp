#include "store/TLArchive.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <functional>

#include "config/TLDeviceUtil.h"
#include "store/TLDBSqlite.h"
#include "store/TLDatabase.h"
#include "support/Files.h"
#include "support/TLLog.h"
#include "tests/support/ArchiveBuilder.h"
#include "tests/support/TempDir.h"
#include "tests/support/TestPlatform.h"

namespace tolvana {
namespace {

namespace fs = std::filesystem;
using testing::ArchiveBuilder;
using testing::TempDir;
using testing::TestPlatform;

class TLArchiveTest : public ::testing::Test {
 protected:
  TLArchiveTest() {
    platform.device->setDataDirectory(scratch.file("Library"));
    platform.install();
    data = *TLDeviceUtil::userdataDirectory();
  }

  bool unpack(const ArchiveBuilder& archive, bool skip = true, std::optional<std::size_t> cut = {}) {
    archive.writeTo(scratch.file("settings.tolvana"), cut);
    return TLArchive::createFilesAndDirectoriesAtPath(data, scratch.file("settings.tolvana"), skip);
  }
  std::optional<std::string> read(std::string_view name) const { return readWholeFile(data + "/" + std::string(name)); }

  TempDir scratch;
  TestPlatform platform;
  std::string data;
};

struct FlagCase {
  const char* name;
  std::function<void(ArchiveBuilder&)> members;
  bool succeeds;
  const char* logged;  // a line that must appear
  std::vector<const char*> written;
};

void PrintTo(const FlagCase& c, std::ostream* os) { *os << c.name; }

class TLArchiveFlags : public TLArchiveTest, public ::testing::WithParamInterface<FlagCase> {};

TEST_P(TLArchiveFlags, EachTypeFlagAdvancesAsTheReaderExpects) {
  const FlagCase& c = GetParam();
  ArchiveBuilder archive;
  c.members(archive);
  EXPECT_EQ(unpack(archive.file("after.txt", "after").endBlocks()), c.succeeds);
  if (*c.logged) {
    EXPECT_TRUE(platform.log->contains(c.logged)) << c.logged;
  }
  for (const char* name : c.written) EXPECT_TRUE(fs::exists(data + "/" + name)) << name;
  EXPECT_EQ(fs::exists(data + "/after.txt"), c.succeeds);
  EXPECT_FALSE(fs::exists(fs::path(data).parent_path() / "evil")) << "written outside the destination";
}

INSTANTIATE_TEST_SUITE_P(
    TLArchive, TLArchiveFlags,
    ::testing::Values(
        FlagCase{"EndBlocksOnly", [](ArchiveBuilder& a) { a.endBlocks(3); }, true, "", {}},
        FlagCase{"EmptySymlinkIsOneBlock", [](ArchiveBuilder& a) { a.member('2', "link"); }, true,
                 "Archive unsupported block", {}},
        FlagCase{"PaxHeaderIsTwoBlocks", [](ArchiveBuilder& a) { a.member('x', "pax", "path=x\n"); }, true, "", {}},
        // 700 bytes advance one block short: the member's last data block is read as a header.
        FlagCase{"UnsupportedMemberRoundsDown",
                 [](ArchiveBuilder& a) {
                   a.member('1', "hardlink", std::string(512, 'x') + ArchiveBuilder::header('5', "inner/", 0).substr(0, 188));
                 },
                 true, "Archive unsupported block", {"inner"}},
        FlagCase{"LongNameFlagFails", [](ArchiveBuilder& a) { a.member('L', "././@LongLink", "name"); }, false,
                 "Archive invalid block type L", {}},
        FlagCase{"LongLinkFlagFails", [](ArchiveBuilder& a) { a.member('K', "././@LongLink", "link"); }, false,
                 "Archive invalid block type K", {}},
        FlagCase{"EmptyMemberIsAnEmptyFile", [](ArchiveBuilder& a) { a.directory("./app/").file("./app/empty", ""); },
                 true, "Archive empty_file - ", {"app/empty"}},
        FlagCase{"DotSlashNamesLandInTheDestination", [](ArchiveBuilder& a) { a.directory("./").file("./x", "x"); },
                 true, "", {"x"}},
        FlagCase{"TraversingFileFails", [](ArchiveBuilder& a) { a.file("../evil", "x"); }, false,
                 "Archive member outside destination: ../evil", {}},
        FlagCase{"TraversingNestedFileFails", [](ArchiveBuilder& a) { a.directory("app/").file("./app/../../evil", "x"); }, false,
                 "Archive member outside destination: app/../../evil", {}},
        FlagCase{"AbsoluteFileFails", [](ArchiveBuilder& a) { a.file("/tmp/tolvana-evil", "x"); }, false,
                 "Archive member outside destination: /tmp/tolvana-evil", {}},
        FlagCase{"TraversingDirectoryFails", [](ArchiveBuilder& a) { a.directory("../evil/"); }, false,
                 "Archive member outside destination: ../evil/", {}},
        FlagCase{"SizePastTheEndFails",
                 [](ArchiveBuilder& a) { a.memberWithSizeField('0', "big", "77777777777", std::string(512, 'b')); },
                 false, "Archive truncated: member big runs past the end", {}},
        FlagCase{"NonOctalSizeFails", [](ArchiveBuilder& a) { a.memberWithSizeField('0', "bad", "12a", ""); }, false,
                 "Archive invalid size field for bad", {}},
        FlagCase{"CorruptGzipFails", [](ArchiveBuilder& a) { a.directory("app/").file("app/de.sqlite.gz", "junk!"); },
                 false, "Decompression Error: invalid or incomplete deflate data", {}}),
    [](const auto& info) { return std::string(info.param.name); });

TEST_F(TLArchiveTest, TruncatedArchiveFailsWhereverItIsCut) {
  ArchiveBuilder archive;
  archive.directory("app/").file("app/a.txt", std::string(2000, 'a')).endBlocks();
  for (std::size_t cut : {std::size_t{612}, std::size_t{2024}, archive.bytes().size() - 700}) {
    platform.log->clear();
    EXPECT_FALSE(unpack(archive, true, cut)) << cut;
    EXPECT_TRUE(platform.log->contains("Archive truncated")) << cut;
  }
}

TEST_F(TLArchiveTest, MembersStreamAcrossPiecesPlainAndInflated) {
  std::string big(3 * TLArchive::kChunkSize + 77, '\0');
  for (std::size_t i = 0; i < big.size(); ++i) big[i] = static_cast<char>((i * 7919) >> 3);
  ArchiveBuilder archive;
  archive.directory("app/").file("app/plain.bin", big).gzipFile("app/packed.bin.gz", big).endBlocks();
  ASSERT_TRUE(unpack(archive));
  EXPECT_EQ(read("app/plain.bin"), big);
  EXPECT_EQ(read("app/packed.bin"), big);
  EXPECT_FALSE(fs::exists(data + "/app/packed.bin.gz"));
}

TEST_F(TLArchiveTest, SecondUnpackRewritesTopLevelFilesButKeepsStores) {
  auto archive = [](const char* app, const char* hallo) {
    ArchiveBuilder a;
    a.file("app.tolvana", app).file(".hidden", "h").directory("app/").file("app/raw.txt", hallo);
    return a.store("app", "de", {.entries = {{"hello", hallo, ""}}, .groups = {{"main", 3}}}).endBlocks();
  };
  ASSERT_TRUE(unpack(archive("first", "Hallo")));
  EXPECT_FALSE(fs::exists(data + "/.hidden"));
  ASSERT_TRUE(unpack(archive("second", "Servus")));
  EXPECT_EQ(read("app.tolvana"), "second");
  EXPECT_EQ(read("app/raw.txt"), "Hallo");
  auto store = TLDBSqlite::initWithPath(data + "/app/de.sqlite");
  EXPECT_EQ(store->entryValueForKey("hello"), "Hallo");
  EXPECT_EQ(store->getGroupVersion("main"), 3);

  ASSERT_TRUE(unpack(archive("third", "Moin"), /*skip=*/false));
  EXPECT_EQ(read("app/raw.txt"), "Moin");
  // The store's read index notices a rewritten file within a second.
  platform.clock->advance(std::chrono::seconds(1));
  EXPECT_EQ(store->entryValueForKey("hello"), "Moin");
}

TEST_F(TLArchiveTest, StoreOfADeletedLanguageIsRemovedAndNotUnpacked) {
  TLLog::sharedInstance().setLevelForTag(TLLog::tag(), TLLog::kVerbose);
  ArchiveBuilder archive;
  archive.directory("app/").store("app", "de", {}).store("app", "fr", {}).endBlocks();
  ASSERT_TRUE(unpack(archive));
  platform.defaults->setObject(TLDatabase::getDeletionKey("de"), 1);
  ASSERT_TRUE(unpack(archive));
  EXPECT_FALSE(fs::exists(data + "/app/de.sqlite"));
  EXPECT_TRUE(fs::exists(data + "/app/fr.sqlite"));
  EXPECT_TRUE(platform.log->contains("V/Tolvana\xEF\xB9\x95 File lang de is marked for  deletion, removing it now"));
  ASSERT_TRUE(unpack(archive));
  EXPECT_FALSE(fs::exists(data + "/app/de.sqlite"));
}

TEST_F(TLArchiveTest, MissingArchiveFails) {
  EXPECT_FALSE(TLArchive::createFilesAndDirectoriesAtPath(data, scratch.file("none.tolvana"), true));
  EXPECT_TRUE(platform.log->contains("File does not exist. " + scratch.file("none.tolvana")));
}

// Links another program of the user planted in the data directory, each pointing outside it:
// the unpacking replaces every one of them and writes nothing where they point.
TEST_F(TLArchiveTest, LinksPlantedInTheDataDirectoryAreReplacedNotFollowed) {
  enum class Target { kNone, kFile, kFolder };
  const std::pair<const char*, Target> cases[] = {{"app.tolvana", Target::kFile}, {"app/de.sqlite", Target::kNone},
                                                  {"app/fr.sqlite", Target::kFile}, {"app", Target::kFolder},
                                                  {"app", Target::kNone}};
  ArchiveBuilder archive;
  archive.file("app.tolvana", R"({"_id":"app","apiSecret":"secret"})").directory("app/");
  archive.store("app", "de", {.entries = {{"hello", "Hallo", ""}}}).store("app", "fr", {.entries = {{"hello", "Salut", ""}}});
  archive.endBlocks();
  const std::string victim = scratch.file("victim");
  for (const auto& [link, target] : cases) {
    SCOPED_TRACE(link);
    fs::remove_all(data);
    fs::remove_all(victim);
    fs::create_directories(data + (std::string(link) == "app" ? "" : "/app"));
    if (target == Target::kFile) std::ofstream(victim) << "the user's own file";
    if (target == Target::kFolder) fs::create_directories(victim);
    ASSERT_EQ(symlink(victim.c_str(), (data + "/" + link).c_str()), 0);
    EXPECT_TRUE(unpack(archive));
    EXPECT_FALSE(fs::is_symlink(data + "/" + link));
    EXPECT_EQ(fs::exists(victim), target != Target::kNone);
    if (target == Target::kFile) EXPECT_EQ(readWholeFile(victim), "the user's own file");
    if (target == Target::kFolder) EXPECT_TRUE(fs::is_empty(victim));
    EXPECT_EQ(TLDBSqlite::initWithPath(data + "/app/de.sqlite")->entryValueForKey("hello"), "Hallo");
  }
}

// The file-size limit stands in for a full disk; it is set in a child so the test process
// keeps writing normally. The child reports each finding as one bit of its exit status.
// The folder being unpacked is wiped, never the engine's data directory or its neighbours.
TEST_F(TLArchiveTest, RunningOutOfSpaceWipesOnlyTheUnpackedFolderAndWarnsTheUser) {
  ArchiveBuilder archive;
  archive.file("app.tolvana", "{}").directory("app/").gzipFile("app/de.sqlite.gz", std::string(1 << 20, 'z')).endBlocks();
  archive.writeTo(scratch.file("settings.tolvana"));
  const std::string target = scratch.file("Library/Tolvana/other");
  fs::create_directories(data);
  ASSERT_TRUE(replaceFileAtomically(data + "/app.tolvana", "{}"));
  pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    signal(SIGXFSZ, SIG_IGN);
    rlimit limit{64 * 1024, 64 * 1024};
    setrlimit(RLIMIT_FSIZE, &limit);
    int status = 0;
    if (TLArchive::createFilesAndDirectoriesAtPath(target, scratch.file("settings.tolvana"), true)) status |= 1;
    if (!fs::is_empty(target) || !fs::exists(data + "/app.tolvana")) status |= 2;
    if (!platform.log->contains("E/Tolvana\xEF\xB9\x95 Error 103a - Settingsfile could not be successfully unpacked, no memory left")) status |= 4;
    platform.dispatch->drain();
    auto alerts = platform.ui->alerts();
    if (alerts.size() != 1 || alerts[0].title != "Not enough space" || alerts[0].actions.size() != 1 ||
        alerts[0].actions[0].title != "OK" ||
        alerts[0].message != "Device memory is too low to extract the latest translations. Please free up some space by "
                             "deleting some apps, music or images and restart the app for the best app experience.") {
      status |= 8;
    }
    _exit(status);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 0) << "bits: 1 unpack succeeded, 2 wrong folder wiped, 4 no 103a line, 8 no alert";
}

}  // namespace
}  // namespace tolvana
