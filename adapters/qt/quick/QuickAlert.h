// QuickAlert: an alert as a QML window of the library's own, for an app without widgets.
// The window is named "TolvanaAlert" and keeps the order alerts came in as the property
// "tolvanaAlertNumber"; its content item offers choose(action) as a tap on the action does.
//
// Thread contract: GUI thread only.
#pragma once

#include <QQmlEngine>
#include <tolvana/platform/Ui.h>

namespace tolvana::qt {

// The window lives no longer than the engine.
void presentQuickAlert(QQmlEngine* engine, Alert alert);

}  // namespace tolvana::qt
