// The Linux Device: /proc/self/cmdline, the environment, XDG_DATA_HOME, exit().
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "tolvana/platform/Device.h"

namespace tolvana {

// dataDirectory, when given, replaces the XDG data directory (a tool working on another
// app's data).
std::shared_ptr<Device> makePosixDevice(std::optional<std::string> dataDirectory = std::nullopt);

}  // namespace tolvana
