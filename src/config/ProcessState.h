// ProcessState: what the library keeps for the process rather than for one engine. The
// engine itself and the lock of its start, the facts read once per process, and the events
// that happen once per process however often the engine is reset.
//
// Created on first use and never destroyed: the library's own threads may still reach it
// while the process exits. Tests start a new simulated process with forgetForTesting(),
// which TLInternal::dropInstanceForTesting calls.
//
// Thread contract: the engine fields are guarded by engineLock; the rest guard themselves.
#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "config/TLDeviceUtil.h"
#include "config/TextWrites.h"
#include "support/CachedFlag.h"
#include "support/Mutex.h"
#include "support/PublishedValue.h"

namespace tolvana {

class TLInternal;

struct ProcessState {
  static ProcessState& get();

  // Re-entrant: start-up runs under it and may look strings up on the same thread.
  RecursiveMutex engineLock;
  std::shared_ptr<TLInternal> engine TL_GUARDED_BY(engineLock);
  std::shared_ptr<TLInternal> starting TL_GUARDED_BY(engineLock);  // the engine inside start()

  // The application's own permission for draft mode; initially on.
  std::atomic<bool> draftModeEnabled{true};

  // Once-per-process events.
  std::atomic<bool> notInitializedAlertShown{false};
  std::atomic<bool> developmentLanguageWarned{false};
  std::atomic<bool> sessionTimeoutsApplied{false};
  std::atomic<bool> firstUpdateCompleted{false};
  std::atomic<bool> gesturesRegistered{false};
  std::atomic<std::uint64_t> textsChanged{0};  // updates that wrote texts, for toolkit adapters
  // Moves on after anything that may change what a look-up answers, so that an adapter may keep
  // answers for as long as it stands still. Never reset, not even for a simulated new process:
  // an answer kept before must not pass for one of the new engine's.
  std::atomic<std::uint64_t> answersGeneration{1};
  void answersChanged() { answersGeneration.fetch_add(1, std::memory_order_release); }
  // A move that wrote these texts and changed nothing else, which answers under other keys outlive.
  TextWrites textWrites;
  void textsWritten(std::vector<std::string> keys) { textWrites.written(answersGeneration, std::move(keys)); }

  // Facts read on first use and kept for the process.
  CachedFlag searchAllBundles;
  CachedFlag uiTestRunning, showIdOnLaunch, debuggerConnected, appExtension;
  // The device languages, kept until the app language changes.
  PublishedValue<DeviceLanguages> deviceLanguages;

  // Everything but the engine fields.
  void forgetForTesting();
};

}  // namespace tolvana
