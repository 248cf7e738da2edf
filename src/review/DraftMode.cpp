#include "review/DraftMode.h"

#include <chrono>

#include "config/TLDeviceUtil.h"
#include "support/StringUtil.h"
#include "support/TLLog.h"
#include "support/WhileAlive.h"
#include "tolvana/platform/Platform.h"

namespace tolvana {

DraftMode::DraftMode(Context context) : context_(std::move(context)) {}

std::function<void()> DraftMode::guarded(std::function<void(DraftMode&)> step) {
  return whileAlive(context_.owner, [this, step = std::move(step)] { step(*this); });
}

void DraftMode::registerTestModeGesture() {
  if (TLDeviceUtil::isAppExtension()) {
    logWarning("Cant not uses gesture on extension.");
    return;
  }
  hasSwitchedSuccessfully_ = false;
  Platform::Current().dispatch().mainAsync([handler = guarded([](DraftMode& self) { self.showDraftModeDialog(); })] {
    Platform::Current().ui().addLongPressGesture(handler);
  });
}

void DraftMode::registerDraftMenuGesture() {
  if (TLDeviceUtil::isAppExtension()) {
    logWarning("Draftmode gesture is not working on App Extensions!");
    return;
  }
  Platform::Current().dispatch().mainAsync([handler = guarded([](DraftMode& self) { self.context_.toggleOverlay(); })] {
    Platform::Current().ui().addSwipeGestures(handler);
  });
}

void DraftMode::showDraftModeDialog() {
  // A press held on keeps calling; the open dialog absorbs the repeats.
  if (!context_.state.isDraftModeEnabled() || dialogOpen_) return;
  showDraftModeAlertWithMessage(kAskMessage);
}

void DraftMode::showDraftModeAlertWithMessage(const std::string& message) {
  if (TLDeviceUtil::isAppExtension()) {
    logWarning("Cant not show draftmode dialog on extension.");
    return;
  }
  dialogOpen_ = true;
  Alert alert;
  alert.title = context_.state.inDraftMode ? "Disable Tolvana Draft Mode" : "Enable Tolvana Draft Mode";
  alert.message = message;
  alert.textFields.push_back(
      {.placeholder = "DraftMode Key", .accessibilityIdentifier = "DraftModeKeyInput", .secureTextEntry = true, .text = ""});
  alert.actions.push_back({"OK", whileAlive(context_.owner, [this](const std::vector<std::string>& texts) {
                             textFieldDidEndEditing(texts.empty() ? std::string() : texts.front());
                             alertViewDidDismissWithButtonIndex(1);
                           })});
  alert.actions.push_back({"Abort", whileAlive(context_.owner, [this](const std::vector<std::string>&) {
                             alertViewDidDismissWithButtonIndex(0);
                             dialogOpen_ = false;
                           })});
  Platform::Current().ui().presentAlert(std::move(alert));
}

void DraftMode::textFieldDidEndEditing(const std::string& text) {
  dialogOpen_ = false;
  auto database = context_.state.database();
  std::string key;
  // A secret shorter than four characters (or none) gives no key, and nothing matches.
  if (!database || !utf16Prefix(database->apiSecret(), 4, &key) || text != key) return;
  context_.setInDraftMode(!context_.state.inDraftMode);
  context_.writeDraftMode();
  hasSwitchedSuccessfully_ = true;
  Platform::Current().dispatch().mainAfter(std::chrono::seconds(1), guarded([](DraftMode& self) {
                                             self.context_.exitApp();
                                           }));
}

void DraftMode::alertViewDidDismissWithButtonIndex(std::int64_t index) {
  if (index > 0 && !hasSwitchedSuccessfully_) showDraftModeAlertWithMessage(kFailedMessage);
  hasSwitchedSuccessfully_ = false;
}

}  // namespace tolvana
