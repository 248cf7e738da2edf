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

namespace tolvana {

namespace {

// Throughout this file a Task is destroyed only while no lock is held: destroying one may
// drop the last reference to a serial queue, and that queue's destructor takes a lock.

constexpr int kGlobalThreads = 4;

// Linux keeps at most 15 characters of a thread name; the start of a label is the telling part.
void nameThisThread(const std::string& name) { ::pthread_setname_np(::pthread_self(), name.substr(0, 15).c_str()); }

// What a serial queue's handle and its worker thread share. The worker holds it too, so a
// handle dropped while tasks are pending (or by one of its own tasks) leaves nothing dangling.
struct SerialState {
  std::string label;  // constant after construction
  std::mutex mutex;
  std::condition_variable wake;
  std::deque<Task> tasks;  // guarded by mutex
  bool released = false;   // the handle is gone; guarded by mutex
  bool stopped = false;    // the dispatch is being destroyed; guarded by mutex
};

class ThreadSerialQueue final : public SerialQueue {
 public:
  explicit ThreadSerialQueue(std::shared_ptr<SerialState> state) : state_(std::move(state)) {}

  ~ThreadSerialQueue() override {
    std::lock_guard lock(state_->mutex);
    state_->released = true;
    state_->wake.notify_one();
  }

  void async(Task task) override {
    std::lock_guard lock(state_->mutex);
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
      std::unique_lock lock(state->mutex);
      state->wake.wait(lock, [&] { return !state->tasks.empty() || state->released || state->stopped; });
      if (state->stopped) discarded.swap(state->tasks);
      if (state->tasks.empty()) break;
      task = std::move(state->tasks.front());
      state->tasks.pop_front();
    }
    task();
  }
}

class ThreadDispatch final : public Dispatch {
 public:
  ThreadDispatch() {
    mainThread_ = std::thread([this] {
      nameThisThread("tolvana-main");
      runMainQueue();
    });
    mainThreadId_ = mainThread_.get_id();
    for (int i = 0; i < kGlobalThreads; ++i) {
      globalThreads_.emplace_back([this] {
        nameThisThread("tolvana-global");
        runGlobalQueue();
      });
    }
  }

  // Tasks still queued are discarded; running ones finish first. Must not run on one of
  // this dispatch's own threads, which it joins.
  ~ThreadDispatch() override {
    std::map<MainKey, Task> mainLeft;
    std::deque<Task> globalLeft;
    {
      std::lock_guard lock(mainMutex_);
      mainStopping_ = true;
      mainLeft.swap(mainTasks_);
    }
    mainWake_.notify_all();
    {
      std::lock_guard lock(globalMutex_);
      globalStopping_ = true;
      globalLeft.swap(globalTasks_);
    }
    globalWake_.notify_all();
    mainThread_.join();
    for (auto& thread : globalThreads_) thread.join();

    std::vector<std::thread> workers;
    std::vector<std::shared_ptr<SerialState>> states;
    {
      std::lock_guard lock(workersMutex_);
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
        std::lock_guard lock(state->mutex);
        state->stopped = true;
        discarded.swap(state->tasks);
        state->wake.notify_one();
      }
    }
    for (auto& worker : workers) worker.join();
  }

  void mainAsync(Task task) override { enqueueMain(std::chrono::steady_clock::now(), std::move(task)); }

  void mainAfter(std::chrono::milliseconds delay, Task task) override {
    enqueueMain(std::chrono::steady_clock::now() + std::max(delay, std::chrono::milliseconds(0)), std::move(task));
  }

  void globalAsync(Task task) override {
    std::lock_guard lock(globalMutex_);
    if (globalStopping_) return;
    globalTasks_.push_back(std::move(task));
    globalWake_.notify_one();
  }

