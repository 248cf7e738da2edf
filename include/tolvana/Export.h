// Symbol visibility of the public API: everything else in the library is hidden.
#pragma once

#if defined(TOLVANA_BUILDING_LIBRARY)
#define TOLVANA_EXPORT __attribute__((visibility("default")))
#else
#define TOLVANA_EXPORT
#endif
