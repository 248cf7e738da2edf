// A Device whose answers a test sets; exitProcess records the status instead of exiting.
#pragma once

#include <map>
#include <mutex>
#include <optional>

#include "tolvana/platform/Device.h"

namespace tolvana {

class FakeDevice final : public Device {
 public:
  std::vector<std::string> launchArguments() const override;
  std::optional<std::string> environmentValue(std::string_view name) const override;
  std::optional<std::string> dataDirectory() const override;
  void exitProcess(int status) override;
  // iOS-like answers by default, for the rules that depend on them.
  std::string hardwareModel() const override { return "iPhone10,3"; }
  std::string platformName() const override { return "ios"; }
  std::string operatingSystem() const override { return "iOS " + systemVersion(); }
  std::string systemVersion() const override;
  std::optional<std::string> vendorIdentifier(std::string_view vendor) const override;
  bool passesIntegrityCheck() const override;
  bool isBeingTraced() const override;
  std::uint64_t residentMemoryBytes() const override { return 64ull << 20; }
  std::uint64_t freeMemoryBytes() const override { return 1ull << 30; }

  void setLaunchArguments(std::vector<std::string> arguments);
  void setEnvironmentValue(std::string name, std::optional<std::string> value);
  void setDataDirectory(std::optional<std::string> directory);
  std::optional<int> exitStatus() const;
  void setSystemVersion(std::string version);
  void setBeingTraced(bool traced);
  void setPassesIntegrityCheck(bool passes);

 private:
  mutable std::mutex mutex_;
  std::vector<std::string> arguments_{"test-host"};
  std::map<std::string, std::string, std::less<>> environment_;
  std::optional<std::string> dataDirectory_;
  std::optional<int> exitStatus_;
  std::string systemVersion_ = "17.2";
  bool traced_ = false;
  bool genuine_ = true;
};

}  // namespace tolvana
