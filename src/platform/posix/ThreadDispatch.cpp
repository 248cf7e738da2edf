#include "platform/posix/ThreadDispatch.h"

#include <pthread.h>

#include <compare>
#include <condition_variable>
#include <deque>
#include <list>
#include <map>
#include <mutex>
#include <thread>
#include <vector>

#include "platform/PlatformLog.h"
#include "support/Boundary.h"
#include "support/Mutex.h"

namespace tolvana {

namespace {

// Throughout this file a Task is destroyed only while no lock is held: destroying one may
// drop the last reference to a serial queue, and that queue's destructor takes a lock.

constexpr int kGlobalThreads = 4;

// Linux keeps at most 15 characters of a thread name; the start of a label is the telling part.
void nameThisThread(const std::string& name) { ::pthread_setname_np(::pthread_self(), name.substr(0, 15).c_str()); }

// A task that throws must not end the thread, nor the process with it: the host never sees
// the library's failures as a crash.
void runGuarded(Task& task) { guarded("A queued task", task, platformFailureLine); }

// What a serial queue's handle and its worker thread share. The worker holds it too, so a
// handle dropped while tasks are pending (or by one of its own tasks) leaves nothing dangling.
struct SerialState {
  std::string label;  // constant after construction
  Mutex mutex;
  std::condition_variable wake;
  std::deque<Task> tasks TL_GUARDED_BY(mutex);
  bool released TL_GUARDED_BY(mutex) = false;  // the handle is gone
  bool stopped TL_GUARDED_BY(mutex) = false;  // the dispatch is being destroyed
};

class ThreadSerialQueue final : public SerialQueue {
 public:
  explicit ThreadSerialQueue(std::shared_ptr<SerialState> state) : state_(std::move(state)) {}

  ~ThreadSerialQueue() override {
    LockGuard lock(state_->mutex);
    state_->released = true;
    state_->wake.notify_one();
  }

  void async(Task task) override {
    LockGuard lock(state_->mutex);
    if (state_->stopped) return;  // the task dies after the lock is released
    state_->tasks.push_back(std::move(task));
    state_->wake.notify_one();
  }

 private:
  const std::shared_ptr<SerialState> state_;
};

// Runs the queue's tasks until its handle is gone and nothing is left, or the dispatch stops.
void runSerialQueue(const std::shared_ptr<SerialState>& state) {
  for (;;) {
    Task task;
    std::deque<Task> discarded;
    {
      UniqueLock lock(state->mutex);
      while (state->tasks.empty() && !state->released && !state->stopped) lock.wait(state->wake);
      if (state->stopped) discarded.swap(state->tasks);
      if (state->tasks.empty()) break;
      task = std::move(state->tasks.front());
      state->tasks.pop_front();
    }
    runGuarded(task);
  }
}

// Everything the threads use lives here, shared by the handle and every thread: a dispatch
// whose last handle is dropped by one of its own tasks is destroyed on that thread, which
// then carries on through its loop and must find the state still there.
class DispatchCore {
 public:
  // Ties in due time run in the order they were queued.
  struct MainKey {
    std::chrono::steady_clock::time_point due;
    std::uint64_t sequence;
    auto operator<=>(const MainKey&) const = default;
  };

  static void start(const std::shared_ptr<DispatchCore>& core) {
    core->mainThread_ = std::thread([core] {
      nameThisThread("tolvana-main");
      core->runMainQueue();
    });
    core->mainThreadId_ = core->mainThread_.get_id();
    for (int i = 0; i < kGlobalThreads; ++i) {
      core->globalThreads_.emplace_back([core] {
        nameThisThread("tolvana-global");
        core->runGlobalQueue();
      });
    }
  }

  // Tasks still queued are discarded; running ones finish first. Every thread is joined but
  // the calling one, when it is one of ours: it is detached and ends when its task returns.
  void stop() {
    std::map<MainKey, Task> mainLeft;
    std::deque<Task> globalLeft;
    {
      LockGuard lock(mainMutex_);
      mainStopping_ = true;
      mainLeft.swap(mainTasks_);
    }
    mainWake_.notify_all();
    {
      LockGuard lock(globalMutex_);
      globalStopping_ = true;
      globalLeft.swap(globalTasks_);
    }
    globalWake_.notify_all();
    finish(mainThread_);
    for (auto& thread : globalThreads_) finish(thread);

    std::vector<std::thread> workers;
    std::vector<std::shared_ptr<SerialState>> states;
    {
      LockGuard lock(workersMutex_);
      serialStopping_ = true;
      workers.swap(workerThreads_);
      for (auto& weak : serialStates_) {
        if (auto state = weak.lock()) states.push_back(std::move(state));
      }
      for (auto& state : pendingQueues_) states.push_back(state);
    }
    workersWake_.notify_all();
    // A queue no worker has picked up yet would otherwise keep its tasks, and whatever they
    // capture, alive for as long as its handle lives.
    for (auto& state : states) {
      std::deque<Task> discarded;
      {
        LockGuard lock(state->mutex);
        state->stopped = true;
        discarded.swap(state->tasks);
        state->wake.notify_one();
      }
    }
    for (auto& worker : workers) finish(worker);
  }

  void enqueueMain(std::chrono::steady_clock::time_point due, Task task) {
    LockGuard lock(mainMutex_);
    if (mainStopping_) return;
    mainTasks_.emplace(MainKey{due, nextSequence_++}, std::move(task));
    mainWake_.notify_one();
  }

  void globalAsync(Task task) {
    LockGuard lock(globalMutex_);
    if (globalStopping_) return;
    globalTasks_.push_back(std::move(task));
    globalWake_.notify_one();
  }

