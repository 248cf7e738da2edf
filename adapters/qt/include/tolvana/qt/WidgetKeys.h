// The key behind a widget's shown text, for the review tools and UI tests.
#pragma once

#include <QString>

#include "tolvana/qt/Export.h"

class QWidget;

namespace tolvana::qt {

// The key the text of a QLabel or QAbstractButton, the placeholder of a QLineEdit or the
// title of a window was looked up under; empty when none. Texts are tagged only in draft
// mode and under UI tests. A widget that now shows an untagged text keeps the key of the
// tagged text it showed before.
TOLVANA_QT_EXPORT QString keyForWidget(QWidget* widget);

}  // namespace tolvana::qt
