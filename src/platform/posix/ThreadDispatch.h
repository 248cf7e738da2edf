// The Linux Dispatch without a toolkit: the main queue runs on a thread of the library's
// own, the global queue on a small pool, each serial queue on a thread of its own.
#pragma once

#include <memory>

#include "tolvana/platform/Clock.h"
#include "tolvana/platform/Dispatch.h"

namespace tolvana {

std::shared_ptr<Dispatch> makeThreadDispatch();

}  // namespace tolvana
