// LaunchHook: the first update at the host's launch, and the blocking update of the bundle
// hook. Both wait for an update in whole-second steps through a function the toolkit
// adapter supplies, which keeps its event loop running meanwhile.
//
// Thread contract: launch() and updateBlocking() block their caller; the gate may be asked
// from any thread.
#pragma once

#include <functional>

namespace tolvana {

class LaunchHook {
 public:
  using Wait = std::function<void()>;
  // True on the first call of the process only, and then only with autostart on and, when
  // a test runner hosts the app, autostart for tests on.
  static bool once();
  static void launch(const Wait& wait);
  // True when the update ended with the server's answer taken.
  static bool updateBlocking(const Wait& wait);
  // Lets the next call of once() count as the first, as in a new process.
  static void forgetForTesting();
};

}  // namespace tolvana
