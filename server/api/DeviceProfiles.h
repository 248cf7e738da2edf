// DeviceProfiles: the devices seen, noted in memory as requests arrive and written to the
// database in one transaction a second, so that the most common request (an update that
// finds nothing new) never waits for a write, nor for the profile's JSON text, which is made
// when it is written.
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

// A device's profile fields as it sent them: field name, text.
using ProfileFields = std::vector<std::pair<std::string, std::string>>;

class DeviceProfiles {
 public:
  explicit DeviceProfiles(Storage& storage);
  ~DeviceProfiles();  // writes what is left
  DeviceProfiles(const DeviceProfiles&) = delete;
  DeviceProfiles& operator=(const DeviceProfiles&) = delete;

  // One request of the device with these profile fields.
  void note(const std::string& project, const std::string& device, ProfileFields fields, Seconds at);
  // Writes everything noted so far; false when the database refused (it is kept then).
  bool flush();

 private:
  static constexpr std::size_t kShards = 8;
  static constexpr std::size_t kMaxWaiting = 100000;
  using Key = std::pair<std::string, std::string>;  // project, device
  struct Seen {
    ProfileFields fields{};  // the last seen
    Seconds firstSeen = 0;
    Seconds lastSeen = 0;
    std::int64_t requests = 0;
  };
  using Waiting = std::map<Key, Seen>;

  struct Shard {
    std::mutex mutex{};
    Waiting waiting{};  // guarded by mutex
  };
  Shard& shardOf(const std::string& device) { return shards_[std::hash<std::string>{}(device) % kShards]; }
  // Puts back what could not be written; entries noted meanwhile are newer.
  void putBack(Waiting&& unwritten);

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
