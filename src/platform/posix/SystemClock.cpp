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

// The steady clock reads CLOCK_MONOTONIC; its coarse twin counts from the same start.
std::int64_t coarseReading(const Clock& clock, bool kernelTick) {
  timespec now;
  if (!kernelTick || clock_gettime(CLOCK_MONOTONIC_COARSE, &now) != 0) return clock.monotonicNanoseconds();
  return std::int64_t(now.tv_sec) * 1'000'000'000 + now.tv_nsec;
}

bool readsKernelTick(const Clock& clock) { return typeid(clock) == typeid(SystemClock); }

}  // namespace

std::shared_ptr<Clock> makeSystemClock() { return std::make_shared<SystemClock>(); }

std::int64_t coarseMonotonicNanoseconds(const Clock& clock) { return coarseReading(clock, readsKernelTick(clock)); }

CoarseClockReader::CoarseClockReader(std::shared_ptr<const Clock> clock)
    : clock_(std::move(clock)), kernelTick_(clock_ && readsKernelTick(*clock_)) {}

std::int64_t CoarseClockReader::nanoseconds() const { return clock_ ? coarseReading(*clock_, kernelTick_) : 0; }

}  // namespace tolvana
