#import "AppKitHooks.h"

#import <Foundation/Foundation.h>
#include <objc/runtime.h>

#include <atomic>
#include <mutex>

#import "AssociatedObjects.h"
#import "FoundationScope.h"
#import "tolvana/objc/TLSwizzle.h"
#include "tolvana/Hooks.h"

// What AppKit's controls answer, declared here since AppKit's headers are not included.
@interface NSObject (TolvanaControlText)
- (NSString*)stringValue;
- (NSString*)string;
@end

// Never instantiated: the source of the methods the hooks give NSTextField.
@interface TolvanaTextFieldHooks : NSObject
- (void)TL_setStringValue:(NSString*)value;
- (void)TL_setAttributedStringValue:(id)value;
- (id)TL_awakeAfterUsingCoder:(NSCoder*)coder;
- (NSString*)tolvanaKey;
- (void)setTolvanaKey:(NSString*)key;
@end

namespace {
const char kLabelKey = 0;
}  // namespace

@implementation TolvanaTextFieldHooks

- (NSString*)tolvanaKey {
  return tolvana::objc::associatedObject(self, &kLabelKey);
}

- (void)setTolvanaKey:(NSString*)key {
  NSString* copy = [key copy];
  tolvana::objc::setAssociatedObject(self, &kLabelKey, copy);
  [copy release];
}

// Only a tagged text replaces the field's key: a plain text set later leaves the field named
// after the key it showed before.
- (void)TL_setStringValue:(NSString*)value {
  if (NSString* key = [value tolvanaKey]) [self setTolvanaKey:key];
  [self TL_setStringValue:value];
}

- (void)TL_setAttributedStringValue:(id)value {
  if (NSString* key = [[value string] tolvanaKey]) [self setTolvanaKey:key];
  [self TL_setAttributedStringValue:value];
}

- (id)TL_awakeAfterUsingCoder:(NSCoder*)coder {
  id result = [self TL_awakeAfterUsingCoder:coder];
  if (NSString* key = [[result stringValue] tolvanaKey]) [self setTolvanaKey:key];
  return result;
}

@end

// Receives the app's launch notification; the class itself observes.
@interface TolvanaLaunchObserver : NSObject
+ (void)applicationWillFinishLaunching:(NSNotification*)notification;
@end

@implementation TolvanaLaunchObserver
// Inside -finishLaunching, before the app's delegate builds its first windows: an AppKit app's
// launch, which with "TolvanaWaitOnAppStart" waits here for the first update.
+ (void)applicationWillFinishLaunching:(NSNotification*)notification {
  tolvana::objc::installAppKitHooks();
  tolvana::TolvanaHooks::launch({});
}
@end

namespace tolvana::objc {

void installAppKitHooks() {
  static std::atomic<bool> installed{false};
  static std::mutex mutex;
  if (installed.load() || !TolvanaHooks::autostartEnabled()) return;
  std::lock_guard lock(mutex);
  Class field = objc_getClass("NSTextField");
  if (installed.load() || !field) return;
  Class source = [TolvanaTextFieldHooks class];
  TL_swizzleNamedInstanceMethod(@"NSTextField", @"setStringValue:", source, @selector(TL_setStringValue:));
  TL_swizzleNamedInstanceMethod(@"NSTextField", @"setAttributedStringValue:", source,
                                @selector(TL_setAttributedStringValue:));
  TL_swizzleNamedInstanceMethod(@"NSTextField", @"awakeAfterUsingCoder:", source, @selector(TL_awakeAfterUsingCoder:));
  for (SEL accessor : {@selector(tolvanaKey), @selector(setTolvanaKey:)}) {
    Method method = class_getInstanceMethod(source, accessor);
    class_addMethod(field, accessor, method_getImplementation(method), method_getTypeEncoding(method));
  }
  installed = true;
}

void watchApplicationLaunch() {
  guarded("watchApplicationLaunch", 0, [] {
    [[NSNotificationCenter defaultCenter] addObserver:[TolvanaLaunchObserver class]
                                             selector:@selector(applicationWillFinishLaunching:)
                                                 name:@"NSApplicationWillFinishLaunchingNotification"
                                               object:nil];
    return 0;
  });
}

}  // namespace tolvana::objc
