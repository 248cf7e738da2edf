#include "store/TLDBSqlite.h"

#include <sqlite3.h>
#include <sys/stat.h>

#include <chrono>

#include "config/TLSettings.h"
#include "support/TLLog.h"
#include "tolvana/platform/Platform.h"

namespace tolvana {

namespace {

// The open flags are part of the store's contract (1 read-only, 6 read-write and create).
static_assert(SQLITE_OPEN_READONLY == 1);
static_assert((SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE) == 6);

constexpr const char* kCreateEntries = "CREATE TABLE IF NOT EXISTS entries (key TEXT PRIMARY KEY, value TEXT, draft TEXT)";
constexpr const char* kCreateGroups = "CREATE TABLE IF NOT EXISTS groups (name TEXT PRIMARY KEY, version INTEGER)";
constexpr const char* kInsertGroup = "INSERT OR REPLACE INTO GROUPS (name, version) VALUES (@NAME, ?)";
constexpr const char* kInsertEntry = "INSERT OR REPLACE INTO ENTRIES (key, value, draft) VALUES (@KEY, @VALUE, @DRAFT)";
constexpr const char* kNotOpenRead = "Database not open (entryValueForKey).";
constexpr std::chrono::nanoseconds kOutsideCheckInterval = std::chrono::seconds(1);

// Opens a connection, logging a failure; null when there is none.
sqlite3* openConnection(const std::string& path, bool readOnly, int& status) {
  int flags = readOnly ? SQLITE_OPEN_READONLY : SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE;
  sqlite3* handle = nullptr;
  if (status = sqlite3_open_v2(path.c_str(), &handle, flags, nullptr); status != SQLITE_OK) {
    logError("Failed to open/create database");
    // SQLite hands out a handle even on failure; it only carries the error.
    sqlite3_close(handle);
    logError("Database not open (open).");
    return nullptr;
  }
  // A lost update is fetched again from the server; speed matters more than durability.
  sqlite3_exec(handle, "PRAGMA synchronous = OFF", nullptr, nullptr, nullptr);
  return handle;
}

// Every caller's buffer outlives the step that reads it, so SQLite need not copy it. An
// empty view may carry a null pointer, which SQLite would take for NULL; "" keeps it text.
void bindText(sqlite3_stmt* statement, int index, std::string_view text) {
  sqlite3_bind_text(statement, index, text.empty() ? "" : text.data(), static_cast<int>(text.size()),
                    SQLITE_STATIC);
}

void bindOptionalText(sqlite3_stmt* statement, int index, std::optional<std::string_view> text) {
  if (!text || text->empty()) {
    sqlite3_bind_null(statement, index);
  } else {
    bindText(statement, index, *text);
  }
}

// A NULL column reads as the empty string.
std::string columnText(sqlite3_stmt* statement, int column) {
  const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(statement, column));
  if (!text) return {};
  return std::string(text, static_cast<std::size_t>(sqlite3_column_bytes(statement, column)));
}

// A statement that is finalized when the read ends, whichever way it ends. The first
// failed result is left in status for the store to judge.
class ReadStatement {
 public:
  ReadStatement(sqlite3* database, const char* sql, int& status) : status_(status) {
    if (int result = sqlite3_prepare_v2(database, sql, -1, &statement_, nullptr); result != SQLITE_OK) {
      status_ = result;
      sqlite3_finalize(statement_);
      statement_ = nullptr;
    }
  }
  ~ReadStatement() { sqlite3_finalize(statement_); }
  ReadStatement(const ReadStatement&) = delete;
  ReadStatement& operator=(const ReadStatement&) = delete;

  explicit operator bool() const { return statement_ != nullptr; }
  sqlite3_stmt* get() const { return statement_; }
  bool stepRow() {
    int result = sqlite3_step(statement_);
    if (result != SQLITE_ROW && result != SQLITE_DONE) status_ = result;
    return result == SQLITE_ROW;
  }

 private:
  sqlite3_stmt* statement_ = nullptr;
  int& status_;
};

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

std::int64_t TLDBSqlite::getGroupVersion(std::string_view name) {
  if (!openForRead("Database not open (getGroupVersion).")) return -1;
  std::int64_t version = -1;
  int status = SQLITE_OK;
  {
    ReadStatement select(database_, "SELECT version FROM groups WHERE name=@NAME", status);
    if (select) {
      bindText(select.get(), 1, name);
      if (select.stepRow()) version = sqlite3_column_int64(select.get(), 0);
    }
  }
  noteFailure(status, false);
  closeAfterRead();
  return version;
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
    std::shared_lock lock(indexMutex_);
    if (index_) {
      if (auto row = index_->find(key)) answer(*row);
      return true;
    }
  }
  std::lock_guard reading(sqliteReadMutex_);
  std::shared_lock lock(indexMutex_, std::defer_lock);
  // Another thread may have loaded it while this one waited.
  if (lock.lock(); !index_) {
    lock.unlock();
    if (!loadIndex()) return false;
    lock.lock();
  }
  if (auto row = index_->find(key)) answer(*row);
  return true;
}

