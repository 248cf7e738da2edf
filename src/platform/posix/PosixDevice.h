// The Linux Device: /proc/self/cmdline, the environment, XDG_DATA_HOME, exit().
#pragma once

#include <memory>

#include "tolvana/platform/Device.h"

namespace tolvana {

std::shared_ptr<Device> makePosixDevice();

}  // namespace tolvana
