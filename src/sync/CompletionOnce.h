// completionOnce: an update completion that yields exactly one outcome.
//
// The engine's update completion may never run: an answer that is no JSON object ends the
// update without it (deliberately), and so does work that fails inside it. A caller that
// promises an outcome all the same (the C interface, the blocking update) wraps its own here:
// it runs when the engine calls the completion, or with false when the engine lets the last
// copy of the completion go without calling it, on whatever thread that happens, which may
// hold the engine's lock.
#pragma once

#include <functional>

namespace tolvana {

std::function<void(bool)> completionOnce(std::function<void(bool)> outcome);

}  // namespace tolvana
