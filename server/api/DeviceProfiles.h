// DeviceProfiles: the devices seen, noted in memory as requests arrive and written to the
// database in one transaction a second, so that the most common request (an update that
// finds nothing new) never waits for a write.
//
// What is noted but not yet written is lost if the process dies; a count of requests is not
// worth a write per request. When the database cannot take them, they wait for the next
// round, up to a bound past which new devices are dropped with a log line.
//
// Thread contract: note() from any thread, at once; flush() from any thread.
#pragma once

#include <array>
#include <atomic>
#include <condition_variable>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "storage/Storage.h"

namespace tolvana::server {

class DeviceProfiles {
 public:
  explicit DeviceProfiles(Storage& storage);
  ~DeviceProfiles();  // writes what is left
  DeviceProfiles(const DeviceProfiles&) = delete;
  DeviceProfiles& operator=(const DeviceProfiles&) = delete;

  // One request of the device whose profile fields these are (a JSON object's text).
  void note(const std::string& project, const std::string& device, const std::string& profileJson, Seconds at);
  // Writes everything noted so far; false when the database refused (it is kept then).
  bool flush();

 private:
  static constexpr std::size_t kShards = 8;
  static constexpr std::size_t kMaxWaiting = 100000;
  using Key = std::pair<std::string, std::string>;  // project, device

  struct Shard {
    std::mutex mutex{};
    std::map<Key, DeviceProfile> waiting{};  // guarded by mutex
  };
  void merge(std::map<Key, DeviceProfile>& into, std::map<Key, DeviceProfile>&& from);

  Storage& storage_;
  std::array<Shard, kShards> shards_;
  std::atomic<std::size_t> waitingCount_{0};
  std::mutex flushing_;  // one writer at a time
  std::mutex stopMutex_;
  std::condition_variable stopSignal_;
  bool stopping_ = false;  // guarded by stopMutex_
  std::thread writer_;
};

}  // namespace tolvana::server
