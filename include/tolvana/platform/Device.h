// Device: facts about the process and the machine it runs on.
//
// Thread contract: every method may be called from any thread, concurrently. Answers may
// change between calls (environment, memory); callers that need one fixed answer cache it.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tolvana/Export.h"

namespace tolvana {

class TOLVANA_EXPORT Device {
 public:
  virtual ~Device() = default;
  // The process's launch arguments, the program name first.
  virtual std::vector<std::string> launchArguments() const = 0;
  virtual std::optional<std::string> environmentValue(std::string_view name) const = 0;
  // The per-user directory for application data (the library directory of the platform),
  // or nullopt when there is none. The engine keeps its files below it.
  virtual std::optional<std::string> dataDirectory() const = 0;
  // Ends the process with the status. A host that cannot be ended may replace this port;
  // a replacement that returns leaves the engine running as if nothing happened.
  virtual void exitProcess(int status) = 0;
};

}  // namespace tolvana
