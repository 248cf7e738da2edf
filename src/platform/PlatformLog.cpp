#include "platform/PlatformLog.h"

#include <unistd.h>

#include <string>

#include "support/TLLog.h"
#include "tolvana/platform/Platform.h"

namespace tolvana {

namespace {
thread_local int reentry = 0;
}

void platformLogError(std::string_view message) {
  std::string line = TLLog::formatLine(TLLog::kError, TLLog::defaultTag(), message);
  // A port that fails while the default platform is being built must not ask for the
  // platform again; standard error is the only safe place then.
  if (reentry > 0 || buildingDefaultPlatform()) {
    line += '\n';
    [[maybe_unused]] auto written = ::write(STDERR_FILENO, line.data(), line.size());
    return;
  }
  ++reentry;
  Platform::Current().logSink().writeLine(line);
  --reentry;
}

void platformFailureLine(std::string_view where, const char* what) {
  platformLogError(std::string(where) + (what ? std::string(" failed: ") + what : std::string(" failed.")));
}

}  // namespace tolvana
