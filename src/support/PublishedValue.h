// PublishedValue: a value computed on first use and kept until cleared, read by the look-up
// path without a lock, a copy or a thread-local variable: readers inside a ReadEpoch section
// get a reference to the kept value, and a cleared value lives until their sections end.
//
// The computation runs outside the lock, so it may call back into anything. Each clear starts
// a new generation; a result computed in an older one is handed to its caller for the caller's
// section but never kept, so a computation that began before a clear cannot bring the old
// value back after it.
//
// Thread contract: any thread. get() only inside a ReadEpoch::Section, whose end the returned
// reference does not outlive.
#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>

#include "support/Mutex.h"
#include "support/ReadEpoch.h"

namespace tolvana {

template <class T>
class PublishedValue {
 public:
  PublishedValue() = default;
  PublishedValue(const PublishedValue&) = delete;
  PublishedValue& operator=(const PublishedValue&) = delete;
  // Sections still open elsewhere may hold the kept value; it goes the way a cleared one does.
  ~PublishedValue() { clear(); }

  template <class Compute>
  const T& get(Compute compute) {
    if (const T* kept = value_.load()) return *kept;
    std::uint64_t generation;
    {
      LockGuard lock(mutex_);
      generation = generation_;
    }
    auto* computed = new T(compute());
    {
      LockGuard lock(mutex_);
      if (generation == generation_) {
        const T* expected = nullptr;
        if (value_.compare_exchange_strong(expected, computed)) return *computed;
        delete computed;
        return *expected;
      }
    }
    // Computed before a clear: good for this section, then gone.
    ReadEpoch::retire([computed] { delete computed; });
    return *computed;
  }

  // Differs from every number another value or another generation of this one had: read
  // before get(), it tells a reader that kept something derived from the value whether that
  // still stands.
  std::uint64_t version() const { return version_.load(std::memory_order_acquire); }

  void clear() {
    const T* old;
    {
      LockGuard lock(mutex_);
      ++generation_;
      old = value_.exchange(nullptr);
      version_.store(nextVersion(), std::memory_order_release);
    }
    if (old) ReadEpoch::retire([old] { delete old; });
  }

 private:
  Mutex mutex_;
  std::uint64_t generation_ TL_GUARDED_BY(mutex_) = 0;
  std::atomic<const T*> value_{nullptr};
  static std::uint64_t nextVersion() {
    static std::atomic<std::uint64_t> versions{1};
    return versions.fetch_add(1, std::memory_order_relaxed);
  }
  std::atomic<std::uint64_t> version_{nextVersion()};
};

}  // namespace tolvana
