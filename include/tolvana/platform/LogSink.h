// LogSink: where the engine's log lines go.
//
// Thread contract: writeLine may be called from any thread, concurrently; each call writes
// one whole line (the sink adds the line end and any time stamp of its own).
#pragma once

#include <string_view>

#include "tolvana/Export.h"

namespace tolvana {

class TOLVANA_EXPORT LogSink {
 public:
  virtual ~LogSink() = default;
  virtual void writeLine(std::string_view line) = 0;
};

}  // namespace tolvana
