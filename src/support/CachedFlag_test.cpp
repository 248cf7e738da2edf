#include "support/CachedFlag.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

namespace tolvana {
namespace {

TEST(CachedFlagTest, ComputesOnceAndKeepsWhatIsSetUntilCleared) {
  CachedFlag cached;
  int computations = 0;
  auto compute = [&] { ++computations; return true; };
  EXPECT_TRUE(cached.get(compute));
  EXPECT_TRUE(cached.get(compute));
  EXPECT_EQ(computations, 1);
  cached.set(false);
  EXPECT_FALSE(cached.get(compute));
  cached.clear();
  EXPECT_TRUE(cached.get(compute));
  EXPECT_EQ(computations, 2);
}

TEST(CachedFlagTest, AResultComputedBeforeAClearIsReturnedButNotKept) {
  CachedFlag cached;
  EXPECT_TRUE(cached.get([&] { cached.clear(); return true; }));
  EXPECT_FALSE(cached.get([] { return false; }));

  CachedFlag replaced;
  EXPECT_TRUE(replaced.get([&] { replaced.set(false); return true; }));
  EXPECT_FALSE(replaced.get([] { return true; }));
}

TEST(CachedFlagTest, ReadersRacingAWriterSeeTheComputedOrTheSetValue) {
  CachedFlag cached;
  std::atomic<bool> done{false};
  std::vector<std::thread> readers;
  for (int t = 0; t < 3; ++t) {
    readers.emplace_back([&] {
      while (!done) cached.get([] { return true; });
    });
  }
  for (int i = 0; i < 2000; ++i) i % 2 ? cached.set(false) : cached.clear();
  cached.set(false);
  done = true;
  for (auto& reader : readers) reader.join();
  EXPECT_FALSE(cached.get([] { return true; }));
}

}  // namespace
}  // namespace tolvana
