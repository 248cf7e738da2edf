#include "tolvana/qt/BlockingUpdate.h"

#include "EventLoopWait.h"
#include "tolvana/Hooks.h"

namespace tolvana::qt {

void updateTolvana() { TolvanaHooks::updateBlocking(waitOneSecond); }

}  // namespace tolvana::qt
