// QuickOverlay: the review tools' overlay for an app without widgets, as QML windows of the
// library's own above the app's, drawn from the engine's description as the widgets' overlay
// is. The upper window takes clicks, and its mask is exactly where the engine's model takes
// touches, so every other click reaches the app below, on the panels' margins too. A mask
// clips drawing as well, so what it cuts away is drawn by a second window just below, which
// takes no input at all.
//
// Thread contract: GUI thread only.
#pragma once

#include <QQmlEngine>
#include <memory>
#include <string>
#include <tolvana/platform/Ui.h>

namespace tolvana::qt {

class QuickOverlay {
 public:
  // The windows live no longer than the engine.
  explicit QuickOverlay(QQmlEngine* engine);
  ~QuickOverlay();
  void update(UiOverlay overlay);
  void focusControl(const std::string& name);

  class Scene;

 private:
  UiOverlay overlay_;
  std::unique_ptr<Scene> backdrop_, top_;
};

}  // namespace tolvana::qt
