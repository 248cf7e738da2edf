// CoarseClock: a clock's monotonic time where a few milliseconds late will do. On the
// system's own clock it is read from the kernel's last tick, which costs a fifth of an exact
// reading; any other clock (one a host brings, the tests' hand-moved one) is read exactly.
//
// Thread contract: any thread.
#pragma once

#include <cstdint>

#include "tolvana/platform/Clock.h"

namespace tolvana {

// Nanoseconds on clock.monotonicNanoseconds()'s scale, never ahead of it.
std::int64_t coarseMonotonicNanoseconds(const Clock& clock);

}  // namespace tolvana
