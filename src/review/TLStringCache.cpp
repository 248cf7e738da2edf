#include "review/TLStringCache.h"

#include "support/Mutex.h"

namespace tolvana {

TLStringCache& TLStringCache::sharedInstance() {
  static TLStringCache cache;
  return cache;
}

void TLStringCache::addStringKey(std::string key, std::string_view value) {
  LockGuard lock(mutex_);
  if (auto found = index_.find(value); found != index_.end()) {
    found->second->second = std::move(key);
    entries_.splice(entries_.begin(), entries_, found->second);
    return;
  }
  entries_.emplace_front(std::string(value), std::move(key));
  index_[entries_.front().first] = entries_.begin();
  if (entries_.size() > kCountLimit) {
    index_.erase(entries_.back().first);
    entries_.pop_back();
  }
}

std::optional<std::string> TLStringCache::getKeyForValue(std::string_view value) {
  LockGuard lock(mutex_);
  auto found = index_.find(value);
  if (found == index_.end()) return std::nullopt;
  entries_.splice(entries_.begin(), entries_, found->second);
  return found->second->second;
}

}  // namespace tolvana
