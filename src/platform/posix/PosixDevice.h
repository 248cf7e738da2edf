// The Linux Device: /proc/self/cmdline, the environment, XDG_DATA_HOME, exit().
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "platform/posix/Environment.h"
#include "tolvana/platform/Device.h"

namespace tolvana {

// dataDirectory, when given, replaces the XDG data directory (a tool working on another
// app's data); environment defaults to the process environment.
std::shared_ptr<Device> makePosixDevice(std::optional<std::string> dataDirectory = std::nullopt,
                                        EnvironmentFn environment = {});

}  // namespace tolvana
