#import "tolvana/objc/TLSwizzle.h"
#import "tolvana/objc/Tolvana.h"

#include <atomic>
#include <mutex>
#include <set>

#import "AppKitHooks.h"
#import "FoundationBundle.h"
#import "FoundationPorts.h"
#import "FoundationScope.h"
#import "FoundationValue.h"
#include "tolvana/Hooks.h"

@interface NSBundle (TolvanaHook)
- (NSString*)TL_localizedStringForKey:(NSString*)key value:(NSString*)value table:(NSString*)table;
- (BOOL)TL_swizzleBundleActive;
@end

namespace tolvana::objc {

namespace {

bool servedByEngine(NSBundle* bundle) {
  return bundle == [NSBundle mainBundle] || TolvanaHooks::servesOtherBundle(*wrapBundle(bundle));
}

// A Foundation tool has no launch method to hook: its first look-up is the moment its first
// screen would appear, and with "TolvanaWaitOnAppStart" it waits there for the first update.
// Later look-ups, also on other threads meanwhile, do not wait.
void launchOnFirstLookUp() {
  static std::atomic<bool> launched{false};
  if (launched.load(std::memory_order_relaxed) || launched.exchange(true)) return;
  installAppKitHooks();
  TolvanaHooks::launch({});
}

}  // namespace

NSString* platformLocalizedString(NSBundle* bundle, NSString* key, NSString* value, NSString* table) {
  if ([bundle TL_swizzleActive]) return [bundle TL_localizedStringForKey:key value:value table:table];
  return [bundle localizedStringForKey:key value:value table:table];
}

}  // namespace tolvana::objc

@implementation NSBundle (Tolvana)

+ (void)load {
  NSAutoreleasePool* pool = [NSAutoreleasePool new];
  tolvana::objc::installFoundationPlatform();
  [self loadTolvana];
  if (tolvana::TolvanaHooks::autostartEnabled()) {
    tolvana::objc::installAppKitHooks();
    tolvana::objc::watchApplicationLaunch();
  }
  [pool release];
}

// Installed once per class, however many threads ask at once: a second exchange would undo
// the first.
+ (void)loadTolvana {
  static std::mutex mutex;
  static auto* installed = new std::set<Class>;  // never destroyed: threads may ask during exit
  if (!tolvana::TolvanaHooks::autostartEnabled()) return;
  std::lock_guard lock(mutex);
  if (!installed->insert(self).second) return;
  TL_swizzleInstanceMethod(self, @selector(localizedStringForKey:value:table:),
                           @selector(TL_localizedStringForKey:value:table:));
  TL_swizzleInstanceMethod(self, @selector(TL_swizzleActive), @selector(TL_swizzleBundleActive));
}

+ (void)updateTolvana {
  tolvana::TolvanaHooks::updateBlocking({});
}

- (void)ensureBundleSwizzleActive {
  if (![self TL_swizzleActive]) [[self class] loadTolvana];
}

- (BOOL)TL_swizzleActive {
  return NO;
}

@end

@implementation NSBundle (TolvanaHook)

- (BOOL)TL_swizzleBundleActive {
  return YES;
}

- (NSString*)TL_localizedStringForKey:(NSString*)key value:(NSString*)value table:(NSString*)table {
  using namespace tolvana::objc;
  if (!key || !servedByEngine(self)) return [self TL_localizedStringForKey:key value:value table:table];
  launchOnFirstLookUp();
  auto answer = tolvana::TolvanaHooks::lookUpInBundle(toString(key), toOptionalString(value), toOptionalString(table),
                                                      wrapBundle(self));
  NSString* text = toNSString(answer.text);
  if (!text) return [self TL_localizedStringForKey:key value:value table:table];
  if (answer.key) [text setTolvanaKey:toNSString(*answer.key)];
  return text;
}

@end
