// The process's one engine: started on first use, published for the look-up path, reset or
// dropped. Kept apart from the engine's own work, which this only starts.
#include "config/ProcessState.h"
#include "core/TLInternal.h"
#include "localization/RecentAnswers.h"
#include "localization/StringLookup.h"
#include "support/Mutex.h"
#include "support/ReadEpoch.h"
#include "tolvana/platform/Platform.h"

namespace tolvana {

std::shared_ptr<TLInternal> TLInternal::sharedInstance() {
  ProcessState& state = ProcessState::get();
  LockGuard lock(state.engineLock);
  if (state.engine) return state.engine;
  // Only the thread inside start() gets here while it runs (a look-up hook of the Ui port, a
  // log sink): it is answered by the engine as far as it has come, which falls back to the
  // bundle's own tables until its store is open, rather than starting another engine.
  if (state.starting) return state.starting;
  state.starting.reset(new TLInternal());
  state.starting->assemble();
  struct Started {
    ProcessState& state;
    ~Started() { state.starting.reset(); }
  } started{state};
  state.starting->start();
  state.engine = state.starting;
  // Before the engine is published: look-ups during the start were answered from the bundle
  // alone, and none that finds the engine may take such an answer as its own.
  state.answersChanged();
  published_.store(state.engine.get());
  publishedOwner_.store(state.engine->lookup_->owner());
  return state.engine;
}

std::atomic<TLInternal*> TLInternal::published_{nullptr};
std::atomic<std::uint64_t> TLInternal::publishedOwner_{0};

const std::string* TLInternal::recentText(std::string_view key, std::optional<std::string_view> value) {
  const std::uint64_t owner = publishedOwner_.load();
  if (!owner) return nullptr;
  const RecentAnswers::Entry* kept = RecentAnswers::peek(owner, key, value);
  return kept ? &kept->text : nullptr;
}

namespace {

// Drops the engine a reset took out, once no look-up still reads it through withEngine().
void release(std::shared_ptr<TLInternal> engine) {
  if (!engine) return;
  if (ReadEpoch::synchronize()) return;
  // Reset from inside a look-up: the look-up still holds this engine.
  ReadEpoch::retire([engine = std::move(engine)] {});
}

}  // namespace

bool TLInternal::beforeStart(const std::function<void()>& work) {
  ProcessState& state = ProcessState::get();
  LockGuard lock(state.engineLock);
  if (state.engine || state.starting) return false;
  work();
  return true;
}

std::shared_ptr<TLInternal> TLInternal::unpublish(std::shared_ptr<TLInternal>& engine) {
  publishedOwner_.store(0);
  published_.store(nullptr);
  return std::move(engine);
}

void TLInternal::resetInstance() {
  ProcessState& state = ProcessState::get();
  std::shared_ptr<TLInternal> previous;
  {
    LockGuard lock(state.engineLock);
    previous = unpublish(state.engine);
    // The app's own defaults go too: the whole domain is erased, as a fresh install would be.
    Platform::Current().userDefaults().removePersistentDomain();
    sharedInstance();
  }
  release(std::move(previous));
}

void TLInternal::dropInstanceForTesting() {
  ProcessState& state = ProcessState::get();
  std::shared_ptr<TLInternal> previous;
  {
    LockGuard lock(state.engineLock);
    previous = unpublish(state.engine);
    state.forgetForTesting();
  }
  release(std::move(previous));
}

}  // namespace tolvana