bool TLDBSqlite::loadIndex() {
  // Taken before the read: a change made after it is then noticed by the next check.
  FileSignature signature = signatureOf(dbPath_);
  int status = SQLITE_OK;
  // Never the owner's connection: a write transaction may be open on it on another thread.
  sqlite3* reader = openConnection(dbPath_, true, status);
  if (!reader) {
    noteFailure(status, false);
    logError(kNotOpenRead);
    return false;
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
    }
  }
  // A read that failed half-way would answer "absent" for rows that exist.
  if (status != SQLITE_OK) index.reset();
  noteFailure(status, false);
  sqlite3_close(reader);
  if (!index) return false;
  std::unique_lock lock(indexMutex_);
  index_ = std::move(index);
  indexSignature_ = signature;
  return true;
}

void TLDBSqlite::noticeOutsideChanges() {
  // The platform's clock, so that tests can let a second pass.
  const std::int64_t now = std::chrono::duration_cast<std::chrono::nanoseconds>(
                               Platform::Current().clock().monotonicNow().time_since_epoch())
                               .count();
  std::int64_t due = nextOutsideCheck_.load(std::memory_order_relaxed);
  if (now < due || !nextOutsideCheck_.compare_exchange_strong(due, now + kOutsideCheckInterval.count())) return;
  FileSignature current = signatureOf(dbPath_);
  std::unique_lock lock(indexMutex_);
  if (index_ && !(current == indexSignature_)) index_.reset();
}

bool TLDBSqlite::FileSignature::operator==(const FileSignature& other) const {
  return device == other.device && inode == other.inode && size == other.size &&
         modified.tv_sec == other.modified.tv_sec && modified.tv_nsec == other.modified.tv_nsec;
}

TLDBSqlite::FileSignature TLDBSqlite::signatureOf(const std::string& path) {
  struct stat info {};
  if (::stat(path.c_str(), &info) != 0) return {};
  return {info.st_dev, info.st_ino, info.st_size, info.st_mtim};
}

