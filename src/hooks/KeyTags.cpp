#include "hooks/KeyTags.h"

#include "support/Mutex.h"

namespace tolvana {

KeyTags& KeyTags::shared() {
  static auto* tags = new KeyTags;
  return *tags;
}

void KeyTags::tag(const void* data, std::shared_ptr<const void> owner, std::string key) {
  if (!data) return;
  LockGuard lock(mutex_);
  auto [at, added] = tags_.insert_or_assign(data, Tag{std::move(owner), std::move(key)});
  if (!added) return;
  order_.push_back(data);
  if (order_.size() > kLimit) {
    tags_.erase(order_.front());
    order_.pop_front();
  }
}

std::optional<std::string> KeyTags::keyFor(const void* data) const {
  LockGuard lock(mutex_);
  auto at = tags_.find(data);
  if (at == tags_.end()) return std::nullopt;
  return at->second.key;
}

std::size_t KeyTags::size() const {
  LockGuard lock(mutex_);
  return tags_.size();
}

}  // namespace tolvana
