// WidgetTree: the app's windows as the review tools see them: the root window, and its
// widgets as a view tree of texts, keys and frames.
//
// Thread contract: GUI thread only.
#pragma once

#include <QWidget>
#include <optional>

#include "tolvana/platform/Ui.h"

namespace tolvana::qt {

// The app's main window: the first of its windows shown; never one of the library's own
// (alerts, the overlay) nor a pop-up. Null when the app shows none.
QWidget* rootWindow();
// The app's window that has the keyboard focus, never one of the library's own; null when
// none has.
QWidget* keyWindow();

// The widget and its children; frames in points of the window's coordinates.
UiView viewTree(QWidget* widget, QWidget* window);

UiScreen primaryScreen();

}  // namespace tolvana::qt
