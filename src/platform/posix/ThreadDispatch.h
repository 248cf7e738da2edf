// The Linux Dispatch without a toolkit: the main queue runs on a thread of the library's own,
// or on the host's thread when the host drives it; the global queue runs on a small pool,
// each serial queue on a thread of its own.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>

#include "tolvana/platform/Clock.h"
#include "tolvana/platform/Dispatch.h"

namespace tolvana {

struct ThreadDispatchOptions {
  // The host runs the main queue on a thread of its own (its event loop) through
  // drainHostMainQueue(), instead of a thread of the library's.
  bool hostDrivesMainQueue = false;
  // While the host drives the queue: called on the queuing thread once a main task has been
  // queued, so that the host's loop wakes and drains. It must not call into the library.
  std::function<void()> mainQueueWakeup;
};

std::shared_ptr<Dispatch> makeThreadDispatch(ThreadDispatchOptions options = {});

// Runs the main-queue tasks that are due, on the calling thread, which then counts as the
// main thread; tasks they queue run too when due. Returns the milliseconds until the next
// delayed task falls due, or -1 when none is queued (and for a dispatch the host does not
// drive). A drain asked for while another runs (from inside a task) runs nothing.
std::int64_t drainHostMainQueue(Dispatch& dispatch);

}  // namespace tolvana
