// TLDatabase's read side: what look-ups ask of the manager, answered without its main lock
// and, while nothing changes, without any lock of the manager's.
#include <utility>

#include "store/TLDatabase.h"
#include "store/TLDatabaseState.h"
#include "support/Mutex.h"
#include "tolvana/platform/Platform.h"

namespace tolvana {

// What one thread last read of what look-ups need from one manager, good while the manager's
// lookup version stays the same: a look-up then takes no lock of the manager's.
struct TLDatabase::ThreadView {
  std::uint64_t owner = 0;
  std::uint64_t version = 0;
  LookupSettings settings;
  // The languages this thread asked for, with their store when it reads concurrently.
  std::vector<std::pair<std::string, std::shared_ptr<TLDBProtocol>>> stores;
};

TLDatabase::LookupWrite::LookupWrite(const TLDatabase& database)
    : lock_(database.lookupMutex_), version_(database.lookupVersion_) {}

TLDatabase::LookupWrite::~LookupWrite() { version_.fetch_add(1, std::memory_order_release); }

TLDatabase::ThreadView& TLDatabase::threadView() const {
  thread_local ThreadView view;
  if (view.owner == id_ && view.version == lookupVersion_.load(std::memory_order_acquire)) return view;
  SharedLockGuard reading(lookupMutex_);
  view.owner = id_;
  view.version = lookupVersion_.load(std::memory_order_relaxed);
  view.settings = {state_->initialized, state_->collectMissingEnabled, state_->baseLanguage};
  view.stores.clear();
  return view;
}

std::shared_ptr<TLDBProtocol> TLDatabase::concurrentStore(std::string_view language) const {
  ThreadView& view = threadView();
  for (const auto& [code, store] : view.stores) {
    if (code == language) return store;
  }
  SharedLockGuard reading(lookupMutex_);
  auto it = state_->databases.find(language);
  auto store = it != state_->databases.end() && it->second->readsConcurrently() ? it->second : nullptr;
  if (view.version == lookupVersion_.load(std::memory_order_relaxed)) view.stores.emplace_back(language, store);
  return store;
}

bool TLDatabase::knownAbsent(std::string_view language) const {
  SharedLockGuard reading(lookupMutex_);
  auto it = state_->absentUntil.find(language);
  return it != state_->absentUntil.end() && Platform::Current().clock().monotonicNow() < it->second;
}

// A look-up in a store that reads concurrently takes none of the manager's locks, and opening
// one takes only openMutex_; other backends are opened and read under the manager's lock.
template <typename Read>
auto TLDatabase::readInStore(std::string_view language, Read read) -> decltype(read(std::declval<TLDBProtocol&>())) {
  auto store = concurrentStore(language);
  if (!store && !knownAbsent(language)) store = openForReading(language);
  auto answer = [&] {
    auto value = read(*store);
    dropIfBroken(language, store);
    return value;
  };
  if (store) return answer();
  if (knownAbsent(language)) return std::nullopt;
  LockGuard lock(mutex_);
  store = databaseForLanguage(language, false);
  if (!store) return std::nullopt;
  return answer();
}

std::optional<std::string> TLDatabase::valueWithKey(std::string_view key, std::string_view language) {
  return readInStore(language, [&](TLDBProtocol& store) { return store.entryValueForKey(key); });
}

std::optional<TLLanguageEntry> TLDatabase::entryWithKey(std::string_view key, std::string_view language) {
  return readInStore(language, [&](TLDBProtocol& store) { return store.entryForKey(key); });
}

TLDatabase::LookupSettings TLDatabase::lookupSettings() const { return threadView().settings; }

}  // namespace tolvana