  // A queue is served by a pooled worker thread for as long as it lives; then the worker
  // waits for the next queue. Workers end only with the dispatch, which joins them, so no
  // thread is ever left finished and unjoined.
  std::shared_ptr<SerialQueue> makeSerialQueue(std::string label) override {
    auto state = std::make_shared<SerialState>();
    state->label = std::move(label);
    std::lock_guard lock(workersMutex_);
    if (serialStopping_) {
      state->stopped = true;
      return std::make_shared<ThreadSerialQueue>(state);
    }
    std::erase_if(serialStates_, [](const std::weak_ptr<SerialState>& weak) { return weak.expired(); });
    serialStates_.push_back(state);
    pendingQueues_.push_back(state);
    if (idleWorkers_ == 0) {
      workerThreads_.emplace_back([this] {
        nameThisThread("tolvana-serial");
        runSerialWorker();
      });
    } else {
      workersWake_.notify_one();
    }
    return std::make_shared<ThreadSerialQueue>(std::move(state));
  }

  bool isMainThread() const override { return std::this_thread::get_id() == mainThreadId_; }

 private:
  // Ties in due time run in the order they were queued.
  struct MainKey {
    std::chrono::steady_clock::time_point due;
    std::uint64_t sequence;
    auto operator<=>(const MainKey&) const = default;
  };

  void runSerialWorker() {
    std::unique_lock lock(workersMutex_);
    for (;;) {
      ++idleWorkers_;
      workersWake_.wait(lock, [this] { return serialStopping_ || !pendingQueues_.empty(); });
      --idleWorkers_;
      if (serialStopping_) return;
      std::shared_ptr<SerialState> state = std::move(pendingQueues_.front());
      pendingQueues_.pop_front();
      lock.unlock();
      nameThisThread(state->label);
      runSerialQueue(state);
      state.reset();
      lock.lock();
    }
  }

  void enqueueMain(std::chrono::steady_clock::time_point due, Task task) {
    std::lock_guard lock(mainMutex_);
    if (mainStopping_) return;
    mainTasks_.emplace(MainKey{due, nextSequence_++}, std::move(task));
    mainWake_.notify_one();
  }

  void runMainQueue() {
    std::unique_lock lock(mainMutex_);
    while (!mainStopping_) {
      if (mainTasks_.empty()) {
        mainWake_.wait(lock);
        continue;
      }
      auto first = mainTasks_.begin();
      if (first->first.due > std::chrono::steady_clock::now()) {
        // Woken early by a new task (it may be due sooner) or spuriously: look again.
        mainWake_.wait_until(lock, first->first.due);
        continue;
      }
      Task task = std::move(first->second);
      mainTasks_.erase(first);
      lock.unlock();
      task();
      task = nullptr;
      lock.lock();
    }
  }

  void runGlobalQueue() {
    std::unique_lock lock(globalMutex_);
    for (;;) {
      globalWake_.wait(lock, [this] { return globalStopping_ || !globalTasks_.empty(); });
      if (globalStopping_) return;
      Task task = std::move(globalTasks_.front());
      globalTasks_.pop_front();
      lock.unlock();
      task();
      task = nullptr;
      lock.lock();
    }
  }

  // Constant after construction.
  std::thread mainThread_;
  std::thread::id mainThreadId_;
  std::vector<std::thread> globalThreads_;

  std::mutex mainMutex_;
  std::condition_variable mainWake_;
  std::map<MainKey, Task> mainTasks_;  // guarded by mainMutex_
  std::uint64_t nextSequence_ = 0;     // guarded by mainMutex_
  bool mainStopping_ = false;          // guarded by mainMutex_

  std::mutex globalMutex_;
  std::condition_variable globalWake_;
  std::deque<Task> globalTasks_;  // guarded by globalMutex_
  bool globalStopping_ = false;   // guarded by globalMutex_

  std::mutex workersMutex_;
  std::condition_variable workersWake_;
  std::vector<std::thread> workerThreads_;                    // guarded by workersMutex_
  std::deque<std::shared_ptr<SerialState>> pendingQueues_;    // guarded by workersMutex_
  std::vector<std::weak_ptr<SerialState>> serialStates_;      // guarded by workersMutex_
  int idleWorkers_ = 0;                                       // guarded by workersMutex_
  bool serialStopping_ = false;                               // guarded by workersMutex_
};

}  // namespace

std::shared_ptr<Dispatch> makeThreadDispatch() { return std::make_shared<ThreadDispatch>(); }

}  // namespace tolvana
