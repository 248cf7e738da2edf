// Ui: what the engine asks of the host's user interface: alerts, the review tools' overlay
// and gestures, and the hooks that route the toolkit's own string look-ups to the engine.
//
// Thread contract: methods are called on the main queue only (Dispatch::mainAsync), except
// installLookupHooks, which runs on the thread that starts the engine. Action handlers are
// called on the main queue.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "tolvana/Export.h"

namespace tolvana {

struct TOLVANA_EXPORT AlertTextField {
  std::string placeholder;
  std::string accessibilityIdentifier;
  bool secureTextEntry = false;
  std::string text;
};

struct TOLVANA_EXPORT AlertAction {
  std::string title;
  // Receives what was typed into each of the alert's text fields, in their order. May be empty.
  std::function<void(const std::vector<std::string>& fieldTexts)> handler;
};

struct TOLVANA_EXPORT Alert {
  std::string title;
  std::string message;
  std::vector<AlertTextField> textFields;
  std::vector<AlertAction> actions;
  // Closes the alert by itself after this many seconds; 0 leaves it to its actions.
  int dismissAfterSeconds = 0;
};

// A rectangle in points (device-independent pixels), in its window's coordinates.
struct TOLVANA_EXPORT UiRect {
  double x = 0, y = 0, width = 0, height = 0;
};

// One view of a window as the review tools see it, with its children in drawing order.
struct TOLVANA_EXPORT UiView {
  bool hidden = false;
  double alpha = 1.0;
  // What the view shows, when it shows text.
  std::optional<std::string> text;
  // The key the shown text was looked up under, as the toolkit's hooks tagged it, and the
  // key the view itself kept from an earlier text; empty when unknown.
  std::string textKey;
  std::string viewKey;
  UiRect frame;
  std::vector<UiView> subviews;
};

// The main screen: its size in points and its pixels per point.
struct TOLVANA_EXPORT UiScreen {
  double width = 0, height = 0;
  double scale = 1.0;
};

// One control of the review tools' overlay window, as the engine lays it out.
struct TOLVANA_EXPORT UiControl {
  enum class Kind { panel, button, textField, list };
  std::string name;    // unique in the overlay; a control's events name it
  Kind kind = Kind::button;
  std::string parent;  // the panel it sits on; empty for the window itself
  UiRect frame;        // in the overlay window's coordinates
  std::string title;   // a button's title; a field's placeholder
  std::string accessibilityName;
  bool hidden = false;
  bool enabled = true;
  std::string text;                 // a field's text
  std::vector<std::string> items;   // a list's rows
  std::uint32_t background = 0;     // 0xRRGGBBAA
  std::uint32_t foreground = 0;     // the title's or text's colour
};

// The overlay: a window above all others, transparent but for its controls. Touches reach
// it only within the frames of touchable, in that order (the first that holds the point
// wins); everywhere else they go to the app's windows below.
struct TOLVANA_EXPORT UiOverlay {
  std::vector<UiControl> controls;  // parents before their children
  std::vector<std::string> touchable;
  // A tap on a button or a list row (text is the row), and a change of a field's text.
  std::function<void(const std::string& control, const std::string& text)> onTap;
  std::function<void(const std::string& control, const std::string& text)> onEdit;
};

class TOLVANA_EXPORT Ui {
 public:
  virtual ~Ui() = default;
  // Presents the alert on the top screen of the app.
  virtual void presentAlert(Alert alert) = 0;
  // Routes the toolkit's string look-ups and labels through the engine; called at every
  // engine start, so it must install once and ignore later calls.
  virtual void installLookupHooks() = 0;
  // Shows the review tools' overlay window, or shows it anew with its controls' new state;
  // removes it. Removing an absent overlay does nothing.
  virtual void showOverlay(UiOverlay overlay) = 0;
  virtual void removeOverlay() = 0;
  // Gives the control the keyboard focus.
  virtual void focusOverlayControl(const std::string& control) = 0;
  // The hidden gestures of draft mode, on the app's windows: a two-finger press held for
  // four seconds, and two-finger swipes up or down. The handler may be called again while
  // the press lasts. Each is installed once; the toolkit documents its keyboard equivalent.
  virtual void addLongPressGesture(std::function<void()> handler) = 0;
  virtual void addSwipeGestures(std::function<void()> handler) = 0;
  // The app's root window (the one it names as its main window, else its first) as a view
  // tree; nullopt when it has none.
  virtual std::optional<UiView> rootWindowView() = 0;
  // The main screen; all zero when there is none.
  virtual UiScreen mainScreen() = 0;
  // The root window as PNG data, drawn as the user sees it; empty when there is none.
  virtual std::string rootWindowPng() = 0;
  // The same of the window that has the keyboard focus; nullopt and empty when none has.
  // A toolkit without such a notion keeps these.
  virtual std::optional<UiView> keyWindowView() { return std::nullopt; }
  virtual std::string keyWindowPng() { return {}; }
  // The general pasteboard's text, through which a UI-test runner hands data to the app;
  // nullopt when it holds no text.
  virtual std::optional<std::string> pasteboardString() = 0;
  virtual void setPasteboardString(const std::string& text) = 0;
};

}  // namespace tolvana
