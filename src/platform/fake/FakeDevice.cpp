#include "platform/fake/FakeDevice.h"

namespace tolvana {

std::vector<std::string> FakeDevice::launchArguments() const {
  std::lock_guard lock(mutex_);
  return arguments_;
}

std::optional<std::string> FakeDevice::environmentValue(std::string_view name) const {
  std::lock_guard lock(mutex_);
  auto it = environment_.find(name);
  if (it == environment_.end()) return std::nullopt;
  return it->second;
}

std::optional<std::string> FakeDevice::dataDirectory() const {
  std::lock_guard lock(mutex_);
  return dataDirectory_;
}

void FakeDevice::exitProcess(int status) {
  std::lock_guard lock(mutex_);
  exitStatus_ = status;
}

void FakeDevice::setLaunchArguments(std::vector<std::string> arguments) {
  std::lock_guard lock(mutex_);
  arguments_ = std::move(arguments);
}

void FakeDevice::setEnvironmentValue(std::string name, std::optional<std::string> value) {
  std::lock_guard lock(mutex_);
  if (value) {
    environment_.insert_or_assign(std::move(name), std::move(*value));
  } else {
    environment_.erase(name);
  }
}

void FakeDevice::setDataDirectory(std::optional<std::string> directory) {
  std::lock_guard lock(mutex_);
  dataDirectory_ = std::move(directory);
}

std::optional<int> FakeDevice::exitStatus() const {
  std::lock_guard lock(mutex_);
  return exitStatus_;
}

}  // namespace tolvana
