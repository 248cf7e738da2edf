// AppKitHooks: the hooks of an AppKit app, installed without linking AppKit (a Foundation tool
// must not load it): the key tag follows texts into text fields, and the app's launch is held
// for the first update while its first windows are still to come.
//
// AppKit's classes are registered when its library initialises, which may be after this
// library's; the hooks are tried at load, at the first look-up and when the app is about to
// finish launching, and installed the first time AppKit is there.
//
// Thread contract: any thread; the launch notification comes on the main thread.
#pragma once

namespace tolvana::objc {

// Installs the text-field hooks once AppKit's classes exist, and only with autostart on;
// nothing before, nothing again.
void installAppKitHooks();
// Waits for the app's launch notification to start the first update.
void watchApplicationLaunch();

}  // namespace tolvana::objc
