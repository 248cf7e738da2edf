#include "platform/fake/SimulatedClock.h"

namespace tolvana {

SimulatedClock::SimulatedClock(double secondsSince1970) : wall_(secondsSince1970) {}

double SimulatedClock::secondsSince1970() const { return wall_.load(); }

std::chrono::steady_clock::time_point SimulatedClock::monotonicNow() const {
  return std::chrono::steady_clock::time_point(std::chrono::milliseconds(monotonicMs_.load()));
}

void SimulatedClock::advance(std::chrono::milliseconds by) {
  // A monotonic clock never goes back; setSecondsSince1970 is the way to move wall time back.
  if (by.count() <= 0) return;
  monotonicMs_ += by.count();
  wall_.fetch_add(std::chrono::duration<double>(by).count());
}

void SimulatedClock::setSecondsSince1970(double seconds) { wall_.store(seconds); }

}  // namespace tolvana
