#include "QtDispatch.h"

#include <QTimer>

#include "tolvana/Hooks.h"

namespace tolvana::qt {

namespace {

void run(const Task& task) { TolvanaHooks::runGuarded("A main-queue task", task); }

}  // namespace

QtDispatch::QtDispatch(QObject* context, std::shared_ptr<Dispatch> base)
    : gate_(GuiGate::open(context)), base_(std::move(base)) {}

void QtDispatch::mainAsync(Task task) {
  gate_->post([task = std::move(task)] { run(task); });
}

void QtDispatch::mainAfter(std::chrono::milliseconds delay, Task task) {
  // A timer belongs to the thread that starts it, so it is started from the GUI thread; a
  // coarse timer may fire a little early, which delayed tasks must never do.
  gate_->post([gate = gate_, delay, task = std::move(task)]() mutable {
    if (QObject* context = gate->target()) {
      QTimer::singleShot(delay, Qt::PreciseTimer, context, [task = std::move(task)] { run(task); });
    }
  });
}

void QtDispatch::globalAsync(Task task) { base_->globalAsync(std::move(task)); }

std::shared_ptr<SerialQueue> QtDispatch::makeSerialQueue(std::string label) {
  return base_->makeSerialQueue(std::move(label));
}

bool QtDispatch::isMainThread() const { return gate_->onTargetThread(); }

}  // namespace tolvana::qt
