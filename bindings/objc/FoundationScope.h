// FoundationScope: what a thread needs around a call into Foundation. The engine calls the
// ports from threads of its own, which Foundation does not know: each such thread is made
// known once (and forgotten when it ends), and every call gets an autorelease pool, since
// those threads have none.
//
// guarded() adds the one thing C++ cannot do here: catch what Foundation raises. A C++
// handler that meets an Objective-C exception of this runtime crashes the process, so none
// may leave a call into Foundation.
//
//   std::string Port::answer() const {
//     return guarded("answer", std::string(), [&] { return toString([NSSomething something]); });
//   }
#pragma once

#import <Foundation/Foundation.h>

namespace tolvana::objc {

class FoundationScope {
 public:
  FoundationScope();
  ~FoundationScope();
  FoundationScope(const FoundationScope&) = delete;
  FoundationScope& operator=(const FoundationScope&) = delete;

 private:
  NSAutoreleasePool* pool_;
};

void logRaised(const char* what, id exception);

// call() inside a FoundationScope; fallback (with a log line) when Foundation raised.
template <class Result, class Call>
Result guarded(const char* what, Result fallback, Call&& call) {
  FoundationScope scope;
  @try {
    return call();
  } @catch (id exception) {
    logRaised(what, exception);
  }
  return fallback;
}

}  // namespace tolvana::objc
