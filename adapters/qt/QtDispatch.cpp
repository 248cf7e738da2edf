#include "QtDispatch.h"

#include <QCoreApplication>
#include <QThread>
#include <QTimer>
#include <cstdio>
#include <exception>

namespace tolvana::qt {

namespace {

// An exception must not unwind through Qt's event loop.
void run(const Task& task) {
  try {
    task();
  } catch (const std::exception& e) {
    std::fprintf(stderr, "tolvana-qt: a main-queue task threw: %s\n", e.what());
  } catch (...) {
    std::fprintf(stderr, "tolvana-qt: a main-queue task threw\n");
  }
}

}  // namespace

QtDispatch::QtDispatch(QObject* context, std::shared_ptr<Dispatch> base) : context_(context), base_(std::move(base)) {}

void QtDispatch::mainAsync(Task task) {
  QObject* context = context_.data();
  if (!context) return;
  QMetaObject::invokeMethod(context, [task = std::move(task)] { run(task); }, Qt::QueuedConnection);
}

void QtDispatch::mainAfter(std::chrono::milliseconds delay, Task task) {
  // A timer belongs to the thread that starts it, so it is started from the GUI thread; a
  // coarse timer may fire a little early, which delayed tasks must never do.
  mainAsync([context = context_, delay, task = std::move(task)]() mutable {
    if (!context) return;
    QTimer::singleShot(delay, Qt::PreciseTimer, context.data(), [task = std::move(task)] { run(task); });
  });
}

void QtDispatch::globalAsync(Task task) { base_->globalAsync(std::move(task)); }

std::shared_ptr<SerialQueue> QtDispatch::makeSerialQueue(std::string label) {
  return base_->makeSerialQueue(std::move(label));
}

bool QtDispatch::isMainThread() const {
  QObject* context = context_.data();
  return context && QThread::currentThread() == context->thread();
}

}  // namespace tolvana::qt
