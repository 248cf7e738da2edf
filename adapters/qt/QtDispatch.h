// QtDispatch: the main queue on the Qt event loop, so every main-queue callback of the
// engine runs on the GUI thread; the global and serial queues stay those of the base
// dispatch, which need no event loop.
//
// Tasks queued after the context object is gone (with its application object) are dropped:
// there is no GUI thread left to run them on. Any thread may queue while the GUI thread
// deletes the context: both go through one lock, so a task is either posted to a living
// context or dropped.
#pragma once

#include <QObject>
#include <memory>

#include "tolvana/platform/Dispatch.h"

namespace tolvana::qt {

class QtDispatch final : public Dispatch {
 public:
  // Call on the GUI thread; context receives the queued calls and must live on it.
  QtDispatch(QObject* context, std::shared_ptr<Dispatch> base);
  void mainAsync(Task task) override;
  void mainAfter(std::chrono::milliseconds delay, Task task) override;
  void globalAsync(Task task) override;
  std::shared_ptr<SerialQueue> makeSerialQueue(std::string label) override;
  bool isMainThread() const override;

  class Gate;

 private:
  std::shared_ptr<Gate> gate_;
  std::shared_ptr<Dispatch> base_;
};

}  // namespace tolvana::qt
