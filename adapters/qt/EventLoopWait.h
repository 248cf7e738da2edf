// One second of waiting that keeps the calling thread's event loop running, for the
// engine's blocking waits: timers, the main queue and repaints go on meanwhile.
#pragma once

namespace tolvana::qt {

void waitOneSecond();

}  // namespace tolvana::qt
