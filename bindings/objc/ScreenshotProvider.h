// ScreenshotProvider: an Objective-C TolvanaScreenshotInterface as the engine's C++ provider.
//
// The engine holds its provider weakly, and so does this bridge: the C++ object lives beside
// the Objective-C one (AssociatedObjects) and goes when it is deallocated, which is when the
// engine's reference runs out.
#pragma once

#import <Foundation/Foundation.h>

#include <memory>

#include "tolvana/TolvanaScreenshotInterface.h"

namespace tolvana::objc {

// The bridge of a provider whose class declares the protocol; the same one on every call.
std::shared_ptr<TolvanaScreenshotInterface> screenshotProviderFor(id provider);

}  // namespace tolvana::objc
