#import "FoundationScope.h"

namespace tolvana::objc {

namespace {

struct ThreadRegistration {
  ThreadRegistration() : registered(GSRegisterCurrentThread()) {}
  ~ThreadRegistration() {
    if (registered) GSUnregisterCurrentThread();
  }
  bool registered;
};

}  // namespace

FoundationScope::FoundationScope() {
  static thread_local ThreadRegistration registration;
  (void)registration;
  pool_ = [NSAutoreleasePool new];
}

FoundationScope::~FoundationScope() { [pool_ release]; }

void logRaised(const char* what, id exception) {
  @try {
    NSLog(@"Tolvana: %s failed: %@", what, exception);
  } @catch (id) {
  }
}

}  // namespace tolvana::objc
