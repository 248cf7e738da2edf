#include "review/OverlayControl.h"

#include "config/TLDeviceUtil.h"
#include "support/TLLog.h"
#include "support/WhileAlive.h"
#include "tolvana/platform/Platform.h"

namespace tolvana {

OverlayControl::OverlayControl(Context context) : context_(std::move(context)) {}

void OverlayControl::show(bool forUiTests) {
  // The presence test above ran before this hop, so two quick calls can queue two windows;
  // the second replaces the first.
  Platform::Current().dispatch().mainAsync(whileAlive(context_.owner, [this, forUiTests] {
    TLOverlay::Engine engine = context_.engine;
    engine.changed = whileAlive(context_.owner, [this] { draw(); });
    overlay_ = std::make_unique<TLOverlay>(Platform::Current().ui().mainScreen(), forUiTests, std::move(engine));
    active_ = true;
    draw();
    if (!context_.loadScreenTags) return;
    context_.loadScreenTags(whileAlive(context_.owner, [this, shown = overlay_.get()](std::optional<Value> tags) {
      if (overlay_.get() != shown) return;
      std::vector<std::string> names;
      if (tags && tags->isArray()) {
        for (const Value& tag : tags->asArray()) {
          if (tag.isString()) names.push_back(tag.asString());
        }
      }
      overlay_->updateScreenTags(std::move(names));
    }));
  }));
}

void OverlayControl::draw() {
  if (!overlay_) return;
  UiOverlay scene{overlay_->controls(), overlay_->touchable(), nullptr, nullptr};
  auto forward = [this](void (TLOverlay::*act)(const std::string&, const std::string&)) {
    return whileAlive(context_.owner, [this, act](const std::string& control, const std::string& text) {
      if (overlay_) (overlay_.get()->*act)(control, text);
    });
  };
  scene.onTap = forward(&TLOverlay::tap);
  scene.onEdit = forward(&TLOverlay::edit);
  Platform::Current().ui().showOverlay(std::move(scene));
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
  auto removeWindow = [] { Platform::Current().ui().removeOverlay(); };
  Platform::Current().dispatch().mainAsync(whileAlive(
      context_.owner,
      [this, removeWindow] {
        removeWindow();
        overlay_.reset();
      },
      removeWindow));
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
