#include "platform/fake/MemoryUserDefaults.h"

#include "support/Mutex.h"

namespace tolvana {

std::optional<Value> MemoryUserDefaults::objectForKey(std::string_view key) const {
  LockGuard lock(mutex_);
  auto it = values_.find(key);
  if (it == values_.end()) return std::nullopt;
  return it->second;
}

void MemoryUserDefaults::setObject(std::string_view key, Value value) {
  LockGuard lock(mutex_);
  values_.insert_or_assign(std::string(key), std::move(value));
}

void MemoryUserDefaults::removeObject(std::string_view key) {
  LockGuard lock(mutex_);
  if (auto it = values_.find(key); it != values_.end()) values_.erase(it);
}

bool MemoryUserDefaults::synchronize() {
  ++synchronizeCount_;
  return true;
}

void MemoryUserDefaults::removePersistentDomain() {
  LockGuard lock(mutex_);
  values_.clear();
}

Value::Dictionary MemoryUserDefaults::snapshot() const {
  LockGuard lock(mutex_);
  return values_;
}

}  // namespace tolvana
