// The Ui without a toolkit: it records what the engine presents, so tools and tests can
// see it. It writes no log lines: what the engine logs about an alert is the engine's to say.
#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "tolvana/platform/Ui.h"

namespace tolvana {

class RecordingUi final : public Ui {
 public:
  void presentAlert(Alert alert) override;
  void installLookupHooks() override;
  void addOverlay(bool forUiTests) override;
  void removeOverlay() override;
  void registerDraftModeGestures() override;
  // A copy of every alert presented so far, oldest first.
  std::vector<Alert> alerts() const;
  // Every other request, in order: "installLookupHooks" (its first only: later ones change
  // nothing), "addOverlay", "addOverlay(uiTests)", "removeOverlay", "registerDraftModeGestures".
  std::vector<std::string> calls() const;

 private:
  mutable std::mutex mutex_;
  std::vector<Alert> alerts_;        // guarded by mutex_
  std::vector<std::string> calls_;  // guarded by mutex_
  bool hooksInstalled_ = false;     // guarded by mutex_
  void record(std::string call);
};

}  // namespace tolvana
