#include "platform/headless/RecordingUi.h"

#include <algorithm>

#include "support/Mutex.h"

namespace tolvana {

void RecordingUi::presentAlert(Alert alert) {
  LockGuard lock(mutex_);
  alerts_.push_back(std::move(alert));
}

std::vector<Alert> RecordingUi::alerts() const {
  LockGuard lock(mutex_);
  return alerts_;
}

// Recorded as a toolkit's UI acts: the hooks go in at the first engine start, and the later
// starts, which ask again, change nothing.
void RecordingUi::installLookupHooks() {
  LockGuard lock(mutex_);
  if (hooksInstalled_) return;
  hooksInstalled_ = true;
  calls_.push_back("installLookupHooks");
}

void RecordingUi::showOverlay(UiOverlay overlay) {
  bool forUiTests = std::any_of(overlay.controls.begin(), overlay.controls.end(),
                                [](const UiControl& c) { return c.name == "toggleVisibleBtn"; });
  UniqueLock lock(mutex_);
  bool appears = !overlay_;
  overlay_ = std::move(overlay);
  lock.unlock();
  if (appears) record(forUiTests ? "addOverlay(uiTests)" : "addOverlay");
}

void RecordingUi::removeOverlay() {
  record("removeOverlay");
  LockGuard lock(mutex_);
  overlay_.reset();
}

void RecordingUi::focusOverlayControl(const std::string& control) {
  LockGuard lock(mutex_);
  focused_ = control;
}

std::optional<UiOverlay> RecordingUi::overlay() const {
  LockGuard lock(mutex_);
  return overlay_;
}

std::string RecordingUi::focusedControl() const {
  LockGuard lock(mutex_);
  return focused_;
}

std::optional<std::string> RecordingUi::touchOverlay(double x, double y) {
  auto shown = overlay();
  if (!shown) return std::nullopt;
  for (const std::string& name : shown->touchable) {
    for (const UiControl& c : shown->controls) {
      if (c.name != name || x < c.frame.x || y < c.frame.y || x >= c.frame.x + c.frame.width ||
          y >= c.frame.y + c.frame.height) {
        continue;
      }
      if (shown->onTap) shown->onTap(name, c.items.empty() ? c.text : c.items.front());
      return name;
    }
  }
  return std::nullopt;
}

void RecordingUi::typeIntoOverlay(const std::string& control, const std::string& text) {
  auto shown = overlay();
  if (shown && shown->onEdit) shown->onEdit(control, text);
}

void RecordingUi::addLongPressGesture(std::function<void()> handler) {
  record("addLongPressGesture");
  LockGuard lock(mutex_);
  longPress_ = std::move(handler);
}

void RecordingUi::addSwipeGestures(std::function<void()> handler) {
  record("addSwipeGestures");
  LockGuard lock(mutex_);
  swipe_ = std::move(handler);
}

void RecordingUi::record(std::string call) {
  LockGuard lock(mutex_);
  calls_.push_back(std::move(call));
}

std::vector<std::string> RecordingUi::calls() const {
  LockGuard lock(mutex_);
  return calls_;
}

bool RecordingUi::tap(std::size_t alert, std::size_t action, const std::vector<std::string>& fieldTexts) {
  AlertAction tapped;
  {
    LockGuard lock(mutex_);
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
  UniqueLock lock(mutex_);
  auto handler = longPress_;
  lock.unlock();
  return call(std::move(handler));
}

bool RecordingUi::swipe() {
  UniqueLock lock(mutex_);
  auto handler = swipe_;
  lock.unlock();
  return call(std::move(handler));
}

void RecordingUi::show(std::optional<UiView> window, UiScreen screen) {
  LockGuard lock(mutex_);
  window_ = std::move(window);
  screen_ = screen;
}

std::optional<UiView> RecordingUi::rootWindowView() {
  LockGuard lock(mutex_);
  return window_;
}

UiScreen RecordingUi::mainScreen() {
  LockGuard lock(mutex_);
  return screen_;
}

std::string RecordingUi::rootWindowPng() {
  // 1x1 grey, as an encoder writes it.
  static const unsigned char kPixel[] = {
      0x89, 0x50, 0x4e, 0x47, 0x0d, 0x0a, 0x1a, 0x0a, 0x00, 0x00, 0x00, 0x0d, 0x49, 0x48, 0x44, 0x52, 0x00, 0x00,
      0x00, 0x01, 0x00, 0x00, 0x00, 0x01, 0x08, 0x00, 0x00, 0x00, 0x00, 0x3a, 0x7e, 0x9b, 0x55, 0x00, 0x00, 0x00,
      0x0a, 0x49, 0x44, 0x41, 0x54, 0x78, 0x9c, 0x63, 0x68, 0x00, 0x00, 0x00, 0x82, 0x00, 0x81, 0x77, 0xcd, 0x72,
      0xb6, 0x00, 0x00, 0x00, 0x00, 0x49, 0x45, 0x4e, 0x44, 0xae, 0x42, 0x60, 0x82};
  LockGuard lock(mutex_);
  return window_ ? std::string(reinterpret_cast<const char*>(kPixel), sizeof kPixel) : std::string();
}

std::optional<std::string> RecordingUi::pasteboardString() {
  LockGuard lock(mutex_);
  return pasteboard_;
}

void RecordingUi::setPasteboardString(const std::string& text) {
  LockGuard lock(mutex_);
  pasteboard_ = text;
}

}  // namespace tolvana
