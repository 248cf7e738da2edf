// UiLayers: how a library of the adapter adds a kind of window to the review tools, for
// tolvana-qt-quick and the like; an app has no use for it.
//
// Each application object gets a Ui over its widgets; every layer added wraps the result, in
// the order added, and gets what it does not handle done by the Ui below it. A layer is
// added from a static initializer of its library, so it is in place whichever library's
// start-up function Qt runs first.
#pragma once

#include <QObject>
#include <QWidget>
#include <functional>
#include <memory>
#include <tolvana/platform/Ui.h>
#include <vector>

#include "tolvana/qt/Export.h"

namespace tolvana::qt {

// Makes the layer of one application object over the Ui below; context lives as long as the
// application object, on the GUI thread.
using UiLayer = std::function<std::shared_ptr<Ui>(std::shared_ptr<Ui> below, QObject* context)>;

TOLVANA_QT_EXPORT void addUiLayer(UiLayer layer);

// What a widget draws that is no widget of its own (a QML scene shown in a widget), as views
// with frames in the widget's coordinates; nothing for a widget that draws none. The widget
// walk puts them under the widget's view, so they move and hide with it.
using WidgetContent = std::function<std::vector<UiView>(const QWidget* widget)>;

TOLVANA_QT_EXPORT void addWidgetContent(WidgetContent content);

}  // namespace tolvana::qt
