// The screenshot provider: only an object whose class declares the protocol is taken, a
// refused one leaves the current provider in place, and the engine asks the provider it took.
#import "ObjCTestSupport.h"
#import "tolvana/objc/Tolvana.h"
#include "tolvana/platform/Platform.h"

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

// The headless Ui shows no window, and a capture asks no provider without one: this one shows
// an empty window and leaves the rest to the Ui it stands in for.
class WindowedUi final : public tolvana::Ui {
 public:
  explicit WindowedUi(std::shared_ptr<tolvana::Ui> next) : next_(std::move(next)) {}
  void presentAlert(tolvana::Alert alert) override { next_->presentAlert(std::move(alert)); }
  void installLookupHooks() override { next_->installLookupHooks(); }
  void showOverlay(tolvana::UiOverlay overlay) override { next_->showOverlay(std::move(overlay)); }
  void removeOverlay() override { next_->removeOverlay(); }
  void focusOverlayControl(const std::string& control) override { next_->focusOverlayControl(control); }
  void addLongPressGesture(std::function<void()> handler) override { next_->addLongPressGesture(std::move(handler)); }
  void addSwipeGestures(std::function<void()> handler) override { next_->addSwipeGestures(std::move(handler)); }
  std::optional<tolvana::UiView> rootWindowView() override { return tolvana::UiView{}; }
  tolvana::UiScreen mainScreen() override { return next_->mainScreen(); }
  std::string rootWindowPng() override { return {}; }
  std::optional<std::string> pasteboardString() override { return next_->pasteboardString(); }
  void setPasteboardString(const std::string& text) override { next_->setPasteboardString(text); }

 private:
  std::shared_ptr<tolvana::Ui> next_;
};

// Whether the capture came to an end; the upload itself fails, as the window has no picture
// to send.
bool capture(NSString* tag) {
  int result = -1;
  int* answer = &result;
  [Tolvana captureScreenshotWithTag:tag andIDs:[NSArray arrayWithObject:@"welcome.title"]
              withCompletionHandler:^(BOOL success) { *answer = success ? 1 : 0; }];
  return spinUntil([&] { return result >= 0; });
}

TEST(Screenshot, OnlyADeclaredProviderIsAskedAndARefusalKeepsIt) {
  auto ports = tolvana::Platform::Current().ports();
  ports.ui = std::make_shared<WindowedUi>(ports.ui);
  tolvana::Platform::Install(std::make_shared<tolvana::Platform>(ports));
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
