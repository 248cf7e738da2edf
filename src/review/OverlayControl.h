// OverlayControl: whether the review tools' overlay window is up, and the rules for putting it
// up: only in draft mode (or, in its UI-test variant, whenever UI tests run) and never in an
// app extension. It holds the overlay's model (TLOverlay) and keeps the Ui port's window
// drawn from it.
//
// Thread contract: any thread may ask; the window comes and goes on the main queue, so
// overlayActive() turns true only once the queued creation has run.
#pragma once

#include <atomic>
#include <functional>
#include <memory>

#include "localization/EngineState.h"
#include "review/TLOverlay.h"
#include "tolvana/Value.h"

namespace tolvana {

class OverlayControl {
 public:
  struct Context {
    EngineState& state;
    std::weak_ptr<const void> owner;
    // The screen tags the server knows, or nullopt; completes on the main queue.
    std::function<void(std::function<void(std::optional<Value>)>)> loadScreenTags;
    // What the overlay's buttons ask of the engine (its "changed" is this class's own).
    TLOverlay::Engine engine;
  };
  explicit OverlayControl(Context context);

  bool overlayActive() const { return active_; }
  void addOverlay();
  void removeOverlay();
  void toggleOverlay();
  bool setScreenShotMenuVisible(bool visible);
  void addUITestOverlay();
  // The overlay's model while it is up; main queue only.
  TLOverlay* overlay() const { return overlay_.get(); }

 private:
  Context context_;
  std::atomic<bool> active_{false};
  std::unique_ptr<TLOverlay> overlay_;  // main queue only

  void show(bool forUiTests);
  void draw();
};

}  // namespace tolvana
