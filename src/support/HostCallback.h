// HostCallback: one function a host hands the library (a logger, a notice handler), which the
// host may replace at any time from any thread.
//
// A C host frees what its function used as soon as it has replaced it, so set() returns only
// once no other thread is still inside the function it replaced. A call made from inside the
// function on the same thread (the host's code called the library, which wants to call the
// host again) is refused rather than re-entering, and set() from inside skips the wait, which
// would wait for itself.
//
//   HostCallback<int, std::string_view> logger;
//   logger.set([](int level, std::string_view text) { ... });
//   if (!logger.call(level, text)) writeToTheSink(text);
//
// Thread contract: every method may be called from any thread, concurrently.
#pragma once

#include <atomic>
#include <condition_variable>
#include <functional>
#include <memory>
#include <utility>

#include "support/Mutex.h"

namespace tolvana {

template <class... Args>
class HostCallback {
 public:
  using Function = std::function<void(Args...)>;

  // An empty function removes the current one.
  void set(Function function) {
    std::shared_ptr<Installed> replaced;
    {
      UniqueLock lock(mutex_);
      installed_.store(static_cast<bool>(function), std::memory_order_relaxed);
      replaced = std::exchange(current_, function ? std::make_shared<Installed>(std::move(function)) : nullptr);
      while (replaced && replaced->active > 0 && !insideThis()) lock.wait(idle_);
    }
    // Destroyed outside the lock: what the function holds may call back in as it goes.
  }

  // False when no function is set, or when called from inside it on this thread. What the
  // function throws stays here.
  template <class... CallArgs>
  bool call(CallArgs&&... args) noexcept {
    if (!installed_.load(std::memory_order_relaxed) || insideThis()) return false;
    std::shared_ptr<Installed> installed;
    {
      LockGuard lock(mutex_);
      if (!current_) return false;
      installed = current_;
      ++installed->active;
    }
    const HostCallback* outer = std::exchange(inside_, this);
    try {
      installed->function(std::forward<CallArgs>(args)...);
    } catch (...) {
      // The host's function failed on this call; the host goes on.
    }
    inside_ = outer;
    {
      LockGuard lock(mutex_);
      --installed->active;
    }
    idle_.notify_all();
    return true;
  }

  // Whether a function is set: one relaxed load, for paths that skip work when none is.
  bool isSet() const { return installed_.load(std::memory_order_relaxed); }

 private:
  struct Installed {
    explicit Installed(Function f) : function(std::move(f)) {}
    Function function;
    int active = 0;  // calls in progress; guarded by the owner's mutex_
  };

  bool insideThis() const { return inside_ == this; }

  Mutex mutex_;
  std::condition_variable idle_;
  std::shared_ptr<Installed> current_ TL_GUARDED_BY(mutex_);
  std::atomic<bool> installed_{false};
  static inline thread_local const HostCallback* inside_ = nullptr;
};

}  // namespace tolvana
