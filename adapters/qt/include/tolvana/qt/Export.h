// Symbol visibility of the Qt adapter's interface: everything else in it is hidden.
#pragma once

#if defined(TOLVANA_QT_BUILDING)
#define TOLVANA_QT_EXPORT __attribute__((visibility("default")))
#else
#define TOLVANA_QT_EXPORT
#endif
