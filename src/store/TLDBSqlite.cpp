#include "store/TLDBSqlite.h"

#include <sqlite3.h>

#include <chrono>

#include "config/TLSettings.h"
#include "platform/CoarseClock.h"
#include "store/ReadIndexSnapshot.h"
#include "store/SqliteStatement.h"
#include "store/StoreFingerprint.h"
#include "support/Mutex.h"
#include "support/TLLog.h"
#include "tolvana/platform/Platform.h"

namespace tolvana {

using sqlite::bindText;
using sqlite::columnText;
using sqlite::openConnection;
using sqlite::ReadStatement;

namespace {

constexpr const char* kCreateEntries = "CREATE TABLE IF NOT EXISTS entries (key TEXT PRIMARY KEY, value TEXT, draft TEXT)";
constexpr const char* kCreateGroups = "CREATE TABLE IF NOT EXISTS groups (name TEXT PRIMARY KEY, version INTEGER)";
constexpr const char* kNotOpenRead = "Database not open (entryValueForKey).";
constexpr std::chrono::nanoseconds kOutsideCheckInterval = std::chrono::seconds(1);

std::int64_t versionIn(const std::map<std::string, std::int64_t, std::less<>>& versions, std::string_view name) {
  auto it = versions.find(name);
  return it == versions.end() ? std::int64_t{-1} : it->second;
}

}  // namespace

std::shared_ptr<TLDBSqlite> TLDBSqlite::initWithPath(std::optional<std::string> path) {
  if (!path) {
    logError("Database path not initalized!");
    return nullptr;
  }
  return std::shared_ptr<TLDBSqlite>(new TLDBSqlite(std::move(*path)));
}

TLDBSqlite::TLDBSqlite(std::string path)
    : alwaysCloseDB_(!TLSettings::keepDatabaseOpen()), dbPath_(std::move(path)) {
  open(false);
  if (database_) {
    createTables();
  } else {
    logError("Database is nil");
  }
  if (alwaysCloseDB_) close();
}

TLDBSqlite::~TLDBSqlite() {
  finalizeInsertStatements();
  // close_v2 cannot fail for want of finalized statements; there is no one left to tell.
  if (database_) sqlite3_close_v2(database_);
}

void TLDBSqlite::createTables() {
  char* message = nullptr;
  if (int result = sqlite3_exec(database_, kCreateEntries, nullptr, nullptr, &message); result != SQLITE_OK) {
    logError("Failed to create entries table. Error: %s", message);
    noteFailure(result, false);
  }
  sqlite3_free(message);
  message = nullptr;
  if (int result = sqlite3_exec(database_, kCreateGroups, nullptr, nullptr, &message); result != SQLITE_OK) {
    logError("Failed to create groups table. Error: %s", message);
    noteFailure(result, false);
  }
  sqlite3_free(message);
}

void TLDBSqlite::open(bool readOnly) {
  if (database_) {
    logError("Database already open!");
    return;
  }
  int status = SQLITE_OK;
  database_ = openConnection(dbPath_, readOnly, status);
  noteFailure(status, false);
}

void TLDBSqlite::close() {
  if (!database_) {
    logError("Database not open (close).");
    return;
  }
  if (sqlite3_close(database_) != SQLITE_OK) {
    logError("Failed to close database");
    return;
  }
  database_ = nullptr;
}

void TLDBSqlite::save() {}

bool TLDBSqlite::openForRead(const char* notOpenMessage) {
  if (alwaysCloseDB_) open(true);
  if (!database_) {
    logError(notOpenMessage);
    return false;
  }
  return true;
}

void TLDBSqlite::closeAfterRead() {
  if (alwaysCloseDB_) close();
}

std::int64_t TLDBSqlite::getGroupVersion(std::string_view name) { return cachedGroupVersion(name).value_or(-1); }

std::optional<std::int64_t> TLDBSqlite::cachedGroupVersion(std::string_view name) {
  // Checked on every call: a stat costs a hundredth of an open, and an update decides from
  // these versions what to write, so another process's write must never be missed.
  FileSignature signature = FileSignature::of(dbPath_);
  {
    SharedLockGuard lock(indexMutex_);
    if (groupVersions_ && signature == groupsSignature_) return versionIn(*groupVersions_, name);
  }
  if (!openForRead("Database not open (getGroupVersion).")) return std::nullopt;
  std::map<std::string, std::int64_t, std::less<>> versions;
  int status = SQLITE_OK;
  {
    ReadStatement select(database_, "SELECT name, version FROM groups", status);
    while (select && select.stepRow()) {
      const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(select.get(), 0));
      if (text) versions[text] = sqlite3_column_int64(select.get(), 1);
    }
  }
  noteFailure(status, false);
  closeAfterRead();
  if (status != SQLITE_OK) return std::nullopt;
  LockGuard lock(indexMutex_);
  groupVersions_ = std::move(versions);
  groupsSignature_ = signature;
  return versionIn(*groupVersions_, name);
}

std::optional<std::string> TLDBSqlite::entryValueForKey(std::string_view key) {
  std::optional<std::string> value;
  readIndexed(key, [&](const TLReadIndex::Row& row) { value.emplace(row.value); });
  return value;
}

