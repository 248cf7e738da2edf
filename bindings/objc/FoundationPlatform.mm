#import "FoundationPorts.h"

#include <mutex>

#import "FoundationBundle.h"
#import "FoundationScope.h"
#include "tolvana/platform/Platform.h"

// Carries one task to the main thread's run loop; the run loop keeps it until it has run.
@interface TolvanaRunLoopTask : NSObject {
  tolvana::Task* task_;
}
- (id)initWithTask:(tolvana::Task)task;
- (void)run;
@end

@implementation TolvanaRunLoopTask
- (id)initWithTask:(tolvana::Task)task {
  if ((self = [super init])) task_ = new tolvana::Task(std::move(task));
  return self;
}
- (void)dealloc {
  delete task_;
  [super dealloc];
}
- (void)run {
  @try {
    (*task_)();
  } @catch (id exception) {
    tolvana::objc::logRaised("a main-queue task", exception);
  }
}
@end

namespace tolvana::objc {

namespace {

// Modal panels and tracking loops of an AppKit app run the main run loop in modes of their
// own; the main queue keeps running in them.
NSArray* mainQueueModes() {
  return [NSArray arrayWithObjects:NSDefaultRunLoopMode, @"NSModalPanelRunLoopMode", @"NSEventTrackingRunLoopMode",
                                   nil];
}

// Foundation performs a main-thread request made on the main thread at once, even without
// waiting; a queue must not run its task inside the call that queues it, so the main thread
// asks its run loop directly.
void postToMainRunLoop(Task task) {
  guarded("postToMainRunLoop", 0, [&] {
    TolvanaRunLoopTask* carrier = [[TolvanaRunLoopTask alloc] initWithTask:std::move(task)];
    if ([NSThread isMainThread]) {
      [[NSRunLoop mainRunLoop] performSelector:@selector(run) target:carrier argument:nil order:0 modes:mainQueueModes()];
    } else {
      [carrier performSelectorOnMainThread:@selector(run) withObject:nil waitUntilDone:NO modes:mainQueueModes()];
    }
    [carrier release];
    return 0;
  });
}

bool onMainThread() {
  return guarded("isMainThread", false, [] { return [NSThread isMainThread] == YES; });
}

}  // namespace

std::shared_ptr<RunLoopDispatch> makeRunLoopDispatch(std::shared_ptr<Dispatch> base) {
  return std::make_shared<RunLoopDispatch>(std::move(base), RunLoopDispatch::RunLoop{postToMainRunLoop, onMainThread});
}

void installFoundationPlatform() {
  static std::once_flag once;
  std::call_once(once, [] {
    FoundationScope scope;
    Platform::Ports ports = Platform::Current().ports();
    ports.bundles = makeFoundationBundles();
    ports.userDefaults = makeFoundationUserDefaults();
    ports.locale = makeFoundationLocale();
    auto dispatch = makeRunLoopDispatch(ports.dispatch);
    ports.dispatch = dispatch;
    Platform::Install(std::make_shared<Platform>(ports));
    dispatch->watchRunLoop();
  });
}

}  // namespace tolvana::objc
