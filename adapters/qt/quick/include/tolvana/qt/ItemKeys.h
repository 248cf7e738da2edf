// The key behind a QML item's shown text, for UI tests and the review tools.
#pragma once

#include <QString>

#include "tolvana/qt/Export.h"

class QQuickItem;

namespace tolvana::qt {

// The key the item's text (or, for an empty field, its placeholder) was looked up under;
// empty when none. Texts are tagged only in draft mode and under UI tests. An item that now
// shows an untagged text keeps the key of the tagged text it showed when last asked.
TOLVANA_QT_EXPORT QString keyForItem(QQuickItem* item);

}  // namespace tolvana::qt
