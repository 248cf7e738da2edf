// The AppKit hooks in a real application under Xvfb: the launch waits for the first update
// before the app goes on to build its first window, and text fields carry the key of the
// last tagged text they were given. The process runs in draft mode (from the argument domain
// of its defaults), under which results carry their keys; AppKit would take the UI-test launch
// argument for a file to open.
#import <AppKit/AppKit.h>

#import "ObjCTestSupport.h"
#import "tolvana/objc/Tolvana.h"

@interface NSTextField (TolvanaKey)
- (NSString*)tolvanaKey;
@end

namespace {

TEST(AppKit, LaunchWaitsForTheUpdateAndFieldsCarryTheirKeys) {
  // What -run does before its event loop, which a test could not leave reliably. The facade
  // starts no update of its own: it shows what the stores hold when the launch has ended.
  [NSApplication sharedApplication];
  [NSApp finishLaunching];
  EXPECT_EQ(str([Tolvana localizedStringForKey:@"onboarding.step1"]), "Lege dein Profil an");

  NSTextField* field = [[[NSTextField alloc] initWithFrame:NSMakeRect(0, 0, 200, 24)] autorelease];
  struct Step {
    void (^set)(NSTextField*);
    const char* key;
  };
  const Step steps[] = {
      {^(NSTextField* f) { [f setStringValue:NSLocalizedString(@"welcome.title", @"")]; }, "welcome.title"},
      {^(NSTextField* f) { [f setStringValue:@"typed by the app"]; }, "welcome.title"},
      {^(NSTextField* f) {
         [f setAttributedStringValue:[[[NSAttributedString alloc]
                                         initWithString:NSLocalizedString(@"settings.title", @"")] autorelease]];
       },
       "settings.title"},
      {^(NSTextField* f) { [f setStringValue:NSLocalizedString(@"onboarding.step1", @"")]; }, "onboarding.step1"},
  };
  for (const auto& step : steps) {
    step.set(field);
    EXPECT_EQ(str([field tolvanaKey]), step.key) << str([field stringValue]);
  }
  EXPECT_EQ(str([field stringValue]), "Lege dein Profil an");
}

}  // namespace
