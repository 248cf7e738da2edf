#include "api/DeviceProfiles.h"

#include <chrono>
#include <functional>

#include "storage/StorageError.h"
#include "support/Json.h"
#include "support/TLLog.h"

namespace tolvana::server {

DeviceProfiles::DeviceProfiles(Storage& storage) : storage_(storage) {
  writer_ = std::thread([this] {
    std::unique_lock lock(stopMutex_);
    while (!stopSignal_.wait_for(lock, std::chrono::seconds(1), [this] { return stopping_; })) {
      lock.unlock();
      flush();
      lock.lock();
    }
  });
}

DeviceProfiles::~DeviceProfiles() {
  {
    std::lock_guard lock(stopMutex_);
    stopping_ = true;
  }
  stopSignal_.notify_all();
  writer_.join();
  flush();
}

void DeviceProfiles::note(const std::string& project, const std::string& device, ProfileFields fields, Seconds at) {
  Shard& shard = shardOf(device);
  std::lock_guard lock(shard.mutex);
  auto found = shard.waiting.find(Key{project, device});
  if (found == shard.waiting.end()) {
    if (waitingCount_.load() >= kMaxWaiting) {
      logWarning("device profiles not written yet: %@; dropping", kMaxWaiting);
      return;
    }
    ++waitingCount_;
    shard.waiting.emplace(Key{project, device}, Seen{std::move(fields), at, at, 1});
    return;
  }
  found->second.fields = std::move(fields);
  found->second.lastSeen = at;
  ++found->second.requests;
}

void DeviceProfiles::putBack(Waiting&& unwritten) {
  for (auto& [key, seen] : unwritten) {
    Shard& shard = shardOf(key.second);
    std::lock_guard lock(shard.mutex);
    auto [at, added] = shard.waiting.emplace(key, seen);
    if (added) continue;
    at->second.firstSeen = std::min(at->second.firstSeen, seen.firstSeen);
    at->second.requests += seen.requests;
    --waitingCount_;
  }
}

bool DeviceProfiles::flush() {
  std::lock_guard writing(flushing_);
  Waiting taken;
  for (Shard& shard : shards_) {
    std::lock_guard lock(shard.mutex);
    taken.merge(shard.waiting);
  }
  std::map<std::string, std::vector<DeviceProfile>> byProject;
  for (const auto& [key, seen] : taken) {
    Value::Dictionary profile;
    for (const auto& [field, text] : seen.fields) profile[field] = text;
    byProject[key.first].push_back(
        DeviceProfile{key.second, json::serialize(profile), seen.firstSeen, seen.lastSeen, seen.requests});
  }
  for (const auto& [project, devices] : byProject) {
    try {
      storage_.recordDevices(project, devices);
    } catch (const StorageError& error) {
      logWarning("device profiles kept for later: %@", error.what());
      putBack(std::move(taken));
      return false;
    }
    for (const DeviceProfile& written : devices) {
      taken.erase(Key{project, written.device});
      --waitingCount_;
    }
  }
  return true;
}

}  // namespace tolvana::server
