// GuiGate: a QObject on the GUI thread as other threads may reach it. Closures that outlive
// the call that made them (the engine's completions, main-queue tasks) hold the gate, never
// the object: a call posted through the gate runs on the object's thread while the object
// lives, and is dropped once it is gone.
//
// The object's destruction closes the gate under the gate's lock, and so waits for a post in
// progress to end; a call already posted is dropped with the object's pending events.
//
// Thread contract: post() from any thread; the object's own thread makes and closes the gate.
#pragma once

#include <QMetaObject>
#include <QObject>
#include <QThread>
#include <memory>
#include <mutex>

namespace tolvana::qt {

class GuiGate {
 public:
  // Closed when target is destroyed.
  static std::shared_ptr<GuiGate> open(QObject* target);

  // Posts the call to the target's thread; false when the target is gone.
  template <class Call>
  bool post(Call&& call) {
    std::lock_guard lock(mutex_);
    if (!target_) return false;
    QMetaObject::invokeMethod(target_, std::forward<Call>(call), Qt::QueuedConnection);
    return true;
  }
  // The target, on its own thread only, where nothing else can delete it meanwhile.
  QObject* target();
  bool onTargetThread();

  explicit GuiGate(QObject* target) : target_(target), thread_(target->thread()) {}

 private:
  void close();

  std::mutex mutex_;
  QObject* target_;  // guarded by mutex_
  QThread* const thread_;
};

}  // namespace tolvana::qt
