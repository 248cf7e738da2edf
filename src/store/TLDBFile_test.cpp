#include "store/TLDBFile.h"

#include <gtest/gtest.h>

#include <fstream>

#include "platform/PropertyList.h"
#include "tests/support/TempDir.h"
#include "tests/support/TestPlatform.h"

namespace tolvana {
namespace {

using testing::TempDir;
using testing::TestPlatform;

class TLDBFileTest : public ::testing::Test {
 protected:
  TLDBFileTest() { platform.install(); }
  TestPlatform platform;
  TempDir dir;
  std::string path = dir.file("de.dict");
};

TEST_F(TLDBFileTest, WritesReachTheFileOnlyThroughSave) {
  auto store = TLDBFile::initWithPath(path);
  store->createOrUpdateEntry("k", "v", std::nullopt);
  store->close();
  EXPECT_EQ(store->entryValueForKey("k"), std::nullopt);
  store->open(false);
  EXPECT_EQ(store->entryValueForKey("k"), std::nullopt);

  store->createOrUpdateEntry("k", "v", std::nullopt);
  store->save();
  EXPECT_EQ(TLDBFile::initWithPath(path)->entryValueForKey("k"), "v");
}

TEST_F(TLDBFileTest, FileKeepsPrefixedRowsWithoutAbsentPartsAndOffersNoListing) {
  auto store = TLDBFile::initWithPath(path);
  store->createOrUpdateEntry("k", "v", std::nullopt);
  store->createOrUpdateEntry("e", "", "d");
  store->createOrUpdateEntry("a", std::nullopt, "d");
  store->createOrUpdateGroup("main", 12);
  EXPECT_EQ(store->entryList(), std::nullopt);
  EXPECT_EQ(store->entryValueForKey("a"), std::nullopt);
  EXPECT_EQ(store->entryValueForKey("e"), "");
  store->save();
  Value expected = Value::Dictionary{
      {"ENTRY\xEF\xB9\x95k", Value::Dictionary{{"value", "v"}}},
      {"ENTRY\xEF\xB9\x95" "e", Value::Dictionary{{"value", ""}, {"draft", "d"}}},
      {"ENTRY\xEF\xB9\x95" "a", Value::Dictionary{{"draft", "d"}}},
      {"GROUP\xEF\xB9\x95main", Value::Dictionary{{"name", "main"}, {"version", 12}}},
  };
  EXPECT_EQ(plist::readFile(path), expected);
}

TEST_F(TLDBFileTest, UnreadableFileStartsAnEmptyStore) {
  std::ofstream(path) << "not a property list";
  auto store = TLDBFile::initWithPath(path);
  EXPECT_EQ(store->getGroupVersion("main"), -1);
  store->createOrUpdateGroup("main", 2);
  EXPECT_EQ(store->getGroupVersion("main"), 2);
}

}  // namespace
}  // namespace tolvana
