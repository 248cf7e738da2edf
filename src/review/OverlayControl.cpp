#include "review/OverlayControl.h"

#include "config/TLDeviceUtil.h"
#include "support/TLLog.h"
#include "tolvana/platform/Platform.h"

namespace tolvana {

OverlayControl::OverlayControl(Context context) : context_(std::move(context)) {}

void OverlayControl::show(bool forUiTests) {
  Platform& platform = Platform::Current();
  // The presence test above ran before this hop, so two quick calls can queue two windows;
  // the second replaces the first.
  platform.dispatch().mainAsync([&platform, owner = context_.owner, this, forUiTests] {
    if (!owner.lock()) return;
    platform.ui().addOverlay(forUiTests);
    active_ = true;
    if (context_.loadScreenTags) context_.loadScreenTags();
  });
}

void OverlayControl::addOverlay() {
  if (TLDeviceUtil::isAppExtension() || active_) return;
  if (!context_.state.inDraftMode) {
    logWarning("The DraftMenu can only be shown in draftMode!");
    return;
  }
  show(false);
}

void OverlayControl::addUITestOverlay() {
  if (TLDeviceUtil::isAppExtension()) return;
  show(true);
}

void OverlayControl::removeOverlay() {
  if (TLDeviceUtil::isAppExtension() || !active_.exchange(false)) return;
  Platform& platform = Platform::Current();
  platform.dispatch().mainAsync([&platform] { platform.ui().removeOverlay(); });
}

void OverlayControl::toggleOverlay() {
  if (active_) {
    removeOverlay();
  } else {
    addOverlay();
  }
}

bool OverlayControl::setScreenShotMenuVisible(bool visible) {
  // UI tests are refused too, whatever the message says: they have an overlay of their own.
  if (!context_.state.inDraftMode || TLDeviceUtil::isUITestRunning()) {
    logWarning("The screenshot menu can only be shown in draftMode or during UITests!");
    return false;
  }
  if (active_ != visible) toggleOverlay();
  return true;
}

}  // namespace tolvana
