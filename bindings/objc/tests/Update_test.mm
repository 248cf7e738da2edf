// Updates against the reference server, in a process of their own: they change the stores.
#import "ObjCTestSupport.h"
#import "tolvana/objc/Tolvana.h"

namespace {

TEST(Update, BlockingUpdateReturnsWithTheServersTexts) {
  ASSERT_EQ(localized(@"onboarding.step1"), "onboarding.step1");
  [NSBundle updateTolvana];
  EXPECT_EQ(localized(@"onboarding.step1"), "Lege dein Profil an");
  EXPECT_EQ(localized(@"welcome.title"), "Willkommen in der Beispiel-App");
}

TEST(Update, HandlersRunOnceOnTheMainThreadWhenTheRunLoopTurns) {
  bool raised = false;
  bool* raisedFlag = &raised;
  [Tolvana updateWithCompletionHandler:^(BOOL) {
    *raisedFlag = true;
    [NSException raise:NSGenericException format:@"a host's handler that raises"];
  }];
  EXPECT_TRUE(spinUntil([&] { return raised; }));
  int calls = 0;
  bool onMainThread = false;
  int* callCount = &calls;
  bool* onMain = &onMainThread;
  [Tolvana updateGroups:[NSArray arrayWithObject:@"main"]
               andLanguages:[NSArray arrayWithObject:@"de"]
      withCompletionHandler:^(BOOL success) {
        *callCount += success ? 1 : 100;
        *onMain = [NSThread isMainThread];
      }];
  EXPECT_TRUE(spinUntil([&] { return calls > 0; }));
  spinUntil([] { return false; }, 0.3);
  EXPECT_EQ(calls, 1);
  EXPECT_TRUE(onMainThread);
}

}  // namespace
