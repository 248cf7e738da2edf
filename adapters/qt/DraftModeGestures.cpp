#include "DraftModeGestures.h"

#include <QCoreApplication>
#include <QKeyEvent>
#include <QPointer>
#include <QTouchEvent>
#include <cmath>

namespace tolvana::qt {
namespace {

// The centre of the touch points, or nothing when not exactly two fingers are down.
std::optional<QPointF> twoFingerCentre(const QTouchEvent* touch) {
  if (touch->points().size() != 2) return std::nullopt;
  return (touch->points()[0].globalPosition() + touch->points()[1].globalPosition()) / 2;
}

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

DraftModeGestures::DraftModeGestures() {
  setParent(QCoreApplication::instance());
  QCoreApplication::instance()->installEventFilter(this);
  // No touch event comes while fingers rest, so the hold ends by a timer of its own.
  hold_.setSingleShot(true);
  hold_.setInterval(kHoldMilliseconds);
  connect(&hold_, &QTimer::timeout, this, [] { call(handlers().longPress); });
}

void DraftModeGestures::setLongPressHandler(std::function<void()> handler) { handlers().longPress = std::move(handler); }

void DraftModeGestures::setSwipeHandler(std::function<void()> handler) { handlers().swipe = std::move(handler); }

void DraftModeGestures::track(QTouchEvent* touch) {
  if (touch->type() == QEvent::TouchBegin) swiped_ = false;
  auto centre = twoFingerCentre(touch);
  if (!centre || touch->type() == QEvent::TouchEnd || touch->type() == QEvent::TouchCancel) {
    hold_.stop();
    start_.reset();
    return;
  }
  if (!start_) {
    start_ = centre;
    hold_.start();
    return;
  }
  QPointF moved = *centre - *start_;
  if (moved.manhattanLength() > kHoldSlack) hold_.stop();
  // One swipe per touch sequence: the fingers moving on after it are no second swipe.
  if (!swiped_ && std::abs(moved.y()) >= kSwipeDistance && std::abs(moved.y()) > 2 * std::abs(moved.x())) {
    swiped_ = true;
    call(handlers().swipe);
  }
}

bool DraftModeGestures::eventFilter(QObject* watched, QEvent* event) {
  switch (event->type()) {
    case QEvent::TouchBegin:
    case QEvent::TouchUpdate:
    case QEvent::TouchEnd:
    case QEvent::TouchCancel:
      // A window hands touches on to its widgets or items as events of their own; only the
      // window's are counted, and the host's own handling is left alone.
      if (watched->isWindowType()) track(static_cast<QTouchEvent*>(event));
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