std::optional<TLLanguageEntry> TLDBSqlite::entryForKey(std::string_view key) {
  std::optional<TLLanguageEntry> entry;
  readIndexed(key, [&](const TLReadIndex::Row& row) {
    entry = TLLanguageEntry{std::string(key), std::string(row.value), std::string(row.draft)};
  });
  return entry;
}

template <typename Answer>
bool TLDBSqlite::readIndexed(std::string_view key, Answer&& answer) {
  noticeOutsideChanges();
  {
    SharedLockGuard lock(indexMutex_);
    if (index_) {
      if (auto row = index_->find(key)) answer(*row);
      return true;
    }
  }
  LockGuard reading(sqliteReadMutex_);
  bool loaded;
  {
    // Another thread may have loaded it while this one waited.
    SharedLockGuard lock(indexMutex_);
    loaded = index_.has_value();
  }
  if (!loaded && !loadIndex()) return false;
  SharedLockGuard lock(indexMutex_);
  if (!index_) return false;
  if (auto row = index_->find(key)) answer(*row);
  return true;
}

bool TLDBSqlite::loadIndex() {
  // Taken before the read: a change made after it is then noticed by the next check, and a
  // snapshot labelled with it holds this version of the file or a later one.
  FileSignature signature = FileSignature::of(dbPath_);
  const std::string fingerprint = storeFingerprint(dbPath_, signature);
  std::optional<TLReadIndex> index = ReadIndexSnapshot::load(dbPath_, fingerprint);
  // Saved only here, not after each commit: an update commits once per group, and the next
  // start reading the store once is cheaper than a snapshot per group.
  if (!index) {
    index = readIndexFromStore();
    if (!index) return false;
    ReadIndexSnapshot::save(dbPath_, fingerprint, *index);
  }
  {
    LockGuard lock(indexMutex_);
    index_ = std::move(index);
    indexSignature_ = signature;
  }
  contentChanged();
  return true;
}

std::optional<TLReadIndex> TLDBSqlite::readIndexFromStore() {
  int status = SQLITE_OK;
  // Never the owner's connection: a write transaction may be open on it on another thread.
  sqlite3* reader = openConnection(dbPath_, true, status, /*oneThread=*/true);
  if (!reader) {
    noteFailure(status, false);
    logError(kNotOpenRead);
    return std::nullopt;
  }
  std::optional<TLReadIndex> index;
  {
    ReadStatement count(reader, "SELECT count(*) FROM entries", status);
    std::size_t rows = count && count.stepRow() ? static_cast<std::size_t>(sqlite3_column_int64(count.get(), 0)) : 0;
    ReadStatement select(reader, "SELECT key,value,draft FROM entries", status);
    if (select) {
      index.emplace(rows);
      auto text = [&](int column) {
        const auto* bytes = reinterpret_cast<const char*>(sqlite3_column_text(select.get(), column));
        return bytes ? std::string_view(bytes, static_cast<std::size_t>(sqlite3_column_bytes(select.get(), column)))
                     : std::string_view();
      };
      while (select.stepRow()) index->put(text(0), text(1), text(2));
      index->shrinkToFit();
    }
  }
  // A read that failed half-way would answer "absent" for rows that exist.
  if (status != SQLITE_OK) index.reset();
  noteFailure(status, false);
  sqlite3_close(reader);
  return index;
}

void TLDBSqlite::noticeOutsideChanges() {
  // The platform's clock, so that tests can let a second pass; asked on every read of the
  // store, where a check a few milliseconds late changes nothing but an exact reading would
  // cost as much as the index's probe.
  const std::int64_t now = coarseMonotonicNanoseconds(Platform::Current().clock());
  std::int64_t due = nextOutsideCheck_.load(std::memory_order_relaxed);
  if (now < due || !nextOutsideCheck_.compare_exchange_strong(due, now + kOutsideCheckInterval.count())) return;
  FileSignature current = FileSignature::of(dbPath_);
  {
    LockGuard lock(indexMutex_);
    if (!index_ || current == indexSignature_) return;
    index_.reset();
  }
  outsideChangeFound();
}

std::size_t TLDBSqlite::indexBytes() const {
  SharedLockGuard lock(indexMutex_);
  return index_ ? index_->memoryBytes() : 0;
}

std::optional<std::vector<TLLanguageEntry>> TLDBSqlite::entryList() {
  if (!openForRead(kNotOpenRead)) return std::nullopt;
  std::optional<std::vector<TLLanguageEntry>> entries;
  int status = SQLITE_OK;
  {
    ReadStatement select(database_, "SELECT key,value,draft FROM entries", status);
    if (select) {
      entries.emplace();
      while (select.stepRow()) {
        entries->push_back({columnText(select.get(), 0), columnText(select.get(), 1), columnText(select.get(), 2)});
      }
    }
  }
  noteFailure(status, false);
  closeAfterRead();
  return entries;
}

std::optional<std::map<std::string, std::int64_t>> TLDBSqlite::groupList() {
  if (!openForRead(kNotOpenRead)) return std::nullopt;
  std::optional<std::map<std::string, std::int64_t>> groups;
  int status = SQLITE_OK;
  {
    ReadStatement select(database_, "SELECT name,version FROM groups", status);
    if (select) {
      groups.emplace();
      while (select.stepRow()) (*groups)[columnText(select.get(), 0)] = sqlite3_column_int64(select.get(), 1);
    }
  }
  noteFailure(status, false);
  closeAfterRead();
  return groups;
}

}  // namespace tolvana
