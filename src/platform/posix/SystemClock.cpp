#include "platform/posix/SystemClock.h"

#include <time.h>

#include <typeinfo>

#include "platform/CoarseClock.h"

namespace tolvana {

namespace {

class SystemClock final : public Clock {
 public:
  double secondsSince1970() const override {
    return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
  }
  std::chrono::steady_clock::time_point monotonicNow() const override { return std::chrono::steady_clock::now(); }
};

}  // namespace

std::shared_ptr<Clock> makeSystemClock() { return std::make_shared<SystemClock>(); }

std::int64_t coarseMonotonicNanoseconds(const Clock& clock) { return CoarseClockReader(clock).nanoseconds(); }

CoarseClockReader::CoarseClockReader(const Clock& clock)
    : clock_(&clock), kernelTick_(typeid(clock) == typeid(SystemClock)) {}

// The steady clock reads CLOCK_MONOTONIC; its coarse twin counts from the same start.
std::int64_t CoarseClockReader::nanoseconds() const {
  timespec now;
  if (!kernelTick_ || clock_gettime(CLOCK_MONOTONIC_COARSE, &now) != 0) {
    return clock_ ? clock_->monotonicNanoseconds() : 0;
  }
  return std::int64_t(now.tv_sec) * 1'000'000'000 + now.tv_nsec;
}

}  // namespace tolvana
