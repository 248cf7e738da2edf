#include "platform/posix/SystemClock.h"

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

}  // namespace tolvana
