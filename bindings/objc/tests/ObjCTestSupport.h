// What the Objective-C tests share. They run as the demo app (tests/with-demo-app and
// in-bundle): a German device, the demo's settings archive and the reference server.
#pragma once

#import <Foundation/Foundation.h>
#include <gtest/gtest.h>

#include <functional>
#include <ostream>
#include <string>

#include "tolvana/Value.h"

namespace tolvana {
// Failures show the kind with the value, since kinds are what the ports must keep.
inline void PrintTo(const Value& value, std::ostream* out) {
  *out << "kind " << static_cast<int>(value.type()) << ": " << value.description();
}
}  // namespace tolvana

// Turns the main thread's run loop until done() holds or the limit passes.
inline bool spinUntil(const std::function<bool()>& done, double limitSeconds = 30) {
  NSDate* limit = [NSDate dateWithTimeIntervalSinceNow:limitSeconds];
  while (!done() && [limit timeIntervalSinceNow] > 0) {
    NSAutoreleasePool* pool = [NSAutoreleasePool new];
    [[NSRunLoop mainRunLoop] runMode:NSDefaultRunLoopMode beforeDate:[NSDate dateWithTimeIntervalSinceNow:0.05]];
    [pool release];
  }
  return done();
}

inline std::string str(NSString* text) { return text ? [text UTF8String] : "(nil)"; }

// NSLocalizedString as an app calls it.
inline std::string localized(NSString* key) { return str(NSLocalizedString(key, @"")); }

// A bundle beside the app (a framework, a plug-in) with a table of its own.
inline NSBundle* makeBundle(NSString* name, NSDictionary* germanTable) {
  NSString* path = [NSTemporaryDirectory() stringByAppendingPathComponent:
      [NSString stringWithFormat:@"tolvana-objc-%d/%@", [[NSProcessInfo processInfo] processIdentifier], name]];
  NSString* lproj = [path stringByAppendingPathComponent:@"de.lproj"];
  [[NSFileManager defaultManager] createDirectoryAtPath:lproj withIntermediateDirectories:YES attributes:nil error:NULL];
  [[germanTable descriptionInStringsFileFormat] writeToFile:[lproj stringByAppendingPathComponent:@"Localizable.strings"]
                                                 atomically:YES
                                                   encoding:NSUTF8StringEncoding
                                                      error:NULL];
  return [NSBundle bundleWithPath:path];
}
