// The screenshot provider: only an object whose class declares the protocol is taken, a
// refused one leaves the current provider in place, and the engine asks the provider it took.
#import "ObjCTestSupport.h"
#import "tolvana/objc/Tolvana.h"

@interface DeclaredProvider : NSObject <TolvanaScreenshotInterface> {
 @public
  int asked;
}
@end
@implementation DeclaredProvider
- (void)getStringPositions:(void (^)(NSString*))completion {
  ++asked;
  completion(@"{\"TLStringPositions\":[{\"key\":\"welcome.title\",\"value\":\"Willkommen\",\"x\":1,\"y\":2,"
             @"\"width\":30,\"height\":4}]}");
}
@end

// Has the method, but its class does not say so.
@interface UndeclaredProvider : NSObject {
 @public
  int asked;
}
- (void)getStringPositions:(void (^)(NSString*))completion;
@end
@implementation UndeclaredProvider
- (void)getStringPositions:(void (^)(NSString*))completion {
  ++asked;
  completion(@"{}");
}
@end

namespace {

// Whether the capture came to an end; the upload itself fails, as the headless window has no
// picture to send.
bool capture(NSString* tag) {
  int result = -1;
  int* answer = &result;
  [Tolvana captureScreenshotWithTag:tag andIDs:[NSArray arrayWithObject:@"welcome.title"]
              withCompletionHandler:^(BOOL success) { *answer = success ? 1 : 0; }];
  return spinUntil([&] { return result >= 0; });
}

TEST(Screenshot, OnlyADeclaredProviderIsAskedAndARefusalKeepsIt) {
  DeclaredProvider* declared = [[DeclaredProvider new] autorelease];
  UndeclaredProvider* undeclared = [[UndeclaredProvider new] autorelease];
  [Tolvana setScreenshotInterface:(id<TolvanaScreenshotInterface>)undeclared];
  EXPECT_TRUE(capture(@"home"));
  EXPECT_EQ(undeclared->asked, 0);

  [Tolvana setScreenshotInterface:declared];
  [Tolvana setScreenshotInterface:(id<TolvanaScreenshotInterface>)undeclared];
  [Tolvana setScreenshotInterface:nil];
  EXPECT_TRUE(capture(@"home"));
  EXPECT_EQ(declared->asked, 1);
  EXPECT_EQ(undeclared->asked, 0);
}

}  // namespace
