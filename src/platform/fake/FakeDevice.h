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

  void setLaunchArguments(std::vector<std::string> arguments);
  void setEnvironmentValue(std::string name, std::optional<std::string> value);
  void setDataDirectory(std::optional<std::string> directory);
  std::optional<int> exitStatus() const;

 private:
  mutable std::mutex mutex_;
  std::vector<std::string> arguments_{"test-host"};
  std::map<std::string, std::string, std::less<>> environment_;
  std::optional<std::string> dataDirectory_;
  std::optional<int> exitStatus_;
};

}  // namespace tolvana
