// CachedValue: a value computed on first use and kept until it is cleared or replaced.
//
// The computation runs outside the lock, so it may call back into anything. Each clear or
// replacement starts a new generation; a result computed in an older one is handed to its
// caller but never kept, so a computation that began before a clear cannot bring the old
// value back after it.
//
// Thread contract: every method may be called from any thread.
#pragma once

#include <atomic>
#include <cstdint>
#include <deque>
#include <mutex>
#include <optional>

#include "support/Mutex.h"

namespace tolvana {

template <class T>
class CachedValue {
 public:
  template <class Compute>
  T get(Compute compute) {
    // Every look-up reads the device language: a thread that read the kept value before
    // answers from its own copy, without the lock, until a clear or replacement.
    ThreadCopy& copy = threadCopy();
    if (copy.value && copy.generation == published_.load(std::memory_order_acquire)) return *copy.value;
    std::uint64_t generation;
    {
      LockGuard lock(mutex_);
      if (value_) return keep(copy, *value_);
      generation = generation_;
    }
    T computed = compute();
    LockGuard lock(mutex_);
    if (generation != generation_) return computed;
    if (!value_) value_ = std::move(computed);
    return keep(copy, *value_);
  }

  // Replaces the value; nullopt clears it, so the next get() computes it again.
  void set(std::optional<T> value) {
    LockGuard lock(mutex_);
    ++generation_;
    value_ = std::move(value);
    published_.store(generation_, std::memory_order_release);
  }
  void clear() { set(std::nullopt); }

 private:
  struct ThreadCopy {
    std::uint64_t owner = 0;
    std::uint64_t generation = 0;
    std::optional<T> value;
  };
  // The calling thread's copy of this cache's value. Caches are told apart by a number, not
  // their address, which a later cache could reuse.
  ThreadCopy& threadCopy() {
    // A deque, so that a copy stays where it is while a computation reads another cache.
    thread_local std::deque<ThreadCopy> copies;
    for (ThreadCopy& copy : copies) {
      if (copy.owner == id_) return copy;
    }
    copies.push_back(ThreadCopy{id_, 0, std::nullopt});
    return copies.back();
  }
  const T& keep(ThreadCopy& copy, const T& value) TL_REQUIRES(mutex_) {
    copy.generation = generation_;
    copy.value = value;
    return value;
  }
  static std::uint64_t nextId() {
    static std::atomic<std::uint64_t> counter{0};
    return ++counter;
  }

  const std::uint64_t id_ = nextId();
  Mutex mutex_;
  std::optional<T> value_ TL_GUARDED_BY(mutex_);
  std::uint64_t generation_ TL_GUARDED_BY(mutex_) = 0;
  std::atomic<std::uint64_t> published_{0};  // generation_, for the lock-free check
};

// Flags are read on every look-up, so their reads take no lock: the generation and the value
// share one word, and a computed result is kept only if the word is still the one read
// before computing, which is the generation rule above.
template <>
class CachedValue<bool> {
 public:
  template <class Compute>
  bool get(Compute compute) {
    std::uint64_t seen = word_.load(std::memory_order_acquire);
    if (seen & kKnown) return (seen & kTrue) != 0;
    bool computed = compute();
    std::uint64_t kept = (seen & ~kStateBits) | kKnown | (computed ? kTrue : 0);
    if (word_.compare_exchange_strong(seen, kept, std::memory_order_acq_rel)) return computed;
    // A replacement came first; it wins if it left a value, else this result is not kept.
    return (seen & kKnown) && (seen & ~kStateBits) == (kept & ~kStateBits) ? (seen & kTrue) != 0 : computed;
  }
  void set(std::optional<bool> value) {
    std::uint64_t seen = word_.load(std::memory_order_relaxed);
    std::uint64_t next;
    do {
      next = ((seen & ~kStateBits) + kGenerationStep) | (value ? kKnown | (*value ? kTrue : 0) : 0);
    } while (!word_.compare_exchange_weak(seen, next, std::memory_order_acq_rel, std::memory_order_relaxed));
  }
  void clear() { set(std::nullopt); }

 private:
  static constexpr std::uint64_t kKnown = 1, kTrue = 2, kStateBits = 3, kGenerationStep = 4;
  std::atomic<std::uint64_t> word_{0};
};

}  // namespace tolvana
