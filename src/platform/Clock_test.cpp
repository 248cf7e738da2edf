#include "platform/fake/SimulatedClock.h"

#include <gtest/gtest.h>

namespace tolvana {
namespace {

using namespace std::chrono_literals;

TEST(SimulatedClock, MovesOnlyWhenAdvancedAndNeverBack) {
  SimulatedClock clock(1000.0);
  auto start = clock.monotonicNow();
  clock.advance(10s);
  clock.advance(-5s);
  EXPECT_EQ(clock.monotonicNow() - start, 10s);
  EXPECT_DOUBLE_EQ(clock.secondsSince1970(), 1010.0);
  clock.setSecondsSince1970(5.0);  // wall time may jump; monotonic time stays
  EXPECT_DOUBLE_EQ(clock.secondsSince1970(), 5.0);
  EXPECT_EQ(clock.monotonicNow() - start, 10s);
}

}  // namespace
}  // namespace tolvana
