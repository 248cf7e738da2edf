// TLDatabase: the engine's one store manager.
//
// At creation it finds the settings archive in the app bundle, unpacks it into the data
// directory, reads the app file and fixes where each language's store lives; afterwards it
// hands out one backend per language and answers look-ups. Every public operation holds the
// manager's lock for its whole length (re-entrant, since the parsers call back in), except
// look-ups in stores that guard their own reads (TLDBProtocol::readsConcurrently) and the
// getters of app-level state: these take only a short shared lock, so a parse does not hold
// up the user interface.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <shared_mutex>
#include <string>
#include <string_view>
#include <vector>

#include "store/TLDBProtocol.h"
#include "support/Mutex.h"
#include "tolvana/TextChanges.h"
#include "tolvana/Value.h"

namespace tolvana {

// The user-defaults key prefix of the per-language deletion marks.
inline constexpr const char* TOLVANA_USER_DEFAUT_KEY = "tolvana_deleted_language";

class TLDatabase {
 public:
  // Null when the settings could not be loaded (see the log).
  static std::shared_ptr<TLDatabase> create();
  // Called when no look-up can still read the manager.
  ~TLDatabase();

  // None for a language code that cannot name a file (see SafeName), whatever the flag.
  std::shared_ptr<TLDBProtocol> databaseForLanguage(std::string_view language, bool createDatabase);
  // When store, the language's backend, turned out to be broken: logs it, moves its file
  // aside to "<path>.corrupt" (replacing an older one) and forgets the backend, so that its
  // groups count as absent. True when it did.
  bool dropIfBroken(std::string_view language, const TLDBProtocol* store);
  bool dropIfBroken(std::string_view language, const std::shared_ptr<TLDBProtocol>& store) {
    return dropIfBroken(language, store.get());
  }
  std::optional<std::string> valueWithKey(std::string_view key, std::string_view language);
  std::optional<TLLanguageEntry> entryWithKey(std::string_view key, std::string_view language);
  std::int64_t versionForGroup(std::string_view group, std::string_view language);
  std::map<std::string, std::string> stringsForLanguage(std::string_view language);
  bool isLanguageSupported(std::string_view language);

  bool parseResponseV1(const Value& answer);
  bool parseResponseV2(const Value& answer);
  // A V2 answer from its JSON text; same result as parseResponseV2 of the decoded value.
  // changes, when given, gets what the parse wrote.
  bool parseResponseV2Json(const std::string& json, TextChanges* changes = nullptr);
  void removeUnusedDatabases(const std::vector<std::string>& languages);
  void deleteDatabase(std::string_view language);
  void markLanguageAsDeleted(std::string_view language);
  void markLanguageAsEnabled(std::string_view language);
  // Sets the marks of many languages (true: deleted) with one write of the defaults.
  void setDeletionMarks(const std::map<std::string, bool>& deletedByLanguage);
  void saveLatestAppInfo();
  // Writes 375,000 entries (3 languages, 250 groups of 500) and times look-ups; returns the
  // seconds the writes took.
  double benchmark();

  static bool isLanguageDeleted(std::string_view language);
  static std::string getDeletionKey(std::string_view language);
  static const std::string& emptyValue();

  // Whether the engine is in draft mode now; the parser takes every group again then. The
  // engine sets this; without it the answer is "not in draft mode".
  void setDraftModeQuery(std::function<bool()> query);
  bool engineInDraftMode() const;

  // App-level state, set by the parsers.
  void setAppVersion(Value version);
  void setBaseLanguage(std::optional<std::string> language);
  void setCollectMissingEnabled(bool enabled);
  void setDraftModeEnabled(bool enabled);
  // Groups of the last V2 answer that were taken but could not be written (a full disk, a
  // locked or broken store); set by the parser.
  void setUnwrittenGroups(int count);
  int unwrittenGroups() const;
  // Entries the parse that runs now (or ran last) has written so far. Read without the
  // manager's lock, which the parse holds throughout, so a progress display can follow it.
  void setEntriesWritten(long count) { entriesWritten_ = count; }
  long entriesWritten() const { return entriesWritten_; }
  // Rebuilds availableLanguages from the store files in dbDirectory.
  void refreshAvailableLanguages();

