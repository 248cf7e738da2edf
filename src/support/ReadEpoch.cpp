#include "support/ReadEpoch.h"

#include <algorithm>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include "support/Mutex.h"

namespace tolvana {

namespace {

struct Registry {
  Mutex mutex;
  std::vector<ReadEpoch::Slot*> slots;                                 // guarded by mutex
  std::vector<std::pair<std::uint64_t, std::function<void()>>> retired;  // guarded by mutex
};

// Never destroyed: threads may leave, and objects be retired, while the process exits.
Registry& registry() {
  static auto* r = new Registry;
  return *r;
}

// Takes the thread's slot out of the registry when the thread ends.
struct SlotOwner {
  ReadEpoch::Slot* slot = nullptr;
  ~SlotOwner() {
    if (!slot) return;
    Registry& r = registry();
    LockGuard lock(r.mutex);
    std::erase(r.slots, slot);
    delete slot;
  }
};
thread_local SlotOwner owner;

// The oldest epoch a section still runs in; UINT64_MAX when none runs. Called under the mutex.
std::uint64_t oldestSection(const Registry& r) {
  std::uint64_t oldest = UINT64_MAX;
  for (const ReadEpoch::Slot* slot : r.slots) {
    std::uint64_t epoch = slot->epoch.load();
    if (epoch != 0) oldest = std::min(oldest, epoch);
  }
  return oldest;
}

// Destroys, outside the mutex, what was retired before the oldest running section began.
void collect() {
  Registry& r = registry();
  std::vector<std::function<void()>> free;
  {
    LockGuard lock(r.mutex);
    const std::uint64_t oldest = oldestSection(r);
    auto kept = std::stable_partition(r.retired.begin(), r.retired.end(),
                                      [oldest](const auto& item) { return item.first >= oldest; });
    for (auto it = kept; it != r.retired.end(); ++it) free.push_back(std::move(it->second));
    r.retired.erase(kept, r.retired.end());
  }
  for (auto& destroy : free) destroy();
}

}  // namespace

std::atomic<std::uint64_t> ReadEpoch::current{1};
constinit thread_local ReadEpoch::Slot* ReadEpoch::threadSlot = nullptr;

ReadEpoch::Slot* ReadEpoch::registerThread() {
  auto* slot = new Slot;
  {
    Registry& r = registry();
    LockGuard lock(r.mutex);
    r.slots.push_back(slot);
  }
  owner.slot = slot;
  threadSlot = slot;
  return slot;
}

void ReadEpoch::retire(std::function<void()> destroy) {
  // A section that began in this epoch or earlier may hold the object; later ones cannot.
  const std::uint64_t epoch = current.fetch_add(1);
  {
    Registry& r = registry();
    LockGuard lock(r.mutex);
    r.retired.emplace_back(epoch, std::move(destroy));
  }
  collect();
}

bool ReadEpoch::synchronize() {
  if (insideSection()) return false;
  const std::uint64_t epoch = current.fetch_add(1);
  for (;;) {
    {
      Registry& r = registry();
      LockGuard lock(r.mutex);
      if (oldestSection(r) > epoch) break;
    }
    std::this_thread::yield();
  }
  collect();
  return true;
}

}  // namespace tolvana
