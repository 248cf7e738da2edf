#include "api/DeviceProfiles.h"

#include <chrono>
#include <functional>

#include "storage/StorageError.h"
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

void DeviceProfiles::note(const std::string& project, const std::string& device, const std::string& profileJson,
                          Seconds at) {
  Key key{project, device};
  Shard& shard = shards_[std::hash<std::string>{}(device) % kShards];
  std::lock_guard lock(shard.mutex);
  auto found = shard.waiting.find(key);
  if (found == shard.waiting.end()) {
    if (waitingCount_.load() >= kMaxWaiting) {
      logWarning("device profiles not written yet: %@; dropping", kMaxWaiting);
      return;
    }
    ++waitingCount_;
    shard.waiting.emplace(key, DeviceProfile{device, profileJson, at, at, 1});
    return;
  }
  found->second.profileJson = profileJson;
  found->second.lastSeen = at;
  ++found->second.requests;
}

void DeviceProfiles::merge(std::map<Key, DeviceProfile>& into, std::map<Key, DeviceProfile>&& from) {
  for (auto& [key, seen] : from) {
    auto [at, added] = into.emplace(key, seen);
    if (added) continue;
    // `into` holds what is newer: keep its profile, add the older requests to it.
    at->second.firstSeen = std::min(at->second.firstSeen, seen.firstSeen);
    at->second.requests += seen.requests;
    --waitingCount_;
  }
}

bool DeviceProfiles::flush() {
  std::lock_guard writing(flushing_);
  std::map<Key, DeviceProfile> taken;
  for (Shard& shard : shards_) {
    std::lock_guard lock(shard.mutex);
    taken.merge(shard.waiting);
    shard.waiting.clear();
  }
  if (taken.empty()) return true;
  std::map<std::string, std::vector<DeviceProfile>> byProject;
  for (const auto& [key, seen] : taken) byProject[key.first].push_back(seen);
  try {
    for (auto it = byProject.begin(); it != byProject.end(); it = byProject.erase(it)) {
      storage_.recordDevices(it->first, it->second);
      for (const DeviceProfile& written : it->second) {
        taken.erase({it->first, written.device});
        --waitingCount_;
      }
    }
    return true;
  } catch (const StorageError& error) {
    logWarning("device profiles kept for later: %@", error.what());
    for (auto& [key, seen] : taken) {
      Shard& shard = shards_[std::hash<std::string>{}(key.second) % kShards];
      std::lock_guard lock(shard.mutex);
      std::map<Key, DeviceProfile> one{{key, seen}};
      merge(shard.waiting, std::move(one));
    }
    return false;
  }
}

}  // namespace tolvana::server
