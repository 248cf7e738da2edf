/**
 * @file ScriptEngine.h
 * @brief Page scripts that run in a QJSEngine rather than a web view.
 *
 * A QJSEngine has no creation hook an application-wide filter could see, so a host that runs
 * translated page scripts in one hands it over once:
 *
 *   QJSEngine engine;
 *   tolvana::qt::attachToJSEngine(&engine);
 *   engine.evaluate("Tolvana.getString('welcome.title')");
 *
 * With "TolvanaTranslateWebViews" the engine then carries the native "TolvanaNative" and
 * "TLLog" objects and the page script's `Tolvana`; otherwise nothing changes.
 */
#pragma once

#include <QJSEngine>

#include "tolvana/qt/Export.h"

namespace tolvana::qt {

TOLVANA_QT_EXPORT void attachToJSEngine(QJSEngine* engine);

}  // namespace tolvana::qt
