// The default log sink: one line per call on standard error, with a time stamp, the
// process name and id, like the platform's system log.
#pragma once

#include <memory>

#include "tolvana/platform/LogSink.h"

namespace tolvana {

std::shared_ptr<LogSink> makeStderrLogSink();

}  // namespace tolvana
