#include "DraftModeGestures.h"

#include <QApplication>
#include <QGesture>
#include <QGestureEvent>
#include <QGestureRecognizer>
#include <QKeyEvent>
#include <QPointer>
#include <QTouchEvent>
#include <QWidget>

namespace tolvana::qt {
namespace {

// The centre of the touch points, or nothing when not exactly two fingers are down.
std::optional<QPointF> twoFingerCentre(QEvent* event) {
  auto* touch = static_cast<QTouchEvent*>(event);
  if (touch->points().size() != 2) return std::nullopt;
  return (touch->points()[0].globalPosition() + touch->points()[1].globalPosition()) / 2;
}

bool isTouch(QEvent* event) {
  return event->type() == QEvent::TouchBegin || event->type() == QEvent::TouchUpdate ||
         event->type() == QEvent::TouchEnd || event->type() == QEvent::TouchCancel;
}

// Two fingers that stay down, and near where they landed, for the whole hold time. The
// gesture's own timer ends the wait, as no touch event comes while fingers rest.
class HoldGesture final : public QGesture {
 public:
  using QGesture::QGesture;
  QPointF start;
  int timer = 0;
};

class HoldRecognizer final : public QGestureRecognizer {
 public:
  QGesture* create(QObject* target) override { return new HoldGesture(target); }
  Result recognize(QGesture* gesture, QObject* watched, QEvent* event) override {
    auto* hold = static_cast<HoldGesture*>(gesture);
    if (watched == hold && event->type() == QEvent::Timer) {
      hold->killTimer(hold->timer);
      hold->timer = 0;
      return FinishGesture | ConsumeEventHint;
    }
    if (!isTouch(event)) return Ignore;
    auto centre = twoFingerCentre(event);
    bool ended = event->type() == QEvent::TouchEnd || event->type() == QEvent::TouchCancel;
    if (ended || !centre || (hold->timer && (*centre - hold->start).manhattanLength() > 20)) {
      return hold->timer ? CancelGesture : Ignore;
    }
    if (!hold->timer) {
      hold->start = *centre;
      hold->timer = hold->startTimer(DraftModeGestures::kHoldMilliseconds);
    }
    return MayBeGesture;
  }
  void reset(QGesture* gesture) override {
    auto* hold = static_cast<HoldGesture*>(gesture);
    if (hold->timer) hold->killTimer(hold->timer);
    hold->timer = 0;
    QGestureRecognizer::reset(gesture);
  }
};

// Two fingers moved together mostly up or down by the swipe distance.
class SwipeGesture final : public QGesture {
 public:
  using QGesture::QGesture;
  std::optional<QPointF> start;
};

class SwipeRecognizer final : public QGestureRecognizer {
 public:
  QGesture* create(QObject* target) override { return new SwipeGesture(target); }
  Result recognize(QGesture* gesture, QObject*, QEvent* event) override {
    auto* swipe = static_cast<SwipeGesture*>(gesture);
    if (!isTouch(event)) return Ignore;
    // One swipe per touch sequence: the fingers moving on after it are no second swipe.
    if (event->type() == QEvent::TouchBegin) swiped_ = false;
    if (swiped_) return Ignore;
    auto centre = twoFingerCentre(event);
    if (!centre || event->type() == QEvent::TouchEnd || event->type() == QEvent::TouchCancel) {
      return swipe->start ? CancelGesture : Ignore;
    }
    if (!swipe->start) swipe->start = *centre;
    QPointF moved = *centre - *swipe->start;
    if (std::abs(moved.y()) >= DraftModeGestures::kSwipeDistance && std::abs(moved.y()) > 2 * std::abs(moved.x())) {
      swiped_ = true;
      return FinishGesture;
    }
    return MayBeGesture;
  }
  void reset(QGesture* gesture) override {
    static_cast<SwipeGesture*>(gesture)->start.reset();
    QGestureRecognizer::reset(gesture);
  }

 private:
  bool swiped_ = false;
};

// The handlers outlive any one application object: the engine installs them once per process.
struct Handlers {
  std::function<void()> longPress, swipe;
};
Handlers& handlers() {
  static auto* kept = new Handlers;
  return *kept;
}

// A copy runs, so a handler that installs another is not destroyed while it runs.
void call(std::function<void()> handler) {
  if (handler) handler();
}

}  // namespace

DraftModeGestures& DraftModeGestures::instance() {
  // Cleared when the application object deletes its watcher with itself.
  static QPointer<DraftModeGestures> current;
  if (!current) current = new DraftModeGestures();
  return *current;
}

DraftModeGestures::DraftModeGestures()
    : holdType_(QGestureRecognizer::registerRecognizer(new HoldRecognizer)),
      swipeType_(QGestureRecognizer::registerRecognizer(new SwipeRecognizer)) {
  setParent(qApp);
  qApp->installEventFilter(this);
  for (QWidget* window : QApplication::topLevelWidgets()) watch(window);
}

void DraftModeGestures::setLongPressHandler(std::function<void()> handler) { handlers().longPress = std::move(handler); }

void DraftModeGestures::setSwipeHandler(std::function<void()> handler) { handlers().swipe = std::move(handler); }

void DraftModeGestures::watch(QWidget* window) {
  // Touches outside any child still reach the window, so one grab per window covers it; the
  // host's own gestures are left alone, as both may be recognised together.
  window->setAttribute(Qt::WA_AcceptTouchEvents);
  window->grabGesture(holdType_);
  window->grabGesture(swipeType_);
}

bool DraftModeGestures::eventFilter(QObject* watched, QEvent* event) {
  switch (event->type()) {
    case QEvent::Show:
      // Only a shown object is asked what it is: every event of the process passes here, some
      // (key events among them) addressed to objects the web engine is tearing down.
      if (auto* widget = qobject_cast<QWidget*>(watched); widget && widget->isWindow()) watch(widget);
      return false;
    case QEvent::Gesture:
      for (QGesture* gesture : static_cast<QGestureEvent*>(event)->gestures()) {
        if (gesture->state() != Qt::GestureFinished) continue;
        if (gesture->gestureType() == holdType_) call(handlers().longPress);
        if (gesture->gestureType() == swipeType_) call(handlers().swipe);
      }
      return false;
    case QEvent::KeyPress: {
      auto* key = static_cast<QKeyEvent*>(event);
      if (key->modifiers() != (Qt::ControlModifier | Qt::AltModifier | Qt::ShiftModifier) || key->isAutoRepeat()) {
        return false;
      }
      if (key->key() == Qt::Key_K) call(handlers().longPress);
      if (key->key() == Qt::Key_Up || key->key() == Qt::Key_Down) call(handlers().swipe);
      return key->key() == Qt::Key_K || key->key() == Qt::Key_Up || key->key() == Qt::Key_Down;
    }
    default:
      return false;
  }
}

}  // namespace tolvana::qt
