// A Clock that moves only when a test says so.
#pragma once

#include <atomic>
#include <chrono>

#include "tolvana/platform/Clock.h"

namespace tolvana {

class SimulatedClock final : public Clock {
 public:
  explicit SimulatedClock(double secondsSince1970 = 1700000000.0);
  double secondsSince1970() const override;
  std::chrono::steady_clock::time_point monotonicNow() const override;
  void advance(std::chrono::milliseconds by);
  void setSecondsSince1970(double seconds);

 private:
  std::atomic<double> wall_;
  std::atomic<std::int64_t> monotonicMs_{0};
};

}  // namespace tolvana
