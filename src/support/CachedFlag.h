// CachedFlag: a flag computed on first use and kept until it is cleared or replaced.
//
// The computation runs outside any lock, so it may call back into anything. Each clear or
// replacement starts a new generation; a result computed in an older one is handed to its
// caller but never kept, so a computation that began before a clear cannot bring the old
// value back after it.
//
// Thread contract: every method may be called from any thread.
#pragma once

#include <atomic>
#include <cstdint>
#include <optional>

namespace tolvana {

// Flags are read on every look-up, so their reads take no lock: the generation and the value
// share one word, and a computed result is kept only if the word is still the one read
// before computing.
class CachedFlag {
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
