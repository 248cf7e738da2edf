// Device: facts about the process and the machine it runs on.
//
// Thread contract: every method may be called from any thread, concurrently. Answers may
// change between calls (environment, memory); callers that need one fixed answer cache it.
#pragma once

#include <cstdint>
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
  // The hardware identifier of the machine ("x86_64", "iPhone10,3").
  virtual std::string hardwareModel() const = 0;
  // The platform's name as servers know it ("linux", "ios").
  virtual std::string platformName() const = 0;
  // The operating system with its version ("Linux 6.1.0-18-amd64", "iOS 17.2").
  virtual std::string operatingSystem() const = 0;
  // The bare system version ("6.1.0-18-amd64", "17.2"); read as a number by version rules.
  virtual std::string systemVersion() const = 0;
  // An identifier that stays the same for every app of one vendor on this machine, created
  // on first use and kept; nullopt when it cannot be stored.
  virtual std::optional<std::string> vendorIdentifier(std::string_view vendor) const = 0;
  // True when the platform's integrity test passes (the process runs as shipped).
  virtual bool passesIntegrityCheck() const = 0;
  // True while a debugger or tracer is attached to the process.
  virtual bool isBeingTraced() const = 0;
  virtual std::uint64_t residentMemoryBytes() const = 0;
  virtual std::uint64_t freeMemoryBytes() const = 0;
  // Ends the process with the status. A host that cannot be ended may replace this port;
  // a replacement that returns leaves the engine running as if nothing happened.
  virtual void exitProcess(int status) = 0;
};

}  // namespace tolvana