std::size_t TLDBSqlite::indexBytes() const {
  std::shared_lock lock(indexMutex_);
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

void TLDBSqlite::applyCommittedRows() {
  FileSignature signature = signatureOf(dbPath_);
  std::unique_lock lock(indexMutex_);
  if (index_ && trackingRows_) {
    for (const auto& row : pendingRows_) index_->put(row.key, row.value, row.draft);
    indexSignature_ = signature;
  } else {
    // Loaded while the transaction was open, so without its rows.
    index_.reset();
  }
  pendingRows_.clear();
}

void TLDBSqlite::noteFailure(int result, bool writing) {
  if (result == SQLITE_OK || result == SQLITE_ROW || result == SQLITE_DONE) return;
  if (writing) transactionFailed_ = true;
  const int primary = result & 0xff;
  if (primary == SQLITE_NOTADB || primary == SQLITE_CORRUPT) broken_ = true;
}

void TLDBSqlite::finalizeInsertStatements() {
  sqlite3_finalize(insertEntryStatement_);
  sqlite3_finalize(insertGroupStatement_);
  insertEntryStatement_ = nullptr;
  insertGroupStatement_ = nullptr;
}

void TLDBSqlite::beginWriteTransaction() {
  transactionFailed_ = false;
  pendingRows_.clear();
  {
    std::shared_lock lock(indexMutex_);
    trackingRows_ = index_.has_value();
  }
  if (alwaysCloseDB_) open(false);
  if (!database_) {
    logError("Database not open (beginWriteTransaction).");
    transactionFailed_ = true;
    return;
  }
  sqlite3_stmt* begin = nullptr;
  if (int result = sqlite3_prepare_v2(database_, "BEGIN", -1, &begin, nullptr); result != SQLITE_OK) {
    logError("Could not BEGIN transaction. Error %d: %s", sqlite3_errcode(database_), sqlite3_errmsg(database_));
    noteFailure(result, true);
  } else if (result = sqlite3_step(begin); result != SQLITE_DONE) {
    logError("Could not BEGIN transaction. (step). Error %d: %s", sqlite3_errcode(database_),
             sqlite3_errmsg(database_));
    noteFailure(result, true);
  }
  sqlite3_finalize(begin);

  // A transaction that was begun and never committed leaves its statements behind.
  finalizeInsertStatements();
  if (int result = sqlite3_prepare_v2(database_, kInsertGroup, -1, &insertGroupStatement_, nullptr);
      result != SQLITE_OK) {
    logError("Could not prepare _insertGroupStatement. Error %d: %s", sqlite3_errcode(database_),
             sqlite3_errmsg(database_));
    noteFailure(result, true);
  }
  if (int result = sqlite3_prepare_v2(database_, kInsertEntry, -1, &insertEntryStatement_, nullptr);
      result != SQLITE_OK) {
    logError("Could not prepare _insertEntryStatement. Error %d: %s", sqlite3_errcode(database_),
             sqlite3_errmsg(database_));
    noteFailure(result, true);
  }
}

void TLDBSqlite::createOrUpdateEntry(std::string_view key, std::optional<std::string_view> value,
                                     std::optional<std::string_view> draft) {
  if (!database_) {
    logError("Database not open (createOrUpdateEntry).");
    return;
  }
  if (key.empty()) {
    logError("Empty key (createOrUpdateEntry).");
    return;
  }
  // After a failed write SQLite may already have rolled the transaction back; a further
  // insert would then be committed on its own, beside a group version it does not match.
  if (transactionFailed_) return;
  sqlite3_stmt* insert = insertEntryStatement_;
  // Outside a transaction there is no statement; the row is lost like any failed insert.
  if (!insert) {
    logError("Failed to add entry");
    transactionFailed_ = true;
    return;
  }
  bindText(insert, 1, key);
  bindOptionalText(insert, 2, value);
  bindOptionalText(insert, 3, draft);
  if (int result = sqlite3_step(insert); result != SQLITE_DONE) {
    logError("Failed to add entry");
    noteFailure(result, true);
  } else if (trackingRows_) {
    pendingRows_.push_back({std::string(key), std::string(value.value_or("")), std::string(draft.value_or(""))});
  }
  sqlite3_reset(insert);
}

void TLDBSqlite::createOrUpdateGroup(std::string_view name, std::int64_t version) {
  if (!database_) {
    logError("Database not open (createOrUpdateGroup).");
    return;
  }
  if (name.empty()) {
    logError("Empty name (createOrUpdateGroup).");
    return;
  }
  if (transactionFailed_) return;
  sqlite3_stmt* insert = insertGroupStatement_;
  if (!insert) {
    logError("Failed to add group");
    transactionFailed_ = true;
    return;
  }
  bindText(insert, 1, name);
  // Bound as a 32-bit integer, like every version already stored on devices.
  sqlite3_bind_int(insert, 2, static_cast<int>(version));
  if (int result = sqlite3_step(insert); result != SQLITE_DONE) {
    logError("Failed to add group");
    noteFailure(result, true);
  }
  sqlite3_reset(insert);
}

bool TLDBSqlite::commitWriteTransaction() {
  if (!database_) {
    logError("Database not open (commitWriteTransaction).");
    return false;
  }
  finalizeInsertStatements();
  // A group's version must never be stored with only part of its entries: a transaction
  // with a failed write is undone as a whole, and the group is fetched again next time.
  if (transactionFailed_) {
    logError("Could not write the transaction; rolled back.");
    sqlite3_exec(database_, "ROLLBACK", nullptr, nullptr, nullptr);
    if (alwaysCloseDB_) close();
    return false;
  }
  sqlite3_stmt* commit = nullptr;
  bool committed = false;
  std::unique_lock reading(sqliteReadMutex_);
  if (int result = sqlite3_prepare_v2(database_, "COMMIT", -1, &commit, nullptr); result != SQLITE_OK) {
    logError("Could not COMMIT transaction. Error %d: %s", sqlite3_errcode(database_), sqlite3_errmsg(database_));
    noteFailure(result, true);
  } else if (result = sqlite3_step(commit); result != SQLITE_DONE) {
    logError("Could not COMMIT transaction. (step)");
    noteFailure(result, true);
  } else {
    committed = true;
  }
  sqlite3_finalize(commit);
  if (committed) applyCommittedRows();
  reading.unlock();
  // A COMMIT that failed (a full disk, a lock) leaves the transaction open; undo it so the
  // connection can close.
  if (!committed && !sqlite3_get_autocommit(database_)) sqlite3_exec(database_, "ROLLBACK", nullptr, nullptr, nullptr);
  if (alwaysCloseDB_) close();
  return committed;
}

}  // namespace tolvana
