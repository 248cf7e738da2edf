// Updating in one blocking call, for a host that must have the server's texts before it goes
// on (a first screen built once, a command-line run).
#pragma once

#include "tolvana/qt/Export.h"

namespace tolvana::qt {

// Updates all groups and languages and returns when the update has ended, or once its
// requests' time-outs and a few seconds have passed for an update that cannot end: true when
// the server answered and its answer was taken, false otherwise. On the GUI thread the event
// loop keeps running meanwhile, in one-second steps, so windows repaint and main-queue work
// goes on. An app that must not wait uses TolvanaQt::update() (tolvana/qt/TolvanaQt.h).
TOLVANA_QT_EXPORT bool updateTolvana();

}  // namespace tolvana::qt
