#include "GuiGate.h"

namespace tolvana::qt {

std::shared_ptr<GuiGate> GuiGate::open(QObject* target) {
  auto gate = std::make_shared<GuiGate>(target);
  // Emitted from the target's destructor, on its thread, before the object is freed.
  QObject::connect(target, &QObject::destroyed, [gate] { gate->close(); });
  return gate;
}

QObject* GuiGate::target() {
  std::lock_guard lock(mutex_);
  return target_;
}

bool GuiGate::onTargetThread() {
  std::lock_guard lock(mutex_);
  return target_ && QThread::currentThread() == thread_;
}

void GuiGate::close() {
  std::lock_guard lock(mutex_);
  target_ = nullptr;
}

}  // namespace tolvana::qt
