// DraftMode: how a tester flips draft mode from inside the running app. A long two-finger
// press opens the key dialog; the first four characters of the project's API secret toggle
// the mode, which is persisted, and the app ends a second later so that the next launch
// starts in the new mode. Two-finger swipes show or hide the overlay.
//
// Thread contract: the dialog and the gestures live on the main queue; the methods below are
// called there (the gesture registration hops there by itself).
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "localization/EngineState.h"

namespace tolvana {

class DraftMode {
 public:
  struct Context {
    EngineState& state;
    // Whose life bounds the gestures' and the dialog's handlers: the engine, or a test's.
    std::weak_ptr<const void> owner;
    std::function<void(bool)> setInDraftMode;
    std::function<void()> writeDraftMode;
    std::function<void()> toggleOverlay;
    // Ends the process with status 0; a host that cannot end replaces the Device port.
    std::function<void()> exitApp;
  };
  explicit DraftMode(Context context);

  static constexpr const char* kAskMessage = "Enter your Draft Mode Key, afterwards your app needs to be restarted.";
  static constexpr const char* kFailedMessage = "Failed attempt, please try again to enter your Draft Mode Key.";

  void registerTestModeGesture();
  void registerDraftMenuGesture();
  void showDraftModeDialog();
  void showDraftModeAlertWithMessage(const std::string& message);
  void textFieldDidEndEditing(const std::string& text);
  void alertViewDidDismissWithButtonIndex(std::int64_t index);
  bool dialogOpen() const { return dialogOpen_; }

 private:
  Context context_;
  bool dialogOpen_ = false;            // main queue only
  bool hasSwitchedSuccessfully_ = false;  // main queue only

  // The handler, run only while the owner lives.
  std::function<void()> guarded(std::function<void(DraftMode&)> step);
};

}  // namespace tolvana
