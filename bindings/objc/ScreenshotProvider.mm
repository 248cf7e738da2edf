#import "ScreenshotProvider.h"

#import "AssociatedObjects.h"
#import "FoundationScope.h"
#import "FoundationValue.h"
#import "tolvana/objc/Tolvana.h"

namespace tolvana::objc {

namespace {

const char kBridge = 0;

class ScreenshotProvider final : public TolvanaScreenshotInterface {
 public:
  // provider is not retained: the engine's weak hold decides nothing about its life.
  explicit ScreenshotProvider(id<TolvanaScreenshotInterface> provider) : provider_(provider) {}

  void getStringPositions(std::function<void(std::string)> completion) override {
    guarded("getStringPositions", 0, [&] {
      [provider_ getStringPositions:^(NSString* positions) {
        if (completion) completion(toString(positions));
      }];
      return 0;
    });
  }

 private:
  id<TolvanaScreenshotInterface> provider_;
};

}  // namespace

}  // namespace tolvana::objc

// Keeps the bridge alive for as long as its provider lives.
@interface TolvanaScreenshotBridge : NSObject {
 @public
  std::shared_ptr<tolvana::TolvanaScreenshotInterface>* bridge_;
}
@end

@implementation TolvanaScreenshotBridge
- (void)dealloc {
  delete bridge_;
  [super dealloc];
}
@end

namespace tolvana::objc {

std::shared_ptr<TolvanaScreenshotInterface> screenshotProviderFor(id provider) {
  TolvanaScreenshotBridge* existing = associatedObject(provider, &kBridge);
  if (existing) return *existing->bridge_;
  TolvanaScreenshotBridge* bridge = [[TolvanaScreenshotBridge alloc] init];
  bridge->bridge_ = new std::shared_ptr<TolvanaScreenshotInterface>(std::make_shared<ScreenshotProvider>(provider));
  std::shared_ptr<TolvanaScreenshotInterface> result = *bridge->bridge_;
  setAssociatedObject(provider, &kBridge, bridge);
  [bridge release];
  return result;
}

}  // namespace tolvana::objc
