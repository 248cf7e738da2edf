// CachedValue: a value computed on first use and kept until it is cleared or replaced.
//
// The computation runs outside the lock, so it may call back into anything. Each clear or
// replacement starts a new generation; a result computed in an older one is handed to its
// caller but never kept, so a computation that began before a clear cannot bring the old
// value back after it.
//
// Thread contract: every method may be called from any thread.
#pragma once

#include <cstdint>
#include <mutex>
#include <optional>

namespace tolvana {

template <class T>
class CachedValue {
 public:
  template <class Compute>
  T get(Compute compute) {
    std::uint64_t generation;
    {
      std::lock_guard lock(mutex_);
      if (value_) return *value_;
      generation = generation_;
    }
    T computed = compute();
    std::lock_guard lock(mutex_);
    if (generation != generation_) return computed;
    if (!value_) value_ = std::move(computed);
    return *value_;
  }

  // Replaces the value; nullopt clears it, so the next get() computes it again.
  void set(std::optional<T> value) {
    std::lock_guard lock(mutex_);
    ++generation_;
    value_ = std::move(value);
  }
  void clear() { set(std::nullopt); }

 private:
  std::mutex mutex_;
  std::optional<T> value_;       // guarded by mutex_
  std::uint64_t generation_ = 0;  // guarded by mutex_
};

}  // namespace tolvana
