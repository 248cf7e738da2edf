// Platform: the one object through which the engine reaches the operating system.
//
// Like an Env, it aggregates small ports (bundles, user defaults, locale, device, dispatch,
// clock, network, user interface, log sink). Platform::Current() starts as the Linux implementation;
// an adapter or a test installs another, or the default with some ports replaced, before the
// engine starts:
//
//   auto ports = Platform::Current().ports();
//   ports.ui = std::make_shared<MyToolkitUi>();
//   Platform::Install(std::make_shared<Platform>(ports));
//
// Thread contract: Current() may be called from any thread. Install() is meant for start-up,
// for a toolkit's application object made anew, and for tests. The platform it replaces is
// released, with the threads its ports own, once nothing holds it: the library asks for the
// current platform afresh at each use and keeps no reference past the call that obtained it,
// so replace a platform only while no other thread is inside a call of the library.
#pragma once

#include <memory>

#include "tolvana/Export.h"
#include "tolvana/platform/Bundle.h"
#include "tolvana/platform/Clock.h"
#include "tolvana/platform/Device.h"
#include "tolvana/platform/Dispatch.h"
#include "tolvana/platform/Http.h"
#include "tolvana/platform/Locale.h"
#include "tolvana/platform/LogSink.h"
#include "tolvana/platform/Ui.h"
#include "tolvana/platform/UserDefaults.h"

namespace tolvana {

class TOLVANA_EXPORT Platform final {
 public:
  struct Ports {
    std::shared_ptr<Bundles> bundles;
    std::shared_ptr<UserDefaults> userDefaults;
    std::shared_ptr<Locale> locale;
    std::shared_ptr<Device> device;
    std::shared_ptr<Dispatch> dispatch;
    std::shared_ptr<Clock> clock;
    std::shared_ptr<Ui> ui;
    std::shared_ptr<LogSink> logSink;
    std::shared_ptr<Http> http;
  };

  // Every port must be set.
  explicit Platform(Ports ports);
  // Lets the dispatch go first, so that tasks still running finish while the other ports
  // are there.
  ~Platform();

  Bundles& bundles() const { return *ports_.bundles; }
  UserDefaults& userDefaults() const { return *ports_.userDefaults; }
  Locale& locale() const { return *ports_.locale; }
  Device& device() const { return *ports_.device; }
  Dispatch& dispatch() const { return *ports_.dispatch; }
  Clock& clock() const { return *ports_.clock; }
  Ui& ui() const { return *ports_.ui; }
  LogSink& logSink() const { return *ports_.logSink; }
  Http& http() const { return *ports_.http; }
  const Ports& ports() const { return ports_; }

  // The Linux implementation of every port, created on first use and never destroyed.
  static Platform& Default();
  static Platform& Current();
  static void Install(std::shared_ptr<Platform> platform);

 private:
  Ports ports_;
};

}  // namespace tolvana
