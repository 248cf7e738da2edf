// The runtime hooks: the three exchange functions on classes made for the test, the bundle
// look-up hook with its decision which bundles the engine serves (one process per
// configuration, since the Info.plist is read once), and the key tag on strings.
#import "ObjCTestSupport.h"
#import "tolvana/objc/TLSwizzle.h"
#import "tolvana/objc/Tolvana.h"

#include <objc/runtime.h>


@interface HookedBase : NSObject
- (NSString*)greeting;
+ (NSString*)kind;
@end
@implementation HookedBase
- (NSString*)greeting {
  return @"base";
}
+ (NSString*)kind {
  return @"base kind";
}
@end

// Inherits -greeting.
@interface HookedInheriting : HookedBase
@end
@implementation HookedInheriting
@end

@interface HookedOwning : HookedBase
@end
@implementation HookedOwning
- (NSString*)greeting {
  return @"own";
}
@end

@interface HookedBase (Replacements)
- (NSString*)TL_greeting;
+ (NSString*)TL_kind;
@end
@implementation HookedBase (Replacements)
- (NSString*)TL_greeting {
  return [@"hooked " stringByAppendingString:[self TL_greeting]];
}
+ (NSString*)TL_kind {
  return [@"hooked " stringByAppendingString:[self TL_kind]];
}
@end

// The same replacement as the named exchange takes it, from a class of its own.
@interface HookSource : NSObject
- (NSString*)TL_namedGreeting;
@end
@implementation HookSource
- (NSString*)TL_namedGreeting {
  return [@"named " stringByAppendingString:[self TL_namedGreeting]];
}
@end

// A key that tells when it is released, which is when the string it tags has gone.
@interface ObservedKey : NSString {
 @public
  bool* released;
}
@end
@implementation ObservedKey
- (NSUInteger)length {
  return 3;
}
- (unichar)characterAtIndex:(NSUInteger)index {
  return 'k';
}
- (id)copyWithZone:(NSZone*)zone {
  return [self retain];
}
- (void)dealloc {
  *released = true;
  [super dealloc];
}
@end

namespace {

TEST(Swizzle, ExchangesCallThroughAndLeaveTheSuperclassAlone) {
  TL_swizzleInstanceMethod([HookedInheriting class], @selector(greeting), @selector(TL_greeting));
  TL_swizzleInstanceMethod([HookedOwning class], @selector(greeting), @selector(TL_greeting));
  TL_swizzleClassMethod([HookedOwning class], @selector(kind), @selector(TL_kind));
  struct Case {
    id object;
    const char* expected;
  };
  const Case cases[] = {
      {[[HookedInheriting new] autorelease], "hooked base"},  // got a method of its own
      {[[HookedOwning new] autorelease], "hooked own"},       // exchanged in place
      {[[HookedBase new] autorelease], "base"},               // untouched
  };
  for (const auto& c : cases) EXPECT_EQ(str([c.object greeting]), c.expected) << class_getName([c.object class]);
  EXPECT_EQ(str([HookedOwning kind]), "hooked base kind");

  EXPECT_FALSE(TL_swizzleNamedInstanceMethod(@"NoSuchClass", @"greeting", [HookSource class], @selector(TL_namedGreeting)));
  EXPECT_FALSE(TL_swizzleNamedInstanceMethod(@"HookedBase", @"noSuchMethod", [HookSource class],
                                             @selector(TL_namedGreeting)));
  EXPECT_TRUE(TL_swizzleNamedInstanceMethod(@"HookedBase", @"greeting", [HookSource class], @selector(TL_namedGreeting)));
  EXPECT_EQ(str([[[HookedBase new] autorelease] greeting]), "named base");
}

TEST(BundleHook, AnUnmodifiedLookUpAnswersFromTheStoresAndTagsItsKey) {
  EXPECT_TRUE([[NSBundle mainBundle] TL_swizzleActive]);
  EXPECT_EQ(localized(@"welcome.title"), "Willkommen");
  EXPECT_EQ(localized(@"settings.title"), "Einstellungen");  // the bundle's own table
  EXPECT_EQ(localized(@"no.such.key"), "no.such.key");
  // Run with the UI-test launch argument, under which results carry their key.
  EXPECT_EQ(str([NSLocalizedString(@"welcome.title", @"") tolvanaKey]), "welcome.title");
}

TEST(KeyTag, LivesBesideTheStringAndGoesWithIt) {
  bool released = false;
  ObservedKey* key = [ObservedKey new];
  key->released = &released;
  NSString* text = [[NSString alloc] initWithFormat:@"%@ %d", @"tagged", 1];
  Class original = [text class];
  [text setTolvanaKey:key];
  [key release];
  NSAutoreleasePool* pool = [NSAutoreleasePool new];
  EXPECT_EQ(str([text tolvanaKey]), "kkk");
  EXPECT_EQ([text class], original);
  EXPECT_TRUE([text isEqualToString:@"tagged 1"]);
  EXPECT_EQ(str([@"untagged" tolvanaKey]), "(nil)");
  [pool release];
  EXPECT_FALSE(released);
  [text release];
  EXPECT_TRUE(released);

  NSString* literal = @"a literal";
  [literal setTolvanaKey:@"literal.key"];
  EXPECT_EQ(str([literal tolvanaKey]), "literal.key");
  [literal setTolvanaKey:nil];
  EXPECT_EQ(str([literal tolvanaKey]), "(nil)");
}

// Which bundles the engine serves, by the Info.plist the process runs with: a bundle
// looked up through the engine finds the store's text, one left to Foundation only its own.
struct Served {
  bool extra;
  bool other;
};
void expectServed(Served expected) {
  NSBundle* extra = makeBundle(@"Extra.framework", [NSDictionary dictionaryWithObject:@"Extra" forKey:@"extra.key"]);
  NSBundle* other = makeBundle(@"Other.bundle", [NSDictionary dictionaryWithObject:@"Andere" forKey:@"other.key"]);
  EXPECT_EQ(localized(@"welcome.title"), "Willkommen");
  for (auto [bundle, served, ownKey, ownText] : {std::tuple{extra, expected.extra, @"extra.key", "Extra"},
                                                  std::tuple{other, expected.other, @"other.key", "Andere"}}) {
    EXPECT_EQ(str([bundle localizedStringForKey:@"welcome.title" value:@"" table:nil]),
              served ? "Willkommen" : "welcome.title")
        << str([bundle bundlePath]);
    EXPECT_EQ(str([bundle localizedStringForKey:ownKey value:@"" table:nil]), ownText);
  }
}

TEST(BundleScenario, OtherBundlesAreLeftToFoundation) { expectServed({false, false}); }
TEST(BundleScenario, ListedFrameworkIsServed) { expectServed({true, false}); }
TEST(BundleScenario, SearchAllServesEveryBundle) { expectServed({true, true}); }

TEST(AutostartOff, NothingIsExchangedAndTheFacadeStillAnswers) {
  EXPECT_FALSE([[NSBundle mainBundle] TL_swizzleActive]);
  EXPECT_EQ(localized(@"welcome.title"), "welcome.title");  // the German table lacks it
  EXPECT_EQ(localized(@"settings.title"), "Einstellungen");
  EXPECT_EQ(str([Tolvana localizedStringForKey:@"welcome.title"]), "Willkommen");
  [[NSBundle mainBundle] ensureBundleSwizzleActive];
  EXPECT_FALSE([[NSBundle mainBundle] TL_swizzleActive]);
}

}  // namespace
