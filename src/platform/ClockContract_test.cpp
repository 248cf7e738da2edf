#include <gtest/gtest.h>

#include <thread>

#include "platform/fake/SimulatedClock.h"
#include "platform/posix/SystemClock.h"

namespace tolvana {
namespace {

using namespace std::chrono_literals;

// pass(d) lets d go by as the clock sees it: real time sleeps, simulated time is advanced.
struct SystemHarness {
  std::shared_ptr<Clock> clock = makeSystemClock();
  void pass(std::chrono::milliseconds by) { std::this_thread::sleep_for(by); }
};
struct SimulatedHarness {
  std::shared_ptr<SimulatedClock> simulated = std::make_shared<SimulatedClock>();
  std::shared_ptr<Clock> clock = simulated;
  void pass(std::chrono::milliseconds by) { simulated->advance(by); }
};

template <class Harness>
struct ClockContract : ::testing::Test {
  Harness h;
};
using Implementations = ::testing::Types<SystemHarness, SimulatedHarness>;
TYPED_TEST_SUITE(ClockContract, Implementations);

// Between 2020 and 2100: a clock that counts from another epoch or in other units falls out.
bool saneWallTime(double seconds) { return seconds > 1577836800.0 && seconds < 4102444800.0; }

TYPED_TEST(ClockContract, MonotonicTimeNeverGoesBackOnAnyThread) {
  std::atomic<bool> stop{false};
  std::thread mover([&] {
    while (!stop) this->h.pass(1ms);
  });
  std::vector<std::thread> readers;
  std::atomic<int> backwards{0}, insane{0};
  for (int t = 0; t < 4; ++t) {
    readers.emplace_back([&] {
      auto last = this->h.clock->monotonicNow();
      for (int i = 0; i < 20000; ++i) {
        auto now = this->h.clock->monotonicNow();
        backwards += now < last;
        insane += !saneWallTime(this->h.clock->secondsSince1970());
        last = now;
      }
    });
  }
  for (auto& reader : readers) reader.join();
  stop = true;
  mover.join();
  EXPECT_EQ(backwards, 0);
  EXPECT_EQ(insane, 0);
}

TYPED_TEST(ClockContract, TimeThatPassesShowsOnBothClocks) {
  auto& clock = *this->h.clock;
  auto start = clock.monotonicNow();
  double wallStart = clock.secondsSince1970();
  this->h.pass(50ms);
  EXPECT_GE(clock.monotonicNow() - start, 50ms);
  // Wall time may be slewed a little, never by a good part of the interval.
  EXPECT_GT(clock.secondsSince1970() - wallStart, 0.04);
}

}  // namespace
}  // namespace tolvana
