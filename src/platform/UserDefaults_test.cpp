#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <thread>

#include "platform/PropertyList.h"
#include "platform/fake/MemoryUserDefaults.h"
#include "platform/posix/PlistFileUserDefaults.h"
#include "tests/support/TempDir.h"
#include "tests/support/TestPlatform.h"

extern char** environ;

namespace tolvana {
namespace {

namespace fs = std::filesystem;

const Value::Dictionary kEveryKind = {
    {"bool", true},        {"int", 42},  {"real", 2.5}, {"string", "text"}, {"data", Value::Data{0, 1, 255}},
    {"date", Value::Date{1700000000.5}}, {"array", Value::Array{1, "two"}}, {"dict", Value::Dictionary{{"k", false}}},
};

// The second process of SecondProcessReadsSynchronizedDomain: this test binary started again
// with the file in its environment checks the file and exits before any test runs.
const int kChildExit = [] {
  const char* path = std::getenv("TOLVANA_DEFAULTS_CHILD_PATH");
  if (!path) return 0;
  auto defaults = makePlistFileUserDefaults(path);
  for (const auto& [key, value] : kEveryKind) {
    if (defaults->objectForKey(key) != value) std::_Exit(1);
  }
  std::_Exit(0);
}();

struct MemoryFactory {
  std::shared_ptr<UserDefaults> make() { return std::make_shared<MemoryUserDefaults>(); }
};
struct FileFactory {
  testing::TempDir dir;
  std::shared_ptr<UserDefaults> make() { return makePlistFileUserDefaults(dir.file("app.plist")); }
};

template <class Factory>
struct UserDefaultsContract : ::testing::Test {
  Factory factory;
};
using Implementations = ::testing::Types<MemoryFactory, FileFactory>;
TYPED_TEST_SUITE(UserDefaultsContract, Implementations);

TYPED_TEST(UserDefaultsContract, KeepsEveryKindAndRemoves) {
  auto defaults = this->factory.make();
  for (const auto& [key, value] : kEveryKind) defaults->setObject(key, value);
  for (const auto& [key, value] : kEveryKind) EXPECT_EQ(defaults->objectForKey(key), value) << key;
  defaults->removeObject("int");
  EXPECT_EQ(defaults->objectForKey("int"), std::nullopt);
  EXPECT_TRUE(defaults->synchronize());
  defaults->removePersistentDomain();
  EXPECT_EQ(defaults->objectForKey("string"), std::nullopt);
}

TYPED_TEST(UserDefaultsContract, TypedReadersConvertNumbersAndStrings) {
  struct Case {
    Value value;
    bool asBool;
    std::int64_t asInteger;
    double asDouble;
    std::optional<std::string> asString;
  };
  const Case cases[] = {
      {true, true, 1, 1.0, "1"},   {0, false, 0, 0.0, "0"},        {2.75, true, 2, 2.75, "2.75"},
      {" -12abc", true, -12, -12.0, " -12abc"},                    {"3.5e2", true, 3, 350.0, "3.5e2"},
      {"no", false, 0, 0.0, "no"}, {"99999999999999999999", true, INT64_MAX, 1e20, "99999999999999999999"},
      {Value::Array{1}, false, 0, 0.0, std::nullopt},
  };
  auto defaults = this->factory.make();
  for (const Case& c : cases) {
    defaults->setObject("k", c.value);
    SCOPED_TRACE(c.value.description());
    EXPECT_EQ(defaults->boolForKey("k"), c.asBool);
    EXPECT_EQ(defaults->integerForKey("k"), c.asInteger);
    EXPECT_DOUBLE_EQ(defaults->doubleForKey("k"), c.asDouble);
    EXPECT_EQ(defaults->stringForKey("k"), c.asString);
  }
  EXPECT_EQ(defaults->stringForKey("absent"), std::nullopt);
}

class PlistFileUserDefaults : public ::testing::Test {
 protected:
  PlistFileUserDefaults() { platform.install(); }
  testing::TestPlatform platform;
  testing::TempDir dir;
  std::string path = dir.file("app.plist");
};

TEST_F(PlistFileUserDefaults, SecondProcessReadsSynchronizedDomain) {
  path = dir.file("nested/app.plist");
  auto defaults = makePlistFileUserDefaults(path);
  for (const auto& [key, value] : kEveryKind) defaults->setObject(key, value);
  ASSERT_TRUE(defaults->synchronize());

  std::string variable = "TOLVANA_DEFAULTS_CHILD_PATH=" + path;
  std::vector<char*> env;
  for (char** e = environ; *e; ++e) env.push_back(*e);
  env.push_back(variable.data());
  env.push_back(nullptr);
  char exe[] = "/proc/self/exe";
  char* argv[] = {exe, nullptr};
  pid_t child = 0;
  int status = -1;
  ASSERT_EQ(::posix_spawn(&child, exe, nullptr, nullptr, argv, env.data()), 0);
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);

