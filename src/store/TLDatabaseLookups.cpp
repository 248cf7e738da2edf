// TLDatabase's read side: what look-ups ask of the manager, answered without its main lock
// and, while nothing changes, without any lock of the manager's.
#include <algorithm>
#include <chrono>
#include <utility>

#include "config/ProcessState.h"
#include "store/TLDatabase.h"
#include "store/TLDatabaseState.h"
#include "support/Mutex.h"
#include "support/ReadEpoch.h"
#include "tolvana/platform/Platform.h"

namespace tolvana {

// Good while the manager's lookup version stays the one it was made in.
struct TLDatabase::ReadView {
  std::uint64_t version = 0;
  LookupSettings settings;
  // The languages look-ups asked for, with their store when it reads concurrently.
  std::vector<std::pair<std::string, std::shared_ptr<TLDBProtocol>>> stores;
};

TLDatabase::~TLDatabase() { delete readView_.load(); }

TLDatabase::LookupWrite::LookupWrite(const TLDatabase& database, Answers answers)
    : lock_(database.lookupMutex_), version_(database.lookupVersion_), answers_(answers) {}

TLDatabase::LookupWrite::~LookupWrite() {
  version_.fetch_add(1, std::memory_order_release);
  if (answers_ == Answers::mayChange) ProcessState::get().answersChanged();
}

const TLDatabase::ReadView& TLDatabase::publish(const ReadView* expected, ReadView* next) const {
  if (readView_.compare_exchange_strong(expected, next)) {
    if (expected) ReadEpoch::retire([expected] { delete expected; });
    return *next;
  }
  // Another look-up published first; its view is as new as this one or newer.
  delete next;
  return *expected;
}

const TLDatabase::ReadView& TLDatabase::readView() const {
  const ReadView* view = readView_.load();
  if (view && view->version == lookupVersion_.load(std::memory_order_acquire)) return *view;
  auto* next = new ReadView;
  {
    SharedLockGuard reading(lookupMutex_);
    next->version = lookupVersion_.load(std::memory_order_relaxed);
    next->settings = {state_->initialized, state_->collectMissingEnabled, state_->baseLanguage};
  }
  return publish(view, next);
}

TLDBProtocol* TLDatabase::concurrentStore(std::string_view language) const {
  for (;;) {
    const ReadView& view = readView();
    for (const auto& [code, store] : view.stores) {
      if (code == language) return store.get();
    }
    auto* next = new ReadView(view);
    {
      SharedLockGuard reading(lookupMutex_);
      auto it = state_->databases.find(language);
      auto store = it != state_->databases.end() && it->second->readsConcurrently() ? it->second : nullptr;
      if (next->version != lookupVersion_.load(std::memory_order_relaxed)) {
        // Changed since the view was made: answered from this store, not kept in a view.
        delete next;
        ReadEpoch::retire([store] {});  // the reference lives until this look-up's section ends
        return store.get();
      }
      next->stores.emplace_back(language, std::move(store));
    }
    const ReadView& standing = publish(&view, next);
    if (&standing == next) return next->stores.back().second.get();
  }
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
  ReadEpoch::Section section;
  if (TLDBProtocol* store = concurrentStore(language)) {
    auto answer = read(*store);
    if (store->isBroken()) dropIfBroken(language, store);
    return answer;
  }
  std::shared_ptr<TLDBProtocol> store;
  if (!knownAbsent(language)) store = openForReading(language);
  auto answer = [&] {
    auto value = read(*store);
    dropIfBroken(language, store.get());
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

const TLDatabase::LookupSettings& TLDatabase::lookupSettings() const { return readView().settings; }

std::int64_t TLDatabase::answersValidUntil(std::int64_t started) const {
  // Outside changes to a store's file are looked for once a second; a kept answer lasts no
  // longer, for stores whose next look it cannot know.
  constexpr std::int64_t kAnswerLifetime = std::chrono::nanoseconds(std::chrono::seconds(1)).count();
  return std::min(started + kAnswerLifetime, nextOutsideCheck(started));
}

std::int64_t TLDatabase::nextOutsideCheck(std::int64_t after) const {
  std::int64_t earliest = INT64_MAX;
  for (const auto& [code, store] : readView().stores) {
    const std::int64_t due = store ? store->nextOutsideCheck() : INT64_MAX;
    if (due > after) earliest = std::min(earliest, due);
  }
  return earliest;
}

void TLDatabase::lookForOutsideChanges() const {
  for (const auto& [code, store] : readView().stores) {
    if (store) store->lookForOutsideChanges();
  }
}

}  // namespace tolvana