  // A queue is served by a pooled worker thread for as long as it lives; then the worker
  // waits for the next queue. Workers end only with the dispatch, which joins them, so no
  // thread is ever left finished and unjoined.
  static std::shared_ptr<SerialQueue> makeSerialQueue(const std::shared_ptr<DispatchCore>& core, std::string label) {
    auto state = std::make_shared<SerialState>();
    state->label = std::move(label);
    LockGuard lock(core->workersMutex_);
    if (core->serialStopping_) {
      LockGuard stateLock(state->mutex);
      state->stopped = true;
      return std::make_shared<ThreadSerialQueue>(state);
    }
    std::erase_if(core->serialStates_, [](const std::weak_ptr<SerialState>& weak) { return weak.expired(); });
    core->serialStates_.push_back(state);
    core->pendingQueues_.push_back(state);
    // The idle worker is promised to this queue now: it may not wake before the next queue
    // is made, and that one must not count on it too.
    if (core->idleWorkers_ > 0) {
      --core->idleWorkers_;
      core->workersWake_.notify_one();
    } else {
      core->workerThreads_.emplace_back([core] {
        nameThisThread("tolvana-serial");
        core->runSerialWorker();
      });
    }
    return std::make_shared<ThreadSerialQueue>(std::move(state));
  }

  bool isMainThread() const { return std::this_thread::get_id() == mainThreadId_; }

 private:
  void finish(std::thread& thread) {
    if (!thread.joinable()) return;
    if (thread.get_id() == std::this_thread::get_id()) {
      thread.detach();
    } else {
      thread.join();
    }
  }

  // idleWorkers_ counts the workers not serving a queue, less the queues waiting for one: a
  // new worker comes with its queue, a worker that finishes one becomes free again.
  void runSerialWorker() {
    UniqueLock lock(workersMutex_);
    for (;;) {
      while (!serialStopping_ && pendingQueues_.empty()) lock.wait(workersWake_);
      if (serialStopping_) return;
      std::shared_ptr<SerialState> state = std::move(pendingQueues_.front());
      pendingQueues_.pop_front();
      lock.unlock();
      nameThisThread(state->label);
      runSerialQueue(state);
      state.reset();
      lock.lock();
      ++idleWorkers_;
    }
  }

  void runMainQueue() {
    UniqueLock lock(mainMutex_);
    while (!mainStopping_) {
      if (mainTasks_.empty()) {
        lock.wait(mainWake_);
        continue;
      }
      auto first = mainTasks_.begin();
      if (first->first.due > std::chrono::steady_clock::now()) {
        // Woken early by a new task (it may be due sooner) or spuriously: look again.
        lock.waitUntil(mainWake_, first->first.due);
        continue;
      }
      Task task = std::move(first->second);
      mainTasks_.erase(first);
      lock.unlock();
      runGuarded(task);
      task = nullptr;
      lock.lock();
    }
  }

  void runGlobalQueue() {
    UniqueLock lock(globalMutex_);
    for (;;) {
      while (!globalStopping_ && globalTasks_.empty()) lock.wait(globalWake_);
      if (globalStopping_) return;
      Task task = std::move(globalTasks_.front());
      globalTasks_.pop_front();
      lock.unlock();
      runGuarded(task);
      task = nullptr;
      lock.lock();
    }
  }

  // Constant after start().
  std::thread mainThread_;
  std::thread::id mainThreadId_;
  std::vector<std::thread> globalThreads_;

  Mutex mainMutex_;
  std::condition_variable mainWake_;
  std::map<MainKey, Task> mainTasks_ TL_GUARDED_BY(mainMutex_);
  std::uint64_t nextSequence_ TL_GUARDED_BY(mainMutex_) = 0;
  bool mainStopping_ TL_GUARDED_BY(mainMutex_) = false;

  Mutex globalMutex_;
  std::condition_variable globalWake_;
  std::deque<Task> globalTasks_ TL_GUARDED_BY(globalMutex_);
  bool globalStopping_ TL_GUARDED_BY(globalMutex_) = false;

  Mutex workersMutex_;
  std::condition_variable workersWake_;
  std::vector<std::thread> workerThreads_ TL_GUARDED_BY(workersMutex_);
  std::deque<std::shared_ptr<SerialState>> pendingQueues_ TL_GUARDED_BY(workersMutex_);
  std::vector<std::weak_ptr<SerialState>> serialStates_ TL_GUARDED_BY(workersMutex_);
  int idleWorkers_ TL_GUARDED_BY(workersMutex_) = 0;
  bool serialStopping_ TL_GUARDED_BY(workersMutex_) = false;
};

class ThreadDispatch final : public Dispatch {
 public:
  ThreadDispatch() {
    try {
      DispatchCore::start(core_);
    } catch (...) {
      core_->stop();  // the threads that did start would otherwise wait for ever
      throw;
    }
  }
  ~ThreadDispatch() override { core_->stop(); }

  void mainAsync(Task task) override { core_->enqueueMain(std::chrono::steady_clock::now(), std::move(task)); }

  void mainAfter(std::chrono::milliseconds delay, Task task) override {
    core_->enqueueMain(std::chrono::steady_clock::now() + std::max(delay, std::chrono::milliseconds(0)),
                       std::move(task));
  }

  void globalAsync(Task task) override { core_->globalAsync(std::move(task)); }

  std::shared_ptr<SerialQueue> makeSerialQueue(std::string label) override {
    return DispatchCore::makeSerialQueue(core_, std::move(label));
  }

  bool isMainThread() const override { return core_->isMainThread(); }

 private:
  const std::shared_ptr<DispatchCore> core_ = std::make_shared<DispatchCore>();
};

}  // namespace

std::shared_ptr<Dispatch> makeThreadDispatch() { return std::make_shared<ThreadDispatch>(); }

}  // namespace tolvana
