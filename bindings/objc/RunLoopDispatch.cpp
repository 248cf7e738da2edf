#include "RunLoopDispatch.h"

#include <cstdio>
#include <exception>

namespace tolvana::objc {

namespace {

// Also what the host's Objective-C code raises from a completion handler ends here: a
// C++ handler of this file takes it, where one in Objective-C++ could not.
void runGuarded(Task& task) {
  try {
    task();
  } catch (const std::exception& e) {
    std::fprintf(stderr, "Tolvana: a main-queue task failed: %s\n", e.what());
  } catch (...) {
    std::fprintf(stderr, "Tolvana: a main-queue task failed\n");
  }
}

}  // namespace

RunLoopDispatch::RunLoopDispatch(std::shared_ptr<Dispatch> base, RunLoop runLoop)
    : base_(std::move(base)), runLoop_(std::move(runLoop)) {}

void RunLoopDispatch::watchRunLoop() {
  runLoop_.post([weak = weak_from_this()] {
    auto self = weak.lock();
    if (!self) return;
    std::lock_guard lock(self->mutex_);
    self->onRunLoop_ = true;
  });
}

bool RunLoopDispatch::onRunLoop() const {
  std::lock_guard lock(mutex_);
  return onRunLoop_;
}

void RunLoopDispatch::mainAsync(Task task) {
  bool runLoop;
  {
    std::lock_guard lock(mutex_);
    pending_.push_back(std::move(task));
    if (scheduled_) return;
    scheduled_ = true;
    runLoop = onRunLoop_;
  }
  schedule(runLoop);
}

void RunLoopDispatch::mainAfter(std::chrono::milliseconds delay, Task task) {
  base_->mainAfter(delay, [weak = weak_from_this(), task = std::move(task)]() mutable {
    if (auto self = weak.lock()) self->mainAsync(std::move(task));
  });
}

void RunLoopDispatch::globalAsync(Task task) { base_->globalAsync(std::move(task)); }

std::shared_ptr<SerialQueue> RunLoopDispatch::makeSerialQueue(std::string label) {
  return base_->makeSerialQueue(std::move(label));
}

bool RunLoopDispatch::isMainThread() const {
  bool runLoop;
  {
    std::lock_guard lock(mutex_);
    if (drainingThread_ == std::this_thread::get_id()) return true;
    runLoop = onRunLoop_;
  }
  return runLoop ? runLoop_.isMainThread() : base_->isMainThread();
}

void RunLoopDispatch::schedule(bool onRunLoop) {
  Task drain = [weak = weak_from_this(), onRunLoop] {
    if (auto self = weak.lock()) self->drain(onRunLoop);
  };
  if (onRunLoop) {
    runLoop_.post(std::move(drain));
  } else {
    base_->mainAsync(std::move(drain));
  }
}

void RunLoopDispatch::drain(bool onRunLoop) {
  std::size_t budget;
  {
    std::lock_guard lock(mutex_);
    budget = onRunLoop_ == onRunLoop ? pending_.size() : 0;
    drainingThread_ = std::this_thread::get_id();
  }
  for (; budget > 0; --budget) {
    Task task;
    {
      std::lock_guard lock(mutex_);
      if (pending_.empty() || onRunLoop_ != onRunLoop) break;
      task = std::move(pending_.front());
      pending_.pop_front();
    }
    runGuarded(task);
  }
  bool again;
  {
    std::lock_guard lock(mutex_);
    drainingThread_ = {};
    again = !pending_.empty();
    scheduled_ = again;
    onRunLoop = onRunLoop_;
  }
  if (again) schedule(onRunLoop);
}

}  // namespace tolvana::objc
