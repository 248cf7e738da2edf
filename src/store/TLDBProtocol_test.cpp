// The behaviour every store backend shares, run against each of them.
#include <gtest/gtest.h>

#include "store/TLDBFile.h"
#include "store/TLDBSqlite.h"
#include "tests/support/TempDir.h"
#include "tests/support/TestPlatform.h"

namespace tolvana {
namespace {

using testing::TempDir;
using testing::TestPlatform;

template <class Store>
std::shared_ptr<TLDBProtocol> openStore(const TempDir& dir) {
  if constexpr (std::is_same_v<Store, TLDBSqlite>) return TLDBSqlite::initWithPath(dir.file("de.sqlite"));
  else return TLDBFile::initWithPath(dir.file("de.dict"));
}

template <class Store>
class TLDBContract : public ::testing::Test {
 protected:
  TLDBContract() { platform.install(); }
  ~TLDBContract() override { EXPECT_EQ(platform.log->count("E/"), 0u) << "normal use logs no error"; }

  // One update as the parser writes it, saved, and the store opened afresh from disk.
  template <class Writes>
  std::shared_ptr<TLDBProtocol> writeAndReopen(Writes writes) {
    auto store = openStore<Store>(dir);
    store->beginWriteTransaction();
    writes(*store);
    store->commitWriteTransaction();
    store->save();
    return openStore<Store>(dir);
  }

  TestPlatform platform;
  TempDir dir;
};

using Backends = ::testing::Types<TLDBSqlite, TLDBFile>;
TYPED_TEST_SUITE(TLDBContract, Backends);

TYPED_TEST(TLDBContract, EntriesReadBackWithMissingPartsAsEmptyStrings) {
  struct Row {
    const char* key;
    std::optional<std::string_view> value, draft;
    TLLanguageEntry expected;
  };
  const Row rows[] = {
      {"full", "Hallo", "Entwurf", {"full", "Hallo", "Entwurf"}},
      {"empty", "", "", {"empty", "", ""}},
      {"absent", std::nullopt, std::nullopt, {"absent", "", ""}},
      {"draftless", "Wert", std::nullopt, {"draftless", "Wert", ""}},
      {"unicode ✓", "Grüße ﹕", "✎", {"unicode ✓", "Grüße ﹕", "✎"}},
  };
  auto store = this->writeAndReopen([&](TLDBProtocol& s) {
    for (const Row& row : rows) s.createOrUpdateEntry(row.key, row.value, row.draft);
  });
  for (const Row& row : rows) EXPECT_EQ(store->entryForKey(row.key), row.expected) << row.key;
  EXPECT_EQ(store->entryValueForKey("full"), "Hallo");
}

TYPED_TEST(TLDBContract, LaterWritesReplaceEarlierOnesAndUnknownOnesAreAbsent) {
  this->writeAndReopen([](TLDBProtocol& s) {
    s.createOrUpdateEntry("k", "old", "old draft");
    s.createOrUpdateGroup("main", 1);
    s.createOrUpdateGroup("extra", 7);
  });
  auto store = this->writeAndReopen([](TLDBProtocol& s) {
    s.createOrUpdateEntry("k", "new", std::nullopt);
    s.createOrUpdateGroup("main", 2);
  });
  EXPECT_EQ(store->entryForKey("k"), (TLLanguageEntry{"k", "new", ""}));
  EXPECT_EQ(store->getGroupVersion("main"), 2);
  EXPECT_EQ(store->getGroupVersion("extra"), 7);
  EXPECT_EQ(store->groupList(), (std::map<std::string, std::int64_t>{{"extra", 7}, {"main", 2}}));
  EXPECT_EQ(store->entryValueForKey("unknown"), std::nullopt);
  EXPECT_EQ(store->entryForKey("unknown"), std::nullopt);
  EXPECT_EQ(store->getGroupVersion("unknown"), -1);
}

}  // namespace
}  // namespace tolvana
