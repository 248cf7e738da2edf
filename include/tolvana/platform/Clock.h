// Clock: wall time and a monotonic time for delays.
//
// Thread contract: every method may be called from any thread, concurrently.
#pragma once

#include <chrono>
#include <cstdint>

#include "tolvana/Export.h"

namespace tolvana {

class TOLVANA_EXPORT Clock {
 public:
  virtual ~Clock() = default;
  // Seconds since 1970-01-01 UTC, with fractions.
  virtual double secondsSince1970() const = 0;
  // A monotonic time point, for delays and time-outs.
  virtual std::chrono::steady_clock::time_point monotonicNow() const = 0;
  // The same in nanoseconds, the unit kept answers and outside-change checks are stamped in.
  std::int64_t monotonicNanoseconds() const {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(monotonicNow().time_since_epoch()).count();
  }
};

}  // namespace tolvana
