// TLOverlay: the review tools' overlay, without a toolkit: a blue strip with "Capture Screen"
// and "Create Issue", the screen-tag form, the issue form and the tag list, their layout and
// modes, which controls take touches in each mode, and what each button does. The Ui port
// draws it (scene()) and reports taps and edits back.
//
// Thread contract: main queue only.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tolvana/platform/Ui.h"

namespace tolvana {

class TLOverlay {
 public:
  // What the overlay asks of the engine.
  struct Engine {
    std::function<void(const std::string& tag, std::function<void(bool)> done)> captureScreenshot;
    std::function<void(const std::string& tag, const std::string& positions, std::function<void(bool)> done)>
        captureWithPositions;
    std::function<void(const std::string& summary, const std::string& description)> requestJiraIssue;
    std::function<bool()> isPossibleSwiftUi;
    // Called after every change, so the window can be drawn anew.
    std::function<void()> changed;
    // Whose life bounds the overlay (the engine): a completion of what the overlay asked
    // touches the overlay only while it lives.
    std::weak_ptr<const void> owner;
  };
  static constexpr std::uint32_t kTolvanaBlue = 0x3099D6FF;  // 0.19, 0.6, 0.84
  static constexpr std::uint32_t kPaleRed = 0xFFE6E6FF;      // 1.0, 0.9, 0.9

  TLOverlay(UiScreen screen, bool forUiTests, Engine engine);

  bool tagSelectActive = false, screenShotActive = false, issueOverlayActive = false,
       captureScreenOverlayActive = false;

  // The controls in drawing order, and which of them take touches now, in the order a point
  // is offered to them.
  std::vector<UiControl> controls() const;
  std::vector<std::string> touchable() const;
  // The control a point (window coordinates) lands on; nullopt lets it through to the app.
  std::optional<std::string> hitTest(double x, double y) const;

  void tap(const std::string& control, const std::string& text);
  void edit(const std::string& control, const std::string& text);
  void updateScreenTags(std::vector<std::string> tags);
  void updateSelectedTag(const std::optional<std::string>& tag);

  void btnActionToggleOverlayView();
  void btnActionOpenScreenShotMenu();
  void btnActionCloseScreenShotMenu();
  void btnActionCaptureScreenshot();
  void btnActionOpenIssueCreationScreen();
  void btnActionCancelIssueCreationScreen();
  void btnActionConfirmIssue();
  void btnActionShowScreenTagSelect();
  void tagSelected(const std::string& tag);

 private:
  struct State {
    bool hidden = false, enabled = true;
    std::string text{};  // an initialiser, so designated initialisers may leave it out
    std::uint32_t background = 0xFFFFFFFF;
  };
  UiScreen screen_;
  bool forUiTests_;
  Engine engine_;
  std::vector<std::string> screenTags_;
  std::map<std::string, State> state_;
  // Lets a capture's completion tell whether the overlay still exists.
  std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);

  const State& at(const std::string& name) const { return state_.at(name); }
  bool reachable(const std::string& name) const;
  void captured();
  void changed();
  void focus(const std::string& control);
};

}  // namespace tolvana
