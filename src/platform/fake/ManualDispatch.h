// A Dispatch whose main queue runs only when a test drains it, on the test's thread.
// Delayed main tasks fall due by the given Clock (a SimulatedClock makes ten seconds pass
// at once). The global queue and serial queues run on real threads, as in production; a test
// can wait for them to fall idle before it installs another platform, which their tasks
// would otherwise reach while the old one goes.
#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "support/Mutex.h"
#include "tolvana/platform/Clock.h"
#include "tolvana/platform/Dispatch.h"

namespace tolvana {

class ManualDispatch final : public Dispatch {
 public:
  explicit ManualDispatch(std::shared_ptr<Clock> clock);
  ~ManualDispatch() override;

  void mainAsync(Task task) override;
  void mainAfter(std::chrono::milliseconds delay, Task task) override;
  void globalAsync(Task task) override;
  std::shared_ptr<SerialQueue> makeSerialQueue(std::string label) override;
  // The thread that drains the queue counts as the main thread.
  bool isMainThread() const override;

  // Runs every main task that is due now, including those they queue; returns how many ran.
  int drain();
  // Drains repeatedly until done() holds or the real-time limit passes; true when it held.
  bool runUntil(const std::function<bool()>& done, std::chrono::milliseconds limit = std::chrono::seconds(10));
  // Main tasks queued and not yet run (delayed ones included).
  std::size_t pendingCount() const;
  // Waits until no global or serial-queue task is queued or running; false when the limit
  // passed first.
  bool waitForBackground(std::chrono::milliseconds limit);

 private:
  struct Pending;
  struct Background;
  class CountedQueue;
  // The task, counted as background work from now until it ran or was discarded.
  static Task counted(const std::shared_ptr<Background>& busy, Task task);
  std::shared_ptr<Clock> clock_;
  mutable Mutex mutex_;
  std::condition_variable wake_;
  std::vector<std::unique_ptr<Pending>> pending_ TL_GUARDED_BY(mutex_);
  std::uint64_t sequence_ TL_GUARDED_BY(mutex_) = 0;
  std::thread::id mainThread_ TL_GUARDED_BY(mutex_);
  std::shared_ptr<Dispatch> background_;           // real threads for global and serial queues
  std::shared_ptr<Background> busy_;               // shared with the tasks, which may outlive this
};

}  // namespace tolvana
