// The contract every implementation of Ui keeps, as a typed test suite. A toolkit joins it
// by instantiating it with a harness of its own:
//
//   INSTANTIATE_TYPED_TEST_SUITE_P(MyToolkit, UiContract, ::testing::Types<MyHarness>);
//
// A harness provides:
//   ui                the implementation under test
//   dispatch          the dispatch whose main queue the UI lives on
//   runMain(done)     runs that main queue until done() holds; false when it never does
//   state()           a UiState read from the implementation's screen
//   kNoUser           empty when tap(alert, action, texts) can type the texts into the
//                     alert's fields and choose an action as a user would, called from a
//                     thread that is not the main one; else why it cannot, and the cases
//                     that need a user are skipped
#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <mutex>
#include <thread>

#include "tolvana/platform/Ui.h"

namespace tolvana::contract {

// What a user would find on screen.
struct UiState {
  int lookupHookInstallations = 0;
  std::string overlay;              // the overlay's visible titles, "" when there is none
  std::vector<std::string> alerts;  // summary() of each alert shown, oldest first
  bool operator==(const UiState&) const = default;
};

inline std::string titles(const UiOverlay& overlay) {
  std::string text;
  for (const auto& control : overlay.controls) {
    if (!control.hidden) text += "[" + control.title + "]";
  }
  return text;
}

// A strip with a button, and the button alone (what a redraw may leave).
inline UiOverlay stripOverlay(bool withPanel) {
  UiOverlay overlay;
  if (withPanel) overlay.controls.push_back({.name = "strip", .kind = UiControl::Kind::panel, .frame = {0, 0, 200, 80}});
  overlay.controls.push_back({.name = "capture", .parent = withPanel ? "strip" : "", .frame = {4, 4, 192, 32},
                              .title = "Capture Screen"});
  overlay.touchable = {"capture"};
  return overlay;
}

inline std::string summary(const Alert& alert) {
  std::string text = alert.title + " | " + alert.message + " |";
  for (const auto& field : alert.textFields) {
    text += " [" + field.placeholder + (field.secureTextEntry ? " secure" : "") + " " + field.accessibilityIdentifier + "]";
  }
  for (const auto& action : alert.actions) text += " (" + action.title + ")";
  return text;
}

template <class Harness>
struct UiContract : ::testing::Test {
  Harness h;
  // Runs the step on the main queue, where the engine calls the UI, and waits for it.
  void onMain(const std::function<void(Ui&)>& step) {
    std::atomic<bool> done{false};
    h.dispatch->mainAsync([&] {
      step(*h.ui);
      done = true;
    });
    ASSERT_TRUE(h.runMain([&] { return done.load(); }));
  }
};
TYPED_TEST_SUITE_P(UiContract);

TYPED_TEST_P(UiContract, HooksGoInOnceAndRemovingNoOverlayDoesNothing) {
  // Every engine start installs the hooks, on whichever thread starts it.
  this->h.ui->installLookupHooks();
  this->h.ui->installLookupHooks();
  std::thread([this] { this->h.ui->installLookupHooks(); }).join();
  EXPECT_EQ(this->h.state().lookupHookInstallations, 1);

  struct Step {
    std::function<void(Ui&)> call;
    std::string overlay;
  } const steps[] = {
      {[](Ui& ui) { ui.removeOverlay(); }, ""},
      {[](Ui& ui) { ui.showOverlay(stripOverlay(true)); }, "[][Capture Screen]"},
      {[](Ui& ui) { ui.showOverlay(stripOverlay(false)); }, "[Capture Screen]"},
      {[](Ui& ui) { ui.removeOverlay(); }, ""},
      {[](Ui& ui) { ui.removeOverlay(); }, ""},
      {[](Ui& ui) { ui.showOverlay(stripOverlay(true)); }, "[][Capture Screen]"},
  };
  for (std::size_t i = 0; i < std::size(steps); ++i) {
    this->onMain(steps[i].call);
    EXPECT_EQ(this->h.state().overlay, steps[i].overlay) << "after step " << i;
  }
}

inline Alert loginAlert(std::function<void(const std::vector<std::string>&)> onLogIn) {
  return {.title = "Log in",
          .message = "Review tools",
          .textFields = {{.placeholder = "Email", .accessibilityIdentifier = "email"},
                         {.placeholder = "Password", .accessibilityIdentifier = "password", .secureTextEntry = true}},
          .actions = {{.title = "Cancel"}, {.title = "Log in", .handler = std::move(onLogIn)}}};
}

TYPED_TEST_P(UiContract, AlertsShowWholeInOrder) {
  Alert first = loginAlert(nullptr), second = {.title = "Done", .actions = {{.title = "OK"}}};
  this->onMain([&](Ui& ui) { ui.presentAlert(first); });
  this->onMain([&](Ui& ui) { ui.presentAlert(second); });
  EXPECT_EQ(this->h.state().alerts, (std::vector<std::string>{summary(first), summary(second)}));
}

TYPED_TEST_P(UiContract, ActionHandlersGetTheTypedTexts) {
  if constexpr (*TypeParam::kNoUser) {
    GTEST_SKIP() << TypeParam::kNoUser;
  } else {
    std::mutex mutex;
    std::vector<std::string> typed;
    std::atomic<bool> ran{false};
    this->onMain([&](Ui& ui) {
      ui.presentAlert(loginAlert([&](const std::vector<std::string>& texts) {
        std::lock_guard lock(mutex);
        typed = texts;
        ran = true;
      }));
    });
    std::thread([this] { this->h.tap(0, 1, {"ana@example.org", "s3cret"}); }).join();
    ASSERT_TRUE(this->h.runMain([&] { return ran.load(); }));
    std::lock_guard lock(mutex);
    EXPECT_EQ(typed, (std::vector<std::string>{"ana@example.org", "s3cret"}));
  }
}

REGISTER_TYPED_TEST_SUITE_P(UiContract, HooksGoInOnceAndRemovingNoOverlayDoesNothing, AlertsShowWholeInOrder,
                            ActionHandlersGetTheTypedTexts);

}  // namespace tolvana::contract
