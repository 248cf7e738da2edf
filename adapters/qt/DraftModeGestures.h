// DraftModeGestures: the hidden gestures of draft mode on every window of the app, widget
// windows and QML scenes alike. The touch stream is read where it reaches a window, before
// the window hands it on: two fingers held still for four seconds, and two fingers swiped up
// or down. Desktops without a touch screen get keys instead: Ctrl+Alt+Shift+K asks for the
// key, Ctrl+Alt+Shift+Up or Down toggles the overlay.
//
// One watcher per application object, made on first use and deleted with it; the handlers
// are the process's, so an application object made later gets them too.
//
// Thread contract: GUI thread only.
#pragma once

#include <QObject>
#include <QPointF>
#include <QTimer>
#include <functional>
#include <optional>

class QTouchEvent;

namespace tolvana::qt {

class DraftModeGestures final : public QObject {
 public:
  // The watcher of the current application object.
  static DraftModeGestures& instance();

  // A later call replaces the handler.
  void setLongPressHandler(std::function<void()> handler);
  void setSwipeHandler(std::function<void()> handler);

  static constexpr int kHoldMilliseconds = 4000;
  static constexpr int kSwipeDistance = 60;  // device-independent pixels, mostly vertical
  static constexpr int kHoldSlack = 20;      // how far fingers held still may wander

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  DraftModeGestures();
  void track(QTouchEvent* touch);

  // The touch sequence under way: where its two fingers came down, and whether it swiped.
  std::optional<QPointF> start_;
  bool swiped_ = false;
  QTimer hold_;
};

}  // namespace tolvana::qt
