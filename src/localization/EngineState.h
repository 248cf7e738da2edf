// EngineState: what every part of the engine reads: the engine's lock, its switches and its
// store manager. The engine owns one and lends it to each of its parts; a test builds its own
// and hands it to the one part it tests.
//
// Thread contract: the switches are atomics, read afresh by every look-up. The manager is
// guarded by the lock, which is re-entrant (start-up and the missing-string collection re-enter
// it) and is always taken before the missing-string collection's own lock.
#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <vector>

#include "config/ProcessState.h"
#include "store/TLDatabase.h"
#include "support/Mutex.h"

namespace tolvana {

class EngineState {
 public:
  RecursiveMutex& lock() const TL_RETURN_CAPABILITY(mutex_) { return mutex_; }

  std::shared_ptr<TLDatabase> database() const {
    LockGuard guard(mutex_);
    return database_;
  }
  void setDatabase(std::shared_ptr<TLDatabase> database) {
    LockGuard guard(mutex_);
    // A look-up may still be reading the manager it replaces, without a reference: it is kept
    // until this state goes. The engine sets its manager once, so nothing piles up.
    if (database_) replaced_.push_back(std::move(database_));
    database_ = std::move(database);
    current_.store(database_.get(), std::memory_order_release);
    ProcessState::get().answersChanged();
  }
  // The manager for the look-up path, which runs for every text a screen shows: no lock and
  // no reference count. Valid as long as this state.
  TLDatabase* currentDatabase() const { return current_.load(std::memory_order_acquire); }

  // Whether a look-up that misses records the key: the store collects misses, and either the
  // app is in draft mode or a debugger watches it.
  bool collectMissingEnabled() const;
  // The same, from the store's settings a look-up has already read.
  bool collectMissingEnabled(const TLDatabase::LookupSettings& store) const;
  // Whether draft mode is allowed at all: by the app itself and by the store's settings.
  bool isDraftModeEnabled() const;

  // Written during start-up and then only through the engine's setters.
  std::atomic<bool> enabled{false};
  std::atomic<bool> inDraftMode{false};
  std::atomic<bool> inShowIdMode{false};
  std::atomic<bool> isPossibleSwiftUi{false};
  std::atomic<bool> collectStoryBoardStrings{true};
  // "TolvanaLogGetString", read at start-up rather than from Info.plist at every look-up.
  std::atomic<bool> logGetString{false};
  // The share pseudo-localised texts grow by; negative while pseudo-localisation is off, which
  // costs a look-up this one load.
  std::atomic<double> pseudoExpansion{-1};

 private:
  mutable RecursiveMutex mutex_;
  std::shared_ptr<TLDatabase> database_ TL_GUARDED_BY(mutex_);
  std::vector<std::shared_ptr<TLDatabase>> replaced_ TL_GUARDED_BY(mutex_);
  std::atomic<TLDatabase*> current_{nullptr};
};

}  // namespace tolvana
