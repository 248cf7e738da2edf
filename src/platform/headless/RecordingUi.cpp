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
void RecordingUi::registerDraftModeGestures() { record("registerDraftModeGestures"); }

void RecordingUi::record(std::string call) {
  std::lock_guard lock(mutex_);
  calls_.push_back(std::move(call));
}

std::vector<std::string> RecordingUi::calls() const {
  std::lock_guard lock(mutex_);
  return calls_;
}

}  // namespace tolvana
