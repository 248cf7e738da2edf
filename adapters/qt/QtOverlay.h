// QtOverlay: the review tools' overlay as a frameless window above the app's. Its controls
// are widgets drawn from the engine's description. Its mask is exactly where the engine's
// model takes touches (the frames of the touchable controls), so every other click, on the
// panels' blue margins too, reaches the app's windows below. What the mask cuts away (the
// panels, controls that take no touch now) is drawn by a second window just below it that
// lets every click through.
//
// Thread contract: GUI thread only.
#pragma once

#include <QPointer>
#include <QWidget>
#include <map>

#include "tolvana/platform/Ui.h"

namespace tolvana::qt {

class QtOverlay final : public QWidget {
 public:
  QtOverlay();
  ~QtOverlay() override;
  void update(UiOverlay overlay);
  void focusControl(const std::string& name);

 private:
  UiOverlay overlay_;
  std::map<std::string, QPointer<QWidget>> widgets_;
  std::map<std::string, std::string> parents_;
  QPointer<QWidget> backdrop_;

  QWidget* widgetFor(const UiControl& control);
  void style(QWidget* widget, const UiControl& control, bool touchable);
};

}  // namespace tolvana::qt
