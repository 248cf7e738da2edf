// RunLoopDispatch: the main queue on the main thread's run loop once the app runs one. Until
// then (and in a tool that never runs one) the main queue stays on the base dispatch's thread,
// so that completion handlers still run; the first turn of the main run loop takes the queue
// over, in order: tasks queued before run before those queued after, one at a time. The
// global and serial queues and the timers of delayed tasks stay the base dispatch's.
//
// Plain C++: the Objective-C side hands in how to reach the run loop. Kept apart from it
// because C++ handlers do not work in Objective-C++ with this runtime, and a task that throws
// must be caught.
//
// Thread contract: that of Dispatch.
#pragma once

#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>

#include "tolvana/platform/Dispatch.h"

namespace tolvana::objc {

class RunLoopDispatch final : public Dispatch, public std::enable_shared_from_this<RunLoopDispatch> {
 public:
  struct RunLoop {
    // Runs the task on the main thread when its run loop next turns; never inline.
    std::function<void(Task)> post;
    std::function<bool()> isMainThread;
  };
  RunLoopDispatch(std::shared_ptr<Dispatch> base, RunLoop runLoop);

  // Asks the run loop to say when it turns; from then on it runs the main queue.
  void watchRunLoop();
  bool onRunLoop() const;

  void mainAsync(Task task) override;
  void mainAfter(std::chrono::milliseconds delay, Task task) override;
  void globalAsync(Task task) override;
  std::shared_ptr<SerialQueue> makeSerialQueue(std::string label) override;
  bool isMainThread() const override;

 private:
  void schedule(bool onRunLoop);
  // Runs the tasks that were pending when it started, unless the queue moved meanwhile.
  void drain(bool onRunLoop);

  const std::shared_ptr<Dispatch> base_;
  const RunLoop runLoop_;
  mutable std::mutex mutex_;
  std::deque<Task> pending_;       // guarded by mutex_
  bool scheduled_ = false;         // a drain is on its way; guarded by mutex_
  bool onRunLoop_ = false;         // guarded by mutex_
  std::thread::id drainingThread_; // guarded by mutex_
};

}  // namespace tolvana::objc
