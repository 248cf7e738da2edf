#include "support/ReadEpoch.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <string>
#include <thread>
#include <vector>

#include "support/PublishedValue.h"

namespace tolvana {
namespace {

using namespace std::chrono_literals;

// What a retired object may still be read through: freed only after the sections that could
// have seen it, and synchronize() waits for them.
TEST(ReadEpochTest, RetiredObjectsOutliveTheSectionsThatMaySeeThem) {
  std::atomic<int> freed{0};
  std::promise<void> inside, leave;
  std::thread reader([&] {
    ReadEpoch::Section section;
    {
      ReadEpoch::Section nested;  // leaving a nested section leaves the outer one open
    }
    inside.set_value();
    leave.get_future().wait();
  });
  inside.get_future().wait();
  ReadEpoch::retire([&] { ++freed; });
  EXPECT_EQ(freed, 0);
  auto synchronized = std::async(std::launch::async, [] { return ReadEpoch::synchronize(); });
  EXPECT_EQ(synchronized.wait_for(50ms), std::future_status::timeout);
  leave.set_value();
  EXPECT_TRUE(synchronized.get());
  reader.join();
  EXPECT_EQ(freed, 1);

  // Nothing reads it: freed at once. Inside a section, synchronize would wait for itself.
  ReadEpoch::retire([&] { ++freed; });
  EXPECT_EQ(freed, 2);
  {
    ReadEpoch::Section section;
    EXPECT_FALSE(ReadEpoch::synchronize());
    ReadEpoch::retire([&] { ++freed; });
    EXPECT_EQ(freed, 2);
  }
  EXPECT_TRUE(ReadEpoch::synchronize());
  EXPECT_EQ(freed, 3);
}

TEST(PublishedValueTest, ComputesOnceAndAgainAfterAClearButKeepsNoResultOfAnOlderGeneration) {
  PublishedValue<std::string> value;
  int computations = 0;
  ReadEpoch::Section section;
  EXPECT_EQ(value.get([&] { ++computations; return std::string("de-AT"); }), "de-AT");
  EXPECT_EQ(value.get([&] { ++computations; return std::string("fr"); }), "de-AT");
  EXPECT_EQ(computations, 1);
  value.clear();
  EXPECT_EQ(value.get([] { return std::string("fr"); }), "fr");
  value.clear();
  EXPECT_EQ(value.get([&] { value.clear(); return std::string("stale"); }), "stale");
  EXPECT_EQ(value.get([] { return std::string("it"); }), "it");
}

// Readers hold references across clears on another thread: under the sanitizers a value
// freed too early shows up here.
TEST(PublishedValueTest, ReadersKeepTheirValueWhileAnotherThreadClears) {
  PublishedValue<std::string> value;
  std::atomic<bool> done{false};
  std::atomic<int> strange{0};
  std::vector<std::thread> readers;
  for (int t = 0; t < 3; ++t) {
    readers.emplace_back([&] {
      while (!done) {
        ReadEpoch::Section section;
        const std::string& seen = value.get([] { return std::string(40, 'x'); });
        std::this_thread::yield();
        if (seen != std::string(40, 'x')) ++strange;
      }
    });
  }
  for (int i = 0; i < 3000; ++i) value.clear();
  done = true;
  for (auto& reader : readers) reader.join();
  EXPECT_EQ(strange, 0);
}

}  // namespace
}  // namespace tolvana
