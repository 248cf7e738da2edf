#include "tolvana/qt/BlockingUpdate.h"

#include "EventLoopWait.h"
#include "tolvana/Hooks.h"

namespace tolvana::qt {

bool updateTolvana() { return TolvanaHooks::updateBlocking(waitOneSecond); }

}  // namespace tolvana::qt