  // App-level state.
  // What every look-up reads, taken together. The reference holds only inside a
  // ReadEpoch::Section, which it must not outlive.
  struct LookupSettings {
    bool initialized = false;
    bool collectMissingEnabled = false;
    std::optional<std::string> baseLanguage;
  };
  const LookupSettings& lookupSettings() const;
  // Moves on with every change to what look-ups read of the manager itself.
  std::uint64_t lookupVersion() const { return lookupVersion_.load(std::memory_order_acquire); }
  // The earliest of the next outside-change checks after the given time among the stores
  // look-ups have read (steady-clock nanoseconds); one due earlier has not been read since.
  // Inside a ReadEpoch::Section.
  std::int64_t nextOutsideCheck(std::int64_t after) const;
  // Until when an answer of a look-up that started then may be given again without reading
  // the stores: a second at most, and no later than the next outside-change check of a store
  // it read. Inside a ReadEpoch::Section.
  std::int64_t answersValidUntil(std::int64_t started) const;
  // Has every store that is due look for changes another process made to its file, as
  // look-ups do for the stores they read; one found moves TLDBProtocol::outsideChanges() on.
  // Inside a ReadEpoch::Section.
  void lookForOutsideChanges() const;
  std::string apiSecret() const;
  std::string appId() const;
  std::optional<std::string> baseLanguage() const;
  Value appVersion() const;  // a number; -1 until an answer has set one
  bool initialized() const;
  bool collectMissingEnabled() const;
  bool draftModeEnabled() const;
  int dbType() const;
  std::string dbDirectory() const;
  std::string dataDirectory() const;
  std::string dbPathFormat() const;
  std::set<std::string> availableLanguages() const;

 private:
  TLDatabase();
  bool takeAppFile(const std::string& text, const std::string& archiveName) TL_REQUIRES(mutex_);
  std::string storePath(std::string_view language) const;
  // The language's SQLite store, opened if its file exists, under openMutex_ alone: the first
  // look-up in a language does not wait for a parse, which holds mutex_ for its whole run.
  // None for other backends, which are opened under mutex_.
  std::shared_ptr<TLDBProtocol> openForReading(std::string_view language);
  // The language's store from the table, else opened now, or none recorded; openMutex_ is held.
  std::shared_ptr<TLDBProtocol> openStore(std::string_view language, bool createDatabase) TL_REQUIRES(openMutex_);
  // The language's store when it is already made and answers look-ups without the lock;
  // inside a ReadEpoch::Section, which the pointer does not outlive.
  TLDBProtocol* concurrentStore(std::string_view language) const;
  // True when the language had no store file at the last look at most a second ago.
  bool knownAbsent(std::string_view language) const;
  struct State;
  // What look-ups read of the manager, published whole: a look-up reads it without a lock.
  struct ReadView;
  const ReadView& readView() const;
  // Publishes next in place of expected; the one that stands afterwards.
  const ReadView& publish(const ReadView* expected, ReadView* next) const;
  template <typename Read>
  auto readInStore(std::string_view language, Read read) -> decltype(read(std::declval<TLDBProtocol&>()));
  // Every change to what look-ups read takes the lock exclusively and counts one version on.
  // Opening a store, or noting that it has no file, changes no answer: the file came with an
  // unpacking or a parse, which tell of new answers themselves.
  enum class Answers { mayChange, unchanged };
  class TL_SCOPED_CAPABILITY LookupWrite {
   public:
    explicit LookupWrite(const TLDatabase& database, Answers answers = Answers::mayChange)
        TL_ACQUIRE(database.lookupMutex_);
    ~LookupWrite() TL_RELEASE();

   private:
    LockGuard<SharedMutex> lock_;
    std::atomic<std::uint64_t>& version_;
    const Answers answers_;
  };
  // Guards, besides mutex_, what look-ups read: the store table, the absent languages and
  // the app-level state. Changes take both; readers only this one, so that a parse holding
  // mutex_ does not hold them up.
  mutable SharedMutex lookupMutex_;
  mutable std::atomic<std::uint64_t> lookupVersion_{1};
  // The view look-ups read; replaced when the version moves on, the old one retired through
  // ReadEpoch.
  mutable std::atomic<const ReadView*> readView_{nullptr};
  mutable RecursiveMutex mutex_ TL_ACQUIRED_BEFORE(lookupMutex_);
  // Taken, after mutex_ where both are, by whoever opens or forgets a store.
  Mutex openMutex_ TL_ACQUIRED_AFTER(mutex_);
  // Changed under mutex_ (and, what look-ups read of it, lookupMutex_ besides); read under
  // either, and the store table also under openMutex_ alone. The analysis cannot follow a
  // rule of either lock, so this one is left to the comments of the functions that read it.
  const std::unique_ptr<State> state_;
  std::atomic<long> entriesWritten_{0};
};

}  // namespace tolvana
