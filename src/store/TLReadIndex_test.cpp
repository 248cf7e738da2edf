#include "store/TLReadIndex.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <random>
#include <string>

namespace tolvana {
namespace {

// Many inserts and replacements across growth and arena rebuilds answer like a map.
TEST(TLReadIndexTest, AnswersLikeAMapThroughGrowthAndCompaction) {
  TLReadIndex index;
  std::map<std::string, std::pair<std::string, std::string>> model;
  std::mt19937 random(7);
  for (int n = 0; n < 20000; ++n) {
    // Short keys and long ones that differ only in the middle, as a screen's keys do.
    const auto number = std::to_string(random() % 3000);
    std::string key = n % 2 ? "k" + number : "onboarding.page" + number + ".title";
    std::string value(random() % 40, static_cast<char>('a' + n % 26));
    std::string draft = n % 3 ? "" : "d" + std::to_string(n);
    index.put(key, value, draft);
    model[key] = {value, draft};
  }
  index.put("", "ignored", "");
  ASSERT_EQ(index.size(), model.size());
  for (const auto& [key, row] : model) {
    auto found = index.find(key);
    ASSERT_TRUE(found) << key;
    EXPECT_EQ(found->value, row.first) << key;
    EXPECT_EQ(found->draft, row.second) << key;
  }
  for (const char* absent : {"", "k3000", "k1 ", "K1", "onboarding.page3000.title", "onboarding.page1.titl"}) {
    EXPECT_FALSE(index.find(absent)) << absent;
  }
  // Replaced rows do not pile up: the arena stays near the live bytes.
  std::size_t live = 0;
  for (const auto& [key, row] : model) live += key.size() + row.first.size() + row.second.size();
  EXPECT_LT(index.memoryBytes(), 3 * live + 64 * model.size());
}

// Bytes come back from disk: they read back whole, and damaged ones are refused or, where
// the damage stays inside them, answer without reading out of bounds or probing forever.
TEST(TLReadIndexTest, BytesReadBackAndDamagedBytesAreRefusedOrStayInBounds) {
  TLReadIndex index;
  for (int n = 0; n < 300; ++n) index.put("key" + std::to_string(n), "value" + std::to_string(n), n % 2 ? "d" : "");
  std::string bytes;
  index.appendTo(bytes);
  auto copy = TLReadIndex::fromBytes(bytes);
  ASSERT_TRUE(copy);
  EXPECT_EQ(copy->size(), 300u);
  EXPECT_EQ(copy->find("key7")->value, "value7");
  EXPECT_EQ(copy->find("key7")->draft, "d");
  copy->put("key7", "changed", "");
  EXPECT_EQ(copy->find("key7")->value, "changed");

  for (std::size_t length : {std::size_t{0}, std::size_t{8}, std::size_t{40}, bytes.size() - 1}) {
    EXPECT_FALSE(TLReadIndex::fromBytes(std::string_view(bytes).substr(0, length))) << length;
  }
  // Every slot taken while the count still says 300: a probe for an absent key would never
  // stop. (A 32-byte header with the slot count at 8, then slots of 8 bytes, the entry's
  // offset plus one at 4.)
  std::uint64_t slotCount = 0;
  std::memcpy(&slotCount, bytes.data() + 8, sizeof slotCount);
  std::string full = bytes;
  for (std::uint64_t slot = 0; slot < slotCount; ++slot) {
    char* entry = full.data() + 32 + slot * 8 + 4;
    if (std::all_of(entry, entry + 4, [](char c) { return c == 0; })) entry[0] = 1;
  }
  EXPECT_FALSE(TLReadIndex::fromBytes(full));
  std::mt19937 random(11);
  for (int round = 0; round < 2000; ++round) {
    std::string damaged = bytes;
    for (int flips = 0; flips < 4; ++flips) damaged[random() % damaged.size()] ^= static_cast<char>(1 + random() % 255);
    if (auto read = TLReadIndex::fromBytes(damaged)) {
      for (int n = 0; n < 300; n += 7) read->find("key" + std::to_string(n));
      read->find("absent");
    }
  }
}

}  // namespace
}  // namespace tolvana
