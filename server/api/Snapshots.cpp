#include "api/Snapshots.h"

namespace tolvana::server {

std::shared_ptr<Snapshots::Slot> Snapshots::slotOf(const std::string& id) {
  auto slots = slots_.load();
  if (auto found = slots->find(id); found != slots->end()) return found->second;
  std::lock_guard lock(adding_);
  slots = slots_.load();
  if (auto found = slots->find(id); found != slots->end()) return found->second;
  auto grown = std::make_shared<Slots>(*slots);
  auto slot = std::make_shared<Slot>();
  grown->emplace(id, slot);
  slots_.store(std::move(grown));
  return slot;
}

std::shared_ptr<const ProjectSnapshot> Snapshots::current(const std::string& id) {
  auto revision = storage_.revision(id);
  if (!revision) return nullptr;
  auto slot = slotOf(id);
  auto snapshot = slot->snapshot.load();
  if (snapshot && snapshot->revision() >= *revision) return snapshot;
  std::lock_guard lock(slot->remaking);
  snapshot = slot->snapshot.load();
  if (snapshot && snapshot->revision() >= *revision) return snapshot;
  auto content = storage_.content(id);
  if (!content) return nullptr;
  snapshot = std::make_shared<const ProjectSnapshot>(*content);
  slot->snapshot.store(snapshot);
  return snapshot;
}

}  // namespace tolvana::server
