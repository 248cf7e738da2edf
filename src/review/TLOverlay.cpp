#include "review/TLOverlay.h"

#include <chrono>

#include "config/TLDeviceUtil.h"
#include "support/TLLog.h"
#include "support/WhileAlive.h"
#include "tolvana/platform/Platform.h"

namespace tolvana {
namespace {

using Kind = UiControl::Kind;

constexpr const char* kSwiftUiMessage =
    "String & ID detection on screenshots does not work properly in SwiftUI apps, for better results please use the "
    "Show ID Mode as described in the Tolvana iOS SDK Integration Documentation.";

// One control's place: its panel and its frame within it.
struct Placement {
  const char* name;
  Kind kind;
  const char* parent;
  UiRect frame;
  const char* title;
  const char* accessibilityName;
};

// The panels span the screen from the top (desktops have no status bar); W is the screen's
// width, w its width less 6 in whole points, h half of that and H three less.
std::vector<Placement> layout(double W) {
  double w = static_cast<int>(W - 6), h = static_cast<int>(w) / 2, H = h - 3;
  return {
      {"overlayView", Kind::panel, "", {0, 0, W, 80}, "", ""},
      {"openCaptureScreenMenuBtn", Kind::button, "overlayView", {4, 4, W - 8, 32}, "Capture Screen", "Tolvana.OpenScreenshotView"},
      {"openCreateIssueBtn", Kind::button, "overlayView", {4, 44, W - 8, 32}, "Create Issue", "Tolvana.CreateIssue"},
      {"captureScreenshotView", Kind::panel, "", {0, 0, W, 102}, "", ""},
      {"selectTagBtn", Kind::button, "captureScreenshotView", {3, 3, w, 31}, "Select existing screen tag", "Tolvana.SelectTag"},
      {"customTagTextField", Kind::textField, "captureScreenshotView", {3, 37, w, 30}, "Enter custom screen tag", "Tolvana.EnterCustomTag"},
      {"cancelScreenshotBtn", Kind::button, "captureScreenshotView", {3, 71, H, 25}, "Back", "Tolvana.CancelScreenshot"},
      {"confirmScreenshotBtn", Kind::button, "captureScreenshotView", {h + 6, 71, H, 25}, "Capture", "Tolvana.ConfirmScreenshot"},
      {"createIssueView", Kind::panel, "", {0, 0, W, 102}, "", ""},
      {"issueTitleTextField", Kind::textField, "createIssueView", {3, 3, w, 30}, "Title", ""},
      {"issueDescrpitionTextField", Kind::textField, "createIssueView", {3, 36, w, 30}, "Description", ""},
      {"cancelIssueBtn", Kind::button, "createIssueView", {3, 69, H, 30}, "Cancel", "Tolvana.CreateIssue"},
      {"confirmIssueBtn", Kind::button, "createIssueView", {h + 6, 69, H, 30}, "Create", "Tolvana.CreateIssue"},
  };
}

bool contains(const UiRect& r, double x, double y) {
  return x >= r.x && y >= r.y && x < r.x + r.width && y < r.y + r.height;
}

}  // namespace

TLOverlay::TLOverlay(UiScreen screen, bool forUiTests, Engine engine)
    : screen_(screen), forUiTests_(forUiTests), engine_(std::move(engine)) {
  for (const Placement& p : layout(screen_.width)) state_[p.name] = {};
  for (const char* panel : {"overlayView", "captureScreenshotView", "createIssueView"}) {
    state_[panel].background = kTolvanaBlue;
  }
  state_["captureScreenshotView"].hidden = state_["createIssueView"].hidden = true;
  state_["selectTagBtn"].enabled = false;  // until the server names a tag
  state_["tagList"] = {.hidden = true};
  if (forUiTests_) {
    // A UI test starts with the strip hidden and opens it with an invisible button.
    state_["toggleVisibleBtn"] = {.background = 0};
    state_["overlayView"].hidden = true;
  }
}

std::vector<UiControl> TLOverlay::controls() const {
  std::vector<UiControl> out;
  std::map<std::string, UiRect> panels;
  for (const Placement& p : layout(screen_.width)) {
    UiControl c{.name = p.name, .kind = p.kind, .parent = p.parent, .frame = p.frame, .title = p.title,
                .accessibilityName = p.accessibilityName};
    if (p.kind == Kind::panel) {
      panels[p.name] = p.frame;
    } else {
      c.frame.x += panels[p.parent].x;
      c.frame.y += panels[p.parent].y;
    }
    const State& s = at(p.name);
    c.hidden = s.hidden;
    c.enabled = s.enabled;
    c.text = s.text;
    c.background = s.background;
    c.foreground = p.kind == Kind::textField ? 0x000000FF : kTolvanaBlue;
    out.push_back(std::move(c));
  }
  out.push_back({.name = "tagList", .kind = Kind::list, .frame = {0, 0, screen_.width, screen_.height},
                 .hidden = at("tagList").hidden, .items = screenTags_, .background = 0xFFFFFFFF,
                 .foreground = kTolvanaBlue});
  if (forUiTests_) {
    const State& s = at("toggleVisibleBtn");
    out.push_back({.name = "toggleVisibleBtn", .kind = Kind::button,
                   .frame = {screen_.width - 10, screen_.height - 10, 10, 10}, .title = "TL_ToggleMenu",
                   .accessibilityName = "Tolvana.ToggleDraftMenu", .enabled = s.enabled, .background = 0,
                   .foreground = 0});
  }
  return out;
}

bool TLOverlay::reachable(const std::string& name) const {
  auto found = state_.find(name);
  if (found == state_.end() || found->second.hidden || !found->second.enabled) return false;
  for (const Placement& p : layout(screen_.width)) {
    if (name == p.name && *p.parent) return reachable(p.parent);
  }
  return true;
}

std::vector<std::string> TLOverlay::touchable() const {
  std::vector<std::string> order;
  if (!screenShotActive && !tagSelectActive) {
    if (issueOverlayActive) {
      order = {"cancelIssueBtn", "confirmIssueBtn", "issueTitleTextField", "issueDescrpitionTextField"};
    } else if (captureScreenOverlayActive) {
      order = {"selectTagBtn", "customTagTextField", "confirmScreenshotBtn", "cancelScreenshotBtn"};
    } else if (!at("overlayView").hidden) {
      order = {"openCaptureScreenMenuBtn", "openCreateIssueBtn"};
    }
  }
  if (forUiTests_) order.push_back("toggleVisibleBtn");
  if (tagSelectActive) order.push_back("tagList");
  std::erase_if(order, [this](const std::string& name) { return !reachable(name); });
  return order;
}

std::optional<std::string> TLOverlay::hitTest(double x, double y) const {
  auto all = controls();
  for (const std::string& name : touchable()) {
    for (const UiControl& c : all) {
      if (c.name == name && contains(c.frame, x, y)) return name;
    }
  }
  return std::nullopt;
}

void TLOverlay::changed() {
  if (engine_.changed) engine_.changed();
}

void TLOverlay::focus(const std::string& control) { Platform::Current().ui().focusOverlayControl(control); }

void TLOverlay::edit(const std::string& control, const std::string& text) {
  if (auto found = state_.find(control); found != state_.end()) found->second.text = text;
}

void TLOverlay::tap(const std::string& control, const std::string& text) {
  static const std::map<std::string, void (TLOverlay::*)()> kButtons = {
      {"openCaptureScreenMenuBtn", &TLOverlay::btnActionOpenScreenShotMenu},
      {"openCreateIssueBtn", &TLOverlay::btnActionOpenIssueCreationScreen},
      {"selectTagBtn", &TLOverlay::btnActionShowScreenTagSelect},
      {"cancelScreenshotBtn", &TLOverlay::btnActionCloseScreenShotMenu},
      {"confirmScreenshotBtn", &TLOverlay::btnActionCaptureScreenshot},
      {"cancelIssueBtn", &TLOverlay::btnActionCancelIssueCreationScreen},
      {"confirmIssueBtn", &TLOverlay::btnActionConfirmIssue},
      {"toggleVisibleBtn", &TLOverlay::btnActionToggleOverlayView},
  };
  if (auto button = kButtons.find(control); button != kButtons.end()) {
    (this->*button->second)();
  } else if (control == "tagList") {
    tagSelected(text);
  } else if (control == "customTagTextField") {
    focus(control);
  } else if (control == "issueTitleTextField") {
    focus("issueDescrpitionTextField");  // crossed, as the forms have always done
  } else if (control == "issueDescrpitionTextField") {
    focus("issueTitleTextField");
  }
}

void TLOverlay::btnActionToggleOverlayView() {
  if (tagSelectActive || screenShotActive) return;
  state_["overlayView"].hidden = !state_["overlayView"].hidden;
  changed();
}

void TLOverlay::btnActionOpenScreenShotMenu() {
  captureScreenOverlayActive = true;
  state_["customTagTextField"].text.clear();
  state_["captureScreenshotView"].hidden = false;
  state_["overlayView"].hidden = true;
  changed();
}

void TLOverlay::btnActionCloseScreenShotMenu() {
  captureScreenOverlayActive = false;
  state_["overlayView"].hidden = false;
  state_["captureScreenshotView"].hidden = true;
  changed();
}

void TLOverlay::btnActionOpenIssueCreationScreen() {
  issueOverlayActive = true;
  state_["createIssueView"].hidden = false;
  state_["overlayView"].hidden = true;
  changed();
  focus("issueTitleTextField");
}

void TLOverlay::btnActionCancelIssueCreationScreen() {
  issueOverlayActive = false;
  state_["overlayView"].hidden = false;
  state_["createIssueView"].hidden = true;
  changed();
}

void TLOverlay::btnActionConfirmIssue() {
  State& title = state_["issueTitleTextField"];
  State& description = state_["issueDescrpitionTextField"];
  if (title.text.empty() || description.text.empty()) {
    (title.text.empty() ? title : description).background = kPaleRed;
    return changed();
  }
  title.background = description.background = 0xFFFFFFFF;
  btnActionCancelIssueCreationScreen();
  // The fields keep their text for the next issue.
  engine_.requestJiraIssue(title.text, description.text);
}

void TLOverlay::btnActionShowScreenTagSelect() {
  state_["overlayView"].enabled = false;
  if (forUiTests_) state_["toggleVisibleBtn"].enabled = false;
  state_["tagList"].hidden = false;
  tagSelectActive = true;
  changed();
}

void TLOverlay::tagSelected(const std::string& tag) {
  updateSelectedTag(tag);
  state_["customTagTextField"].text = tag;
  state_["tagList"].hidden = true;
  tagSelectActive = false;
  // The strip stays untouchable until the overlay is made anew; only the toggle comes back.
  if (forUiTests_) state_["toggleVisibleBtn"].enabled = true;
  changed();
}

void TLOverlay::updateScreenTags(std::vector<std::string> tags) {
  screenTags_ = std::move(tags);
  updateSelectedTag(screenTags_.empty() ? std::nullopt : std::optional(screenTags_.front()));
  changed();
}

void TLOverlay::updateSelectedTag(const std::optional<std::string>& tag) {
  state_["selectTagBtn"].enabled = tag.has_value();
}

void TLOverlay::captured() {
  state_["captureScreenshotView"].hidden = false;
  screenShotActive = false;
  changed();
}

void TLOverlay::btnActionCaptureScreenshot() {
  std::string tag = state_["customTagTextField"].text;
  std::optional<std::string> positions;
  Ui& ui = Platform::Current().ui();
  if (TLDeviceUtil::isUITestRunning()) {
    if (auto pasted = ui.pasteboardString(); pasted && pasted->starts_with("tolvana:")) {
      positions = pasted->substr(8);
      ui.setPasteboardString("");
    }
  }
  if (tag.empty()) return;
  state_["captureScreenshotView"].hidden = true;
  screenShotActive = true;
  changed();
  // A completion may come after the overlay was replaced, or after the engine, which owns
  // it, was let go: it redraws only an overlay that is still there.
  auto redraw = whileAlive(engine_.owner, [this, alive = std::weak_ptr<bool>(alive_)](auto&&...) {
    if (!alive.expired()) captured();
  });
  if (positions) {
    Platform::Current().dispatch().mainAfter(
        std::chrono::milliseconds(100),
        whileAlive(engine_.owner, [this, alive = std::weak_ptr<bool>(alive_), tag, positions, redraw] {
          if (!alive.expired()) engine_.captureWithPositions(tag, *positions, redraw);
        }));
    return;
  }
  engine_.captureScreenshot(tag, [tag, swiftUi = engine_.isPossibleSwiftUi, redraw](bool uploaded) {
    if (swiftUi && swiftUi()) TLDeviceUtil::showMessage(kSwiftUiMessage, 8);
    redraw();
    if (uploaded) {
      logInfo("Successfully uploaded screenshot for tag: %@!", tag);
    } else {
      logInfo("Failed to upload screenshot!");
    }
  });
}

}  // namespace tolvana
