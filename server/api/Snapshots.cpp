#include "api/Snapshots.h"

namespace tolvana::server {

namespace {

constexpr auto kCheckAtLeastEvery = std::chrono::seconds(1);

}  // namespace

std::shared_ptr<Snapshots::Slot> Snapshots::find(const std::string& id) const {
  auto slots = slots_.load();
  auto found = slots->find(id);
  return found == slots->end() ? nullptr : found->second;
}

std::shared_ptr<Snapshots::Slot> Snapshots::add(const std::string& id) {
  std::lock_guard lock(adding_);
  if (auto slot = find(id)) return slot;
  auto grown = std::make_shared<Slots>(*slots_.load());
  auto slot = std::make_shared<Slot>();
  grown->emplace(id, slot);
  slots_.store(std::move(grown));
  return slot;
}

std::shared_ptr<const ProjectSnapshot> Snapshots::current(const std::string& id) {
  auto slot = find(id);
  if (!slot) {
    // Unknown ids get no slot, so requests for made-up projects cannot grow the map.
    if (!storage_.revision(id)) return nullptr;
    slot = add(id);
  }
  if (auto counter = storage_.changeCounter()) {
    auto checked = slot->checked.load();
    if (checked && checked->counter == counter && std::chrono::steady_clock::now() - checked->at < kCheckAtLeastEvery) {
      return checked->snapshot;
    }
  }
  return check(id, *slot);
}

std::shared_ptr<const ProjectSnapshot> Snapshots::check(const std::string& id, Slot& slot) {
  std::unique_lock lock(slot.mutex);
  // A check under way began before this request arrived; only the next one answers it.
  const std::uint64_t needed = slot.started + 1;
  while (slot.finished < needed) {
    if (slot.checking) {
      slot.done.wait(lock);
      continue;
    }
    slot.checking = true;
    const std::uint64_t round = ++slot.started;
    lock.unlock();
    std::exception_ptr failure;
    try {
      refresh(id, slot);
    } catch (...) {
      failure = std::current_exception();
    }
    lock.lock();
    slot.checking = false;
    slot.finished = round;
    slot.failure = failure;
    slot.done.notify_all();
  }
  if (slot.failure) std::rethrow_exception(slot.failure);
  auto checked = slot.checked.load();
  return checked ? checked->snapshot : nullptr;
}

void Snapshots::refresh(const std::string& id, Slot& slot) {
  // The counter is read first: a write that commits after it moves it past what is kept.
  auto counter = storage_.changeCounter();
  auto at = std::chrono::steady_clock::now();
  auto revision = storage_.revision(id);
  auto previous = slot.checked.load();
  std::shared_ptr<const ProjectSnapshot> snapshot;
  if (revision && previous && previous->snapshot && previous->snapshot->revision() >= *revision) {
    snapshot = previous->snapshot;
  } else if (revision) {
    if (auto content = storage_.content(id)) snapshot = std::make_shared<const ProjectSnapshot>(*content);
  }
  slot.checked.store(std::make_shared<const Checked>(Checked{snapshot, counter, at}));
}

}  // namespace tolvana::server
