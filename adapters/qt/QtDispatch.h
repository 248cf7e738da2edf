// QtDispatch: the main queue on the Qt event loop, so every main-queue callback of the
// engine runs on the GUI thread; the global and serial queues stay those of the base
// dispatch, which need no event loop.
//
// Tasks queued after the context object is gone (with its application object) are dropped:
// there is no GUI thread left to run them on (see GuiGate).
#pragma once

#include <QObject>
#include <memory>

#include "GuiGate.h"
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

 private:
  std::shared_ptr<GuiGate> gate_;
  std::shared_ptr<Dispatch> base_;
};

}  // namespace tolvana::qt
