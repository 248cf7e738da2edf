// Snapshots: the current ProjectSnapshot of each project, kept in memory and made again when
// the database says the project changed.
//
// A request is answered from a snapshot only if the database was asked about the project
// after the request arrived, so an app's next request after a publication sees it, whichever
// server process it reaches. Asking costs a query, so requests share one: while a check is
// under way, the requests that arrive wait for the next one, which starts as soon as the
// current one ends and answers all of them; the database sees one query per round trip,
// however many requests arrive. With SQLite, the database's change counter says for free
// whether any process wrote since the last check, and the check is skipped while it stands
// still (but made at least once a second, for a writer that died before announcing itself).
//
// Thread contract: any thread, at once. The map of projects is replaced whole when a project
// is added and a project's last check is swapped atomically, so a request that needs no check
// takes no lock.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <exception>
#include <memory>
#include <mutex>
#include <optional>
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
  struct Checked {
    std::shared_ptr<const ProjectSnapshot> snapshot;  // nullptr: the project is gone
    std::optional<std::uint64_t> counter;             // the change counter, read before the check
    std::chrono::steady_clock::time_point at;
  };
  struct Slot {
    std::atomic<std::shared_ptr<const Checked>> checked;
    std::mutex mutex;
    std::condition_variable done;
    std::uint64_t started = 0;    // guarded by mutex: checks begun
    std::uint64_t finished = 0;   // guarded by mutex: the last check ended
    bool checking = false;        // guarded by mutex
    std::exception_ptr failure;   // guarded by mutex: how the last check ended, if it failed
  };
  using Slots = std::unordered_map<std::string, std::shared_ptr<Slot>>;

  std::shared_ptr<Slot> find(const std::string& id) const;
  std::shared_ptr<Slot> add(const std::string& id);
  // Waits for a check that began after the call, making it when none is under way.
  std::shared_ptr<const ProjectSnapshot> check(const std::string& id, Slot& slot);
  void refresh(const std::string& id, Slot& slot);

  Storage& storage_;
  std::atomic<std::shared_ptr<const Slots>> slots_{std::make_shared<const Slots>()};
  std::mutex adding_;  // serialises the rare replacement of slots_
};

}  // namespace tolvana::server
