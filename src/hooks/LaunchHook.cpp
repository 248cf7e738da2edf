#include "hooks/LaunchHook.h"

#include <atomic>
#include <chrono>
#include <memory>
#include <thread>

#include "core/TLInternal.h"
#include "config/TLSettings.h"
#include "config/TLDeviceUtil.h"
#include "support/TLLog.h"
#include "sync/CompletionOnce.h"
#include "sync/UpdateClient.h"
#include "tolvana/platform/Platform.h"

namespace tolvana {

namespace {

std::atomic<bool> launched{false};

// Past the requests' own time-outs, for the answer's parse and the hops between queues.
constexpr std::chrono::seconds kMargin{3};

// The update runs on the global queue and its completion only raises a flag, so the waiting
// thread may be the main queue's own without a deadlock. An update that ends without its
// completion (an answer that is no JSON object, a failure inside) raises the flag as it lets
// the completion go; one that cannot end at all is given up once its requests' time-outs and
// a margin have passed, so that the host's launch goes on.
bool updateAndWait(const LaunchHook::Wait& wait) {
  struct Outcome {
    std::atomic<bool> done{false}, succeeded{false};
  };
  auto outcome = std::make_shared<Outcome>();
  const auto limit =
      std::chrono::duration_cast<std::chrono::steady_clock::duration>(UpdateClient::longestUpdate() + kMargin);
  const auto deadline = std::chrono::steady_clock::now() + limit;
  Platform::Current().dispatch().globalAsync([outcome] {
    TLInternal::sharedInstance()->updateGroups(std::nullopt, std::nullopt, false,
                                               completionOnce([outcome](bool success) {
                                                 outcome->succeeded = success;
                                                 outcome->done = true;
                                               }));
  });
  while (!outcome->done && std::chrono::steady_clock::now() < deadline) {
    if (wait) {
      wait();
    } else {
      std::this_thread::sleep_for(std::chrono::seconds(1));
    }
  }
  if (!outcome->done) {
    logWarning("The update did not end within %@ seconds; the app goes on without waiting for it.",
               std::to_string(std::chrono::duration_cast<std::chrono::seconds>(limit).count()));
    return false;
  }
  return outcome->succeeded;
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

bool LaunchHook::updateBlocking(const Wait& wait) { return updateAndWait(wait); }

void LaunchHook::forgetForTesting() { launched = false; }

}  // namespace tolvana
