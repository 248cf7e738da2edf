// FoundationBundle: the Bundle and Bundles ports over NSBundle, so that the engine reads the
// app's Info.plist, resources and .lproj tables where Foundation finds them.
//
// Thread contract: that of the ports; NSBundle's own methods are safe from any thread.
#pragma once

#import <Foundation/Foundation.h>

#include <memory>

#include "tolvana/platform/Bundle.h"

namespace tolvana::objc {

// The platform's own look-up of the bundle, also while the look-up hook is installed.
NSString* platformLocalizedString(NSBundle* bundle, NSString* key, NSString* value, NSString* table);

// A port for one NSBundle; it keeps the bundle alive.
std::shared_ptr<const Bundle> wrapBundle(NSBundle* bundle);
std::shared_ptr<Bundles> makeFoundationBundles();

}  // namespace tolvana::objc
