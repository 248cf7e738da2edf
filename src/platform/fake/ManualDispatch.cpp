#include "platform/fake/ManualDispatch.h"

#include <algorithm>
#include <condition_variable>
#include <mutex>
#include <tuple>

#include "platform/posix/ThreadDispatch.h"
#include "support/Mutex.h"

namespace tolvana {

struct ManualDispatch::Pending {
  std::chrono::steady_clock::time_point due;
  std::uint64_t sequence;
  Task task;
};

struct ManualDispatch::Background {
  std::mutex mutex;
  std::condition_variable idle;
  int tasks = 0;
};

class ManualDispatch::CountedQueue final : public SerialQueue {
 public:
  CountedQueue(std::shared_ptr<Background> busy, std::shared_ptr<SerialQueue> inner)
      : busy_(std::move(busy)), inner_(std::move(inner)) {}
  void async(Task task) override { inner_->async(counted(busy_, std::move(task))); }

 private:
  std::shared_ptr<Background> busy_;
  std::shared_ptr<SerialQueue> inner_;
};

ManualDispatch::ManualDispatch(std::shared_ptr<Clock> clock)
    : clock_(std::move(clock)),
      mainThread_(std::this_thread::get_id()),
      background_(makeThreadDispatch()),
      busy_(std::make_shared<Background>()) {}

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

void ManualDispatch::globalAsync(Task task) { background_->globalAsync(counted(busy_, std::move(task))); }

std::shared_ptr<SerialQueue> ManualDispatch::makeSerialQueue(std::string label) {
  return std::make_shared<CountedQueue>(busy_, background_->makeSerialQueue(std::move(label)));
}

Task ManualDispatch::counted(const std::shared_ptr<Background>& busy, Task task) {
  {
    std::lock_guard lock(busy->mutex);
    ++busy->tasks;
  }
  // Counted down when the last copy of the task goes: after it ran, or unrun when its queue
  // is discarded.
  std::shared_ptr<Background> ticket(busy.get(), [busy](Background*) {
    std::lock_guard lock(busy->mutex);
    if (--busy->tasks == 0) busy->idle.notify_all();
  });
  return [ticket = std::move(ticket), task = std::move(task)] { task(); };
}

bool ManualDispatch::waitForBackground(std::chrono::milliseconds limit) {
  std::unique_lock lock(busy_->mutex);
  return busy_->idle.wait_for(lock, limit, [this] { return busy_->tasks == 0; });
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
