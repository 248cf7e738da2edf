// QtOverlay: the review tools' overlay as a frameless window above the app's. Its controls
// are widgets drawn from the engine's description; its mask is the union of the shown
// panels and controls, so clicks anywhere else reach the app's windows below.
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
  void update(UiOverlay overlay);
  void focusControl(const std::string& name);

 private:
  UiOverlay overlay_;
  std::map<std::string, QPointer<QWidget>> widgets_;
  std::map<std::string, std::string> parents_;

  QWidget* widgetFor(const UiControl& control);
  void style(QWidget* widget, const UiControl& control, bool touchable);
};

}  // namespace tolvana::qt
