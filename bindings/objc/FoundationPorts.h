// FoundationPorts: the ports an Objective-C app answers through Foundation, so that its
// engine reads the sources such an app has: its main bundle (FoundationBundle.h), its
// standard user defaults, the preferred languages and current locale, and the main thread's
// run loop for the main queue. The other ports (device, network, clock, user interface, log)
// stay the library's own.
//
// Thread contract: that of the ports.
#pragma once

#include <memory>

#include "RunLoopDispatch.h"
#include "tolvana/platform/Locale.h"
#include "tolvana/platform/UserDefaults.h"

namespace tolvana::objc {

std::shared_ptr<UserDefaults> makeFoundationUserDefaults();
std::shared_ptr<Locale> makeFoundationLocale();
// The main queue on the main thread's run loop; base keeps it until that loop first turns.
std::shared_ptr<RunLoopDispatch> makeRunLoopDispatch(std::shared_ptr<Dispatch> base);

// Installs the ports above over the current platform, once; the library's load calls it,
// before anything can start the engine.
void installFoundationPlatform();

}  // namespace tolvana::objc
