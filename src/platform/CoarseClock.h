// CoarseClock: a clock's monotonic time where a few milliseconds late will do. On the
// system's own clock it is read from the kernel's last tick, which costs a fifth of an exact
// reading; any other clock (one a host brings, the tests' hand-moved one) is read exactly.
//
// Thread contract: any thread.
#pragma once

#include <cstdint>
#include <memory>

#include "tolvana/platform/Clock.h"

namespace tolvana {

// Nanoseconds on clock.monotonicNanoseconds()'s scale, never ahead of it.
std::int64_t coarseMonotonicNanoseconds(const Clock& clock);

// The same reading of one clock, with the choice between the kernel's tick and the clock's own
// reading made once: for a caller that reads it on every look-up. It shares the clock, which may
// outlive the platform that brought it; one made without a clock reads 0.
class CoarseClockReader {
 public:
  CoarseClockReader() = default;
  explicit CoarseClockReader(std::shared_ptr<const Clock> clock);
  std::int64_t nanoseconds() const;

 private:
  std::shared_ptr<const Clock> clock_;
  bool kernelTick_ = false;
};

}  // namespace tolvana
