#include "store/TLReadIndex.h"

#include <gtest/gtest.h>

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
    std::string key = "k" + std::to_string(random() % 3000);
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
  for (const char* absent : {"", "k3000", "k1 ", "K1"}) EXPECT_FALSE(index.find(absent)) << absent;
  // Replaced rows do not pile up: the arena stays near the live bytes.
  std::size_t live = 0;
  for (const auto& [key, row] : model) live += key.size() + row.first.size() + row.second.size();
  EXPECT_LT(index.memoryBytes(), 3 * live + 64 * model.size());
}

}  // namespace
}  // namespace tolvana
