// Mutex, RecursiveMutex and SharedMutex: the standard mutexes as capabilities the thread-safety
// analysis can follow (support/ThreadAnnotations.h), and the scoped holders that go with them:
// LockGuard for a scope, SharedLockGuard for a shared one, UniqueLock where a scope lets go
// early or waits on a condition variable.
//
//   Mutex mutex_;
//   std::deque<Task> tasks_ TL_GUARDED_BY(mutex_);
//   ...
//   LockGuard lock(mutex_);
//   tasks_.push_back(std::move(task));
#pragma once

#include <condition_variable>
#include <mutex>
#include <shared_mutex>

#include "support/ThreadAnnotations.h"

namespace tolvana {

class TL_CAPABILITY("mutex") Mutex {
 public:
  void lock() TL_ACQUIRE() { native_.lock(); }
  void unlock() TL_RELEASE() { native_.unlock(); }

 private:
  friend class UniqueLock;
  std::mutex native_;
};

class TL_CAPABILITY("mutex") RecursiveMutex {
 public:
  void lock() TL_ACQUIRE() { native_.lock(); }
  void unlock() TL_RELEASE() { native_.unlock(); }
  bool try_lock() TL_TRY_ACQUIRE(true) { return native_.try_lock(); }

 private:
  std::recursive_mutex native_;
};

class TL_CAPABILITY("mutex") SharedMutex {
 public:
  void lock() TL_ACQUIRE() { native_.lock(); }
  void unlock() TL_RELEASE() { native_.unlock(); }
  void lock_shared() TL_ACQUIRE_SHARED() { native_.lock_shared(); }
  void unlock_shared() TL_RELEASE_SHARED() { native_.unlock_shared(); }

 private:
  std::shared_mutex native_;
};

template <class M>
class TL_SCOPED_CAPABILITY LockGuard {
 public:
  explicit LockGuard(M& mutex) TL_ACQUIRE(mutex) : mutex_(mutex) { mutex_.lock(); }
  ~LockGuard() TL_RELEASE() { mutex_.unlock(); }
  LockGuard(const LockGuard&) = delete;
  LockGuard& operator=(const LockGuard&) = delete;

 private:
  M& mutex_;
};

class TL_SCOPED_CAPABILITY SharedLockGuard {
 public:
  explicit SharedLockGuard(SharedMutex& mutex) TL_ACQUIRE_SHARED(mutex) : mutex_(mutex) { mutex_.lock_shared(); }
  ~SharedLockGuard() TL_RELEASE() { mutex_.unlock_shared(); }
  SharedLockGuard(const SharedLockGuard&) = delete;
  SharedLockGuard& operator=(const SharedLockGuard&) = delete;

 private:
  SharedMutex& mutex_;
};

class TL_SCOPED_CAPABILITY UniqueLock {
 public:
  explicit UniqueLock(Mutex& mutex) TL_ACQUIRE(mutex) : lock_(mutex.native_) {}
  ~UniqueLock() TL_RELEASE() {}
  UniqueLock(const UniqueLock&) = delete;
  UniqueLock& operator=(const UniqueLock&) = delete;

  void lock() TL_ACQUIRE() { lock_.lock(); }
  void unlock() TL_RELEASE() { lock_.unlock(); }
  // Lets the mutex go while it waits and holds it again when it wakes, which may be early:
  // callers test their condition again.
  void wait(std::condition_variable& wake) { wake.wait(lock_); }
  template <class TimePoint>
  void waitUntil(std::condition_variable& wake, const TimePoint& until) {
    wake.wait_until(lock_, until);
  }

 private:
  std::unique_lock<std::mutex> lock_;
};

}  // namespace tolvana
