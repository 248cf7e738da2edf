// The Ui without a toolkit: it records what the engine presents, so tools and tests can
// see it, and lets a test act as the user would (tap an alert's action, make a gesture).
// It writes no log lines: what the engine logs about an alert is the engine's to say.
#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "support/Mutex.h"
#include "tolvana/platform/Ui.h"

namespace tolvana {

class RecordingUi final : public Ui {
 public:
  void presentAlert(Alert alert) override;
  void installLookupHooks() override;
  void showOverlay(UiOverlay overlay) override;
  void removeOverlay() override;
  void focusOverlayControl(const std::string& control) override;
  void addLongPressGesture(std::function<void()> handler) override;
  void addSwipeGestures(std::function<void()> handler) override;
  std::optional<UiView> rootWindowView() override;
  UiScreen mainScreen() override;
  // The PNG of whatever window is shown: a one-pixel image.
  std::string rootWindowPng() override;
  std::optional<std::string> pasteboardString() override;
  void setPasteboardString(const std::string& text) override;

  // What the app shows; at first no window on a 390 by 844 point screen at 3 pixels a point.
  void show(std::optional<UiView> window, UiScreen screen = {390, 844, 3});

  // A copy of every alert presented so far, oldest first.
  std::vector<Alert> alerts() const;
  // Every other request, in order: "installLookupHooks" (its first only: later ones change
  // nothing), "addOverlay" or "addOverlay(uiTests)" when an overlay appears (its redraws are
  // not listed), "removeOverlay", "addLongPressGesture", "addSwipeGestures".
  std::vector<std::string> calls() const;

  // The user taps the action of the alert (both counted from the first) after typing the
  // texts into its fields; false when there is no such action. Runs the handler on the
  // calling thread.
  bool tap(std::size_t alert, std::size_t action, const std::vector<std::string>& fieldTexts = {});
  // The overlay as last drawn, and the control last given the focus.
  std::optional<UiOverlay> overlay() const;
  std::string focusedControl() const;
  // A touch at the point: the control it lands on (the first of the touchable ones whose
  // frame holds it) is tapped; nullopt when it goes through to the app.
  std::optional<std::string> touchOverlay(double x, double y);
  // The user types the text into the overlay's field.
  void typeIntoOverlay(const std::string& control, const std::string& text);
  // The user makes the gesture; false when none was installed.
  bool longPress();
  bool swipe();

 private:
  mutable Mutex mutex_;
  std::vector<Alert> alerts_ TL_GUARDED_BY(mutex_);
  std::vector<std::string> calls_ TL_GUARDED_BY(mutex_);
  bool hooksInstalled_ TL_GUARDED_BY(mutex_) = false;
  std::function<void()> longPress_ TL_GUARDED_BY(mutex_);
  std::function<void()> swipe_ TL_GUARDED_BY(mutex_);
  std::optional<UiView> window_ TL_GUARDED_BY(mutex_);
  UiScreen screen_ TL_GUARDED_BY(mutex_){390, 844, 3};
  std::optional<std::string> pasteboard_ TL_GUARDED_BY(mutex_);
  std::optional<UiOverlay> overlay_ TL_GUARDED_BY(mutex_);
  std::string focused_ TL_GUARDED_BY(mutex_);

  void record(std::string call);
  static bool call(std::function<void()> handler);
};

}  // namespace tolvana
