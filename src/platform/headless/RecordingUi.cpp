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

}  // namespace tolvana
