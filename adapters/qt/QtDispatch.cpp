#include "QtDispatch.h"

#include <QCoreApplication>
#include <QThread>
#include <QTimer>
#include <mutex>

#include "tolvana/Hooks.h"

namespace tolvana::qt {

// The context as other threads may see it: cleared, under the lock, by the context's own
// destruction on the GUI thread, which therefore waits for a post in progress to end.
class QtDispatch::Gate {
 public:
  explicit Gate(QObject* context) : context_(context), thread_(context->thread()) {}

  void close() {
    std::lock_guard lock(mutex_);
    context_ = nullptr;
  }
  // Posts the call to the context's thread; false when the context is gone.
  template <class Call>
  bool post(Call&& call) {
    std::lock_guard lock(mutex_);
    if (!context_) return false;
    QMetaObject::invokeMethod(context_, std::forward<Call>(call), Qt::QueuedConnection);
    return true;
  }
  // The context, on the GUI thread only, where nothing else can delete it meanwhile.
  QObject* context() {
    std::lock_guard lock(mutex_);
    return context_;
  }
  bool onGuiThread() {
    std::lock_guard lock(mutex_);
    return context_ && QThread::currentThread() == thread_;
  }

 private:
  std::mutex mutex_;
  QObject* context_;  // guarded by mutex_
  QThread* const thread_;
};

namespace {

void run(const Task& task) { TolvanaHooks::runGuarded("A main-queue task", task); }

}  // namespace

QtDispatch::QtDispatch(QObject* context, std::shared_ptr<Dispatch> base)
    : gate_(std::make_shared<Gate>(context)), base_(std::move(base)) {
  // Emitted from the context's destructor, on the GUI thread, before the object is freed.
  QObject::connect(context, &QObject::destroyed, [gate = gate_] { gate->close(); });
}

void QtDispatch::mainAsync(Task task) {
  gate_->post([task = std::move(task)] { run(task); });
}

void QtDispatch::mainAfter(std::chrono::milliseconds delay, Task task) {
  // A timer belongs to the thread that starts it, so it is started from the GUI thread; a
  // coarse timer may fire a little early, which delayed tasks must never do.
  gate_->post([gate = gate_, delay, task = std::move(task)]() mutable {
    if (QObject* context = gate->context()) {
      QTimer::singleShot(delay, Qt::PreciseTimer, context, [task = std::move(task)] { run(task); });
    }
  });
}

void QtDispatch::globalAsync(Task task) { base_->globalAsync(std::move(task)); }

std::shared_ptr<SerialQueue> QtDispatch::makeSerialQueue(std::string label) {
  return base_->makeSerialQueue(std::move(label));
}

bool QtDispatch::isMainThread() const { return gate_->onGuiThread(); }

}  // namespace tolvana::qt
