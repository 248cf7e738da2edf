#include "platform/fake/ManualDispatch.h"

#include <algorithm>
#include <tuple>

#include "platform/posix/ThreadDispatch.h"
#include "support/Mutex.h"

namespace tolvana {

struct ManualDispatch::Pending {
  std::chrono::steady_clock::time_point due;
  std::uint64_t sequence;
  Task task;
};

ManualDispatch::ManualDispatch(std::shared_ptr<Clock> clock)
    : clock_(std::move(clock)), mainThread_(std::this_thread::get_id()), background_(makeThreadDispatch()) {}

ManualDispatch::~ManualDispatch() {
  // Background tasks may still queue main tasks here, so they stop first.
  background_.reset();
}

void ManualDispatch::mainAsync(Task task) { mainAfter(std::chrono::milliseconds(0), std::move(task)); }

void ManualDispatch::mainAfter(std::chrono::milliseconds delay, Task task) {
  auto due = clock_->monotonicNow() + std::max(delay, std::chrono::milliseconds(0));
  {
    LockGuard lock(mutex_);
    pending_.push_back(std::make_unique<Pending>(Pending{due, sequence_++, std::move(task)}));
  }
  wake_.notify_all();
}

void ManualDispatch::globalAsync(Task task) { background_->globalAsync(std::move(task)); }

std::shared_ptr<SerialQueue> ManualDispatch::makeSerialQueue(std::string label) {
  return background_->makeSerialQueue(std::move(label));
}

bool ManualDispatch::isMainThread() const {
  LockGuard lock(mutex_);
  return std::this_thread::get_id() == mainThread_;
}

int ManualDispatch::drain() {
  int ran = 0;
  for (;;) {
    std::unique_ptr<Pending> next;
    {
      LockGuard lock(mutex_);
      mainThread_ = std::this_thread::get_id();
      auto now = clock_->monotonicNow();
      auto earliest = pending_.end();
      for (auto it = pending_.begin(); it != pending_.end(); ++it) {
        if ((*it)->due > now) continue;
        if (earliest == pending_.end() || std::tie((*it)->due, (*it)->sequence) <
                                              std::tie((*earliest)->due, (*earliest)->sequence)) {
          earliest = it;
        }
      }
      if (earliest == pending_.end()) return ran;
      next = std::move(*earliest);
      pending_.erase(earliest);
    }
    next->task();
    ++ran;
  }
}

bool ManualDispatch::runUntil(const std::function<bool()>& done, std::chrono::milliseconds limit) {
  auto deadline = std::chrono::steady_clock::now() + limit;
  for (;;) {
    drain();
    if (done()) return true;
    if (std::chrono::steady_clock::now() >= deadline) return false;
    // A new main task wakes this at once; the short cap covers what no notification
    // announces: delayed tasks falling due, and a condition changed by another thread.
    UniqueLock lock(mutex_);
    lock.waitUntil(wake_, std::min(deadline, std::chrono::steady_clock::now() + std::chrono::milliseconds(5)));
  }
}

std::size_t ManualDispatch::pendingCount() const {
  LockGuard lock(mutex_);
  return pending_.size();
}

}  // namespace tolvana
