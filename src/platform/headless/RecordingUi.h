// The Ui without a toolkit: it records what the engine presents, so tools and tests can
// see it. It writes no log lines: what the engine logs about an alert is the engine's to say.
#pragma once

#include <memory>
#include <mutex>
#include <vector>

#include "tolvana/platform/Ui.h"

namespace tolvana {

class RecordingUi final : public Ui {
 public:
  void presentAlert(Alert alert) override;
  // A copy of every alert presented so far, oldest first.
  std::vector<Alert> alerts() const;

 private:
  mutable std::mutex mutex_;
  std::vector<Alert> alerts_;  // guarded by mutex_
};

}  // namespace tolvana
