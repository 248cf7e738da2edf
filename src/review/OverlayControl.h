// OverlayControl: whether the review tools' overlay window is up, and the rules for putting it
// up: only in draft mode (or, in its UI-test variant, whenever UI tests run) and never in an
// app extension. The window itself is the Ui port's.
//
// Thread contract: any thread may ask; the window comes and goes on the main queue, so
// overlayActive() turns true only once the queued creation has run.
#pragma once

#include <atomic>
#include <functional>
#include <memory>

#include "localization/EngineState.h"

namespace tolvana {

class OverlayControl {
 public:
  struct Context {
    EngineState& state;
    std::weak_ptr<const void> owner;
    // Called on the main queue once a window is up, to fill its tag list.
    std::function<void()> loadScreenTags;
  };
  explicit OverlayControl(Context context);

  bool overlayActive() const { return active_; }
  void addOverlay();
  void removeOverlay();
  void toggleOverlay();
  bool setScreenShotMenuVisible(bool visible);
  void addUITestOverlay();

 private:
  Context context_;
  std::atomic<bool> active_{false};

  void show(bool forUiTests);
};

}  // namespace tolvana
