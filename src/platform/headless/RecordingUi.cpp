#include "platform/headless/RecordingUi.h"

namespace tolvana {

void RecordingUi::presentAlert(Alert alert) {
  std::lock_guard lock(mutex_);
  alerts_.push_back(std::move(alert));
}

std::vector<Alert> RecordingUi::alerts() const {
  std::lock_guard lock(mutex_);
  return alerts_;
}

// Recorded as a toolkit's UI acts: the hooks go in at the first engine start, and the later
// starts, which ask again, change nothing.
void RecordingUi::installLookupHooks() {
  std::lock_guard lock(mutex_);
  if (hooksInstalled_) return;
  hooksInstalled_ = true;
  calls_.push_back("installLookupHooks");
}

void RecordingUi::addOverlay(bool forUiTests) { record(forUiTests ? "addOverlay(uiTests)" : "addOverlay"); }
void RecordingUi::removeOverlay() { record("removeOverlay"); }

void RecordingUi::addLongPressGesture(std::function<void()> handler) {
  record("addLongPressGesture");
  std::lock_guard lock(mutex_);
  longPress_ = std::move(handler);
}

void RecordingUi::addSwipeGestures(std::function<void()> handler) {
  record("addSwipeGestures");
  std::lock_guard lock(mutex_);
  swipe_ = std::move(handler);
}

void RecordingUi::record(std::string call) {
  std::lock_guard lock(mutex_);
  calls_.push_back(std::move(call));
}

std::vector<std::string> RecordingUi::calls() const {
  std::lock_guard lock(mutex_);
  return calls_;
}

bool RecordingUi::tap(std::size_t alert, std::size_t action, const std::vector<std::string>& fieldTexts) {
  AlertAction tapped;
  {
    std::lock_guard lock(mutex_);
    if (alert >= alerts_.size() || action >= alerts_[alert].actions.size()) return false;
    tapped = alerts_[alert].actions[action];
  }
  // Outside the lock: the handler may present the next alert.
  if (tapped.handler) tapped.handler(fieldTexts);
  return true;
}

bool RecordingUi::call(std::function<void()> handler) {
  if (handler) handler();
  return static_cast<bool>(handler);
}

bool RecordingUi::longPress() {
  std::unique_lock lock(mutex_);
  auto handler = longPress_;
  lock.unlock();
  return call(std::move(handler));
}

bool RecordingUi::swipe() {
  std::unique_lock lock(mutex_);
  auto handler = swipe_;
  lock.unlock();
  return call(std::move(handler));
}

void RecordingUi::show(std::optional<UiView> window, UiScreen screen) {
  std::lock_guard lock(mutex_);
  window_ = std::move(window);
  screen_ = screen;
}

std::optional<UiView> RecordingUi::rootWindowView() {
  std::lock_guard lock(mutex_);
  return window_;
}

UiScreen RecordingUi::mainScreen() {
  std::lock_guard lock(mutex_);
  return screen_;
}

}  // namespace tolvana
