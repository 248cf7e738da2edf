// Snapshots: the current ProjectSnapshot of each project, kept in memory and made again when
// the database says the project changed.
//
// Every update request asks the database for the project's revision, one indexed read;
// when another server process has published since, the snapshot is made again from the
// database before the request is answered. So an app's next request after a publication
// sees it, whichever process it reaches. Answering never waits on a lock shared by every
// request: the map of projects is replaced as a whole when a project is added, and a
// project's snapshot is swapped atomically; only requests that find a stale snapshot wait,
// for the one that makes the new one.
//
// Thread contract: any thread, at once.
#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>

#include "api/ProjectSnapshot.h"
#include "storage/Storage.h"

namespace tolvana::server {

class Snapshots {
 public:
  explicit Snapshots(Storage& storage) : storage_(storage) {}

  // The project's content as it stands in the database now; nullptr for an unknown project.
  // Throws StorageError when the database cannot be asked.
  std::shared_ptr<const ProjectSnapshot> current(const std::string& id);

 private:
  struct Slot {
    std::mutex remaking;  // one request makes a new snapshot, the others wait for it
    std::atomic<std::shared_ptr<const ProjectSnapshot>> snapshot;
  };
  using Slots = std::unordered_map<std::string, std::shared_ptr<Slot>>;

  std::shared_ptr<Slot> slotOf(const std::string& id);

  Storage& storage_;
  std::atomic<std::shared_ptr<const Slots>> slots_{std::make_shared<const Slots>()};
  std::mutex adding_;  // serialises the rare replacement of slots_
};

}  // namespace tolvana::server
