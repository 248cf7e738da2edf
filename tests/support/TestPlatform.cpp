#include "tests/support/TestPlatform.h"

#include <chrono>

#include "platform/posix/CurlHttp.h"
#include "support/TLLog.h"

namespace tolvana::testing {

TestPlatform::TestPlatform() : TestPlatform(Value::Dictionary{{"CFBundleIdentifier", "io.tolvana.tests"}}) {}

TestPlatform::TestPlatform(Value::Dictionary info)
    : bundles(std::make_shared<MemoryBundles>(std::make_shared<MemoryBundle>("/app/Test.app", std::move(info)))),
      http(makeCurlHttp(dispatch)) {}

// Bounded: a task that never ends must not hang the whole test program.
TestPlatform::~TestPlatform() { dispatch->waitForBackground(std::chrono::seconds(30)); }

Platform::Ports TestPlatform::ports() const {
  return Platform::Ports{bundles, defaults, locale, device, dispatch, clock, ui, log, http};
}

Platform& TestPlatform::install() {
  Platform::Install(std::make_shared<Platform>(ports()));
  TLLog::resetTagForTesting();
  TLLog::sharedInstance().resetTagLevels();
  return Platform::Current();
}

void installPorts(const std::function<void(Platform::Ports&)>& change) {
  auto ports = Platform::Current().ports();
  change(ports);
  Platform::Install(std::make_shared<Platform>(ports));
}

}  // namespace tolvana::testing
