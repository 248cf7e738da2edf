// A Device whose answers a test sets; exitProcess records the status instead of exiting.
#pragma once

#include <map>
#include <mutex>
#include <optional>

#include "support/Mutex.h"
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
  mutable Mutex mutex_;
  std::vector<std::string> arguments_ TL_GUARDED_BY(mutex_){"test-host"};
  std::map<std::string, std::string, std::less<>> environment_ TL_GUARDED_BY(mutex_);
  std::optional<std::string> dataDirectory_ TL_GUARDED_BY(mutex_);
  std::optional<int> exitStatus_ TL_GUARDED_BY(mutex_);
  std::string systemVersion_ TL_GUARDED_BY(mutex_) = "17.2";
  bool traced_ TL_GUARDED_BY(mutex_) = false;
  bool genuine_ TL_GUARDED_BY(mutex_) = true;
};

}  // namespace tolvana
