#include "hooks/LaunchHook.h"

#include <atomic>
#include <chrono>
#include <memory>
#include <thread>

#include "core/TLInternal.h"
#include "config/TLSettings.h"
#include "config/TLDeviceUtil.h"
#include "tolvana/platform/Platform.h"

namespace tolvana {

namespace {

std::atomic<bool> launched{false};

// The update runs on the global queue and its completion only raises a flag, so the waiting
// thread may be the main queue's own without a deadlock.
void updateAndWait(const LaunchHook::Wait& wait) {
  auto done = std::make_shared<std::atomic<bool>>(false);
  Platform::Current().dispatch().globalAsync([done] {
    TLInternal::sharedInstance()->updateGroups(std::nullopt, std::nullopt, false, [done](bool) { *done = true; });
  });
  while (!*done) {
    if (wait) {
      wait();
    } else {
      std::this_thread::sleep_for(std::chrono::seconds(1));
    }
  }
}

}  // namespace

bool LaunchHook::once() {
  if (launched.exchange(true)) return false;
  return TLSettings::autostartEnabled() && (!TLDeviceUtil::isRunningTests() || TLSettings::autostartEnabledForTests());
}

void LaunchHook::launch(const Wait& wait) {
  if (!once() || !TLSettings::enableInitialUpdate()) return;
  if (!TLSettings::waitOnAppStart()) {
    TLInternal::sharedInstance()->updateGroups(std::nullopt, std::nullopt, true, [](bool) {});
    return;
  }
  updateAndWait(wait);
}

void LaunchHook::updateBlocking(const Wait& wait) { updateAndWait(wait); }

void LaunchHook::forgetForTesting() { launched = false; }

}  // namespace tolvana
