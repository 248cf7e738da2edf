#pragma once

#include <memory>

#include "tolvana/platform/Clock.h"

namespace tolvana {

std::shared_ptr<Clock> makeSystemClock();

}  // namespace tolvana
