#include "platform/fake/FakeDevice.h"

#include <cstdio>
#include <functional>

#include "support/Mutex.h"

namespace tolvana {

std::vector<std::string> FakeDevice::launchArguments() const {
  LockGuard lock(mutex_);
  return arguments_;
}

std::optional<std::string> FakeDevice::environmentValue(std::string_view name) const {
  LockGuard lock(mutex_);
  auto it = environment_.find(name);
  if (it == environment_.end()) return std::nullopt;
  return it->second;
}

std::optional<std::string> FakeDevice::dataDirectory() const {
  LockGuard lock(mutex_);
  return dataDirectory_;
}

void FakeDevice::exitProcess(int status) {
  LockGuard lock(mutex_);
  exitStatus_ = status;
}

void FakeDevice::setLaunchArguments(std::vector<std::string> arguments) {
  LockGuard lock(mutex_);
  arguments_ = std::move(arguments);
}

void FakeDevice::setEnvironmentValue(std::string name, std::optional<std::string> value) {
  LockGuard lock(mutex_);
  if (value) {
    environment_.insert_or_assign(std::move(name), std::move(*value));
  } else {
    environment_.erase(name);
  }
}

void FakeDevice::setDataDirectory(std::optional<std::string> directory) {
  LockGuard lock(mutex_);
  dataDirectory_ = std::move(directory);
}

std::optional<int> FakeDevice::exitStatus() const {
  LockGuard lock(mutex_);
  return exitStatus_;
}

std::string FakeDevice::systemVersion() const {
  LockGuard lock(mutex_);
  return systemVersion_;
}

std::optional<std::string> FakeDevice::vendorIdentifier(std::string_view vendor) const {
  // Stable per vendor, like a stored identifier, without touching the disk.
  std::size_t hash = std::hash<std::string_view>{}(vendor);
  char text[40];
  std::snprintf(text, sizeof text, "00000000-0000-4000-8000-%012llX", static_cast<unsigned long long>(hash & 0xFFFFFFFFFFFFull));
  return std::string(text);
}

bool FakeDevice::passesIntegrityCheck() const {
  LockGuard lock(mutex_);
  return genuine_;
}

bool FakeDevice::isBeingTraced() const {
  LockGuard lock(mutex_);
  return traced_;
}

void FakeDevice::setSystemVersion(std::string version) {
  LockGuard lock(mutex_);
  systemVersion_ = std::move(version);
}

void FakeDevice::setBeingTraced(bool traced) {
  LockGuard lock(mutex_);
  traced_ = traced;
}

void FakeDevice::setPassesIntegrityCheck(bool passes) {
  LockGuard lock(mutex_);
  genuine_ = passes;
}

}  // namespace tolvana