  defaults->removePersistentDomain();
  EXPECT_FALSE(fs::exists(path));
}

TEST_F(PlistFileUserDefaults, MalformedOrUnwritableFileLogsOneLineNamingIt) {
  std::ofstream(path) << "<plist><dict><key>cut off";
  EXPECT_EQ(makePlistFileUserDefaults(path)->objectForKey("cut off"), std::nullopt);
  EXPECT_EQ(platform.log->lines().size(), 1u);
  EXPECT_EQ(platform.log->count(path), 1u);

  // A regular file where the directory should be: no domain to read, and the write fails.
  platform.log->clear();
  std::string blocked = path + "/inner.plist";
  EXPECT_FALSE(makePlistFileUserDefaults(blocked)->synchronize());
  EXPECT_EQ(platform.log->lines().size(), 1u);
  EXPECT_EQ(platform.log->count(blocked), 1u);
}

TEST_F(PlistFileUserDefaults, TextThatWouldNotReadBackIsRefusedAndHostileFilesDoNotAbort) {
  auto defaults = makePlistFileUserDefaults(path);
  defaults->setObject("kept", 1);
  defaults->setObject("\xff\xfe", 2);
  defaults->setObject("nested", Value::Dictionary{{"\xC3", 3}});
  defaults->setObject("text", "cut \xE2\x82");
  EXPECT_EQ(platform.log->count("Refused to keep a user default"), 3u);
  ASSERT_TRUE(defaults->synchronize());
  EXPECT_EQ(plist::readFile(path), Value(Value::Dictionary{{"kept", 1}}));

  // A binary file whose key is "\u00e9\0" used to abort the process on load.
  const std::uint8_t nulKey[] = {0x62, 0x70, 0x6c, 0x69, 0x73, 0x74, 0x30, 0x30, 0xd1, 0x01, 0x02, 0x62, 0x00, 0xe9,
                                 0x00, 0x00, 0x10, 0x01, 0x08, 0x0b, 0x10, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x01,
                                 0x01, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x03, 0x00, 0x00, 0x00, 0x00, 0x00,
                                 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x12};
  std::ofstream(path, std::ios::binary).write(reinterpret_cast<const char*>(nulKey), sizeof nulKey);
  platform.log->clear();
  EXPECT_EQ(makePlistFileUserDefaults(path)->objectForKey("kept"), std::nullopt);
  EXPECT_EQ(platform.log->count("starting with an empty domain"), 1u);
}

TEST_F(PlistFileUserDefaults, ReaderNeverSeesAPartialFileAndNoTemporaryFilesRemain) {
  auto defaults = makePlistFileUserDefaults(path);
  defaults->setObject("big", std::string(200000, 'a'));
  ASSERT_TRUE(defaults->synchronize());
  std::atomic<bool> writing{true};
  std::thread writer([&] {
    for (int i = 0; i < 40; ++i) {
      defaults->setObject("big", std::string(200000 + i * 1000, 'a'));
      defaults->synchronize();
    }
    writing = false;
  });
  int reads = 0, partial = 0;
  for (; writing || reads == 0; ++reads) {
    auto root = plist::readFile(path);
    partial += !(root && root->find("big"));
  }
  writer.join();
  EXPECT_EQ(partial, 0) << "of " << reads << " reads";
  EXPECT_EQ(std::distance(fs::directory_iterator(dir.path()), fs::directory_iterator()), 1);
}

}  // namespace
}  // namespace tolvana
