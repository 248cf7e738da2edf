// A platform for tests: in-memory user defaults, a fixed locale, a fake device, a manually
// drained main queue on a simulated clock, a recording UI and a log capture, around a main
// bundle the test chooses. install() makes it current and forgets the logger's cached tag
// and thresholds, so each test reads its own Info.plist. Its end waits for the work its
// dispatch runs in the background (requests, their completions): that work reaches the
// current platform, which the next test replaces.
#pragma once

#include <functional>
#include <memory>

#include "platform/fake/FakeDevice.h"
#include "platform/fake/FixedLocale.h"
#include "platform/fake/ManualDispatch.h"
#include "platform/fake/MemoryBundle.h"
#include "platform/fake/MemoryUserDefaults.h"
#include "platform/fake/SimulatedClock.h"
#include "platform/headless/RecordingUi.h"
#include "tests/support/LogCapture.h"
#include "tolvana/platform/Platform.h"

namespace tolvana::testing {

struct TestPlatform {
  TestPlatform();
  // A main bundle held in memory with this Info.plist.
  explicit TestPlatform(Value::Dictionary info);
  ~TestPlatform();
  TestPlatform(const TestPlatform&) = delete;
  TestPlatform& operator=(const TestPlatform&) = delete;

  std::shared_ptr<Bundles> bundles;
  std::shared_ptr<MemoryUserDefaults> defaults = std::make_shared<MemoryUserDefaults>();
  std::shared_ptr<FixedLocale> locale = std::make_shared<FixedLocale>();
  std::shared_ptr<FakeDevice> device = std::make_shared<FakeDevice>();
  std::shared_ptr<SimulatedClock> clock = std::make_shared<SimulatedClock>();
  std::shared_ptr<ManualDispatch> dispatch = std::make_shared<ManualDispatch>(clock);
  std::shared_ptr<RecordingUi> ui = std::make_shared<RecordingUi>();
  std::shared_ptr<LogCapture> log = std::make_shared<LogCapture>();
  // Real requests over libcurl; a test that trusts its own server's certificate replaces it.
  std::shared_ptr<Http> http;

  Platform::Ports ports() const;
  // Makes this platform current; returns it.
  Platform& install();
};

// Swaps ports of whatever platform is current, for a test that brings its own after the
// fixture installed the rest.
void installPorts(const std::function<void(Platform::Ports&)>& change);

}  // namespace tolvana::testing
