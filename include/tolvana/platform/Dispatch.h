// Dispatch: the main queue, a global concurrent queue and serial queues.
//
// The main queue runs its tasks one at a time, in order, on the main thread: the thread of a
// toolkit's event loop when an adapter drives it, else a thread of the library's own. Delayed
// tasks run no earlier than their delay and in order of their due time. Serial queues run
// their tasks one at a time, in order, on some thread that is not the main thread. The global
// queue runs tasks concurrently.
//
// Thread contract: every method may be called from any thread, also from inside a task, and
// the last reference to a dispatch may be dropped anywhere, also by one of its own tasks.
// Each live serial queue makes progress whatever the other queues do. Tasks should not
// throw; the library's own dispatch logs what a task throws and carries on.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>

#include "tolvana/Export.h"

namespace tolvana {

using Task = std::function<void()>;

class TOLVANA_EXPORT SerialQueue {
 public:
  virtual ~SerialQueue() = default;
  virtual void async(Task task) = 0;
};

class TOLVANA_EXPORT Dispatch {
 public:
  virtual ~Dispatch() = default;
  virtual void mainAsync(Task task) = 0;
  virtual void mainAfter(std::chrono::milliseconds delay, Task task) = 0;
  virtual void globalAsync(Task task) = 0;
  // A new serial queue; it lives until the last reference is dropped and its queued tasks ran.
  virtual std::shared_ptr<SerialQueue> makeSerialQueue(std::string label) = 0;
  // True on the thread that runs the main queue.
  virtual bool isMainThread() const = 0;
};

}  // namespace tolvana
