// QuickItemTree: QML scenes as the review tools see them: the app's QML windows and the scenes
// of its QQuickWidgets, and their items as a view tree of texts, keys and frames.
//
// An item shows text when it has a string property "text" (Text, Label, Button, TextEdit, or
// any item of the app's own with one); a field that is empty shows its "placeholderText". A
// control draws its text again with an item inside it (a button's label); that copy is left
// out, so each text on screen is found once.
//
// Thread contract: GUI thread only.
#pragma once

#include <QQuickItem>
#include <QQuickWindow>
#include <QWidget>
#include <optional>
#include <vector>
#include <tolvana/platform/Ui.h>

namespace tolvana::qt {

// What a user reads on the item: its string property "text", or the placeholder of a field
// left empty; nothing for an item without such a property.
std::optional<QString> shownText(const QQuickItem* item);

// Whether the window is one of the library's own (the overlay, an alert).
bool isOurWindow(const QWindow* window);

// The first of the app's top-level windows shown, never one of the library's own nor a
// pop-up; null when none. The caller tells QML scenes from widget windows.
QWindow* firstAppWindow();

// The window's items; frames in points of the window's coordinates.
UiView viewTree(QQuickWindow* window);

// The items of the scene a QQuickWidget shows, frames in the widget's coordinates; nothing for
// any other widget.
std::vector<UiView> sceneInWidget(const QWidget* widget);

}  // namespace tolvana::qt
