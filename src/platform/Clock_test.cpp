#include <gtest/gtest.h>

#include <ctime>

#include "platform/fake/SimulatedClock.h"
#include "platform/posix/SystemClock.h"

namespace tolvana {
namespace {

using namespace std::chrono_literals;

TEST(ClockContract, MonotonicTimeNeverGoesBack) {
  std::shared_ptr<Clock> implementations[] = {makeSystemClock(), std::make_shared<SimulatedClock>()};
  for (const auto& clock : implementations) {
    auto before = clock->monotonicNow();
    EXPECT_GE(clock->monotonicNow(), before);
  }
  EXPECT_NEAR(makeSystemClock()->secondsSince1970(), static_cast<double>(std::time(nullptr)), 2.0);
}

TEST(SimulatedClock, MovesOnlyWhenAdvanced) {
  SimulatedClock clock(1000.0);
  auto start = clock.monotonicNow();
  EXPECT_EQ(clock.monotonicNow(), start);
  clock.advance(10s);
  clock.advance(-5s);  // ignored: monotonic time does not go back
  EXPECT_EQ(clock.monotonicNow() - start, 10s);
  EXPECT_DOUBLE_EQ(clock.secondsSince1970(), 1010.0);
  clock.setSecondsSince1970(5.0);
  EXPECT_DOUBLE_EQ(clock.secondsSince1970(), 5.0);
  EXPECT_EQ(clock.monotonicNow() - start, 10s);
}

}  // namespace
}  // namespace tolvana
