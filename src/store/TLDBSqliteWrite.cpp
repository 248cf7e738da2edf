// TLDBSqlite's write path: one group's entries written in one transaction, and the read
// index brought up to date with the committed rows.
#include <sqlite3.h>

#include "store/SqliteStatement.h"
#include "store/TLDBSqlite.h"
#include "support/Mutex.h"
#include "support/TLLog.h"

namespace tolvana {

using sqlite::bindOptionalText;
using sqlite::bindText;

namespace {
constexpr const char* kInsertGroup = "INSERT OR REPLACE INTO GROUPS (name, version) VALUES (@NAME, ?)";
// A row that holds the same texts already is left alone, which tells the writer (through the
// count of changed rows) that the key's look-ups answer as before.
constexpr const char* kInsertEntry =
    "INSERT INTO ENTRIES (key, value, draft) VALUES (@KEY, @VALUE, @DRAFT) ON CONFLICT(key) DO UPDATE SET "
    "value = excluded.value, draft = excluded.draft WHERE value IS NOT excluded.value OR draft IS NOT excluded.draft";
}  // namespace

void TLDBSqlite::applyCommittedRows() {
  FileSignature signature = FileSignature::of(dbPath_);
  LockGuard lock(indexMutex_);
  if (index_ && trackingRows_) {
    for (const auto& row : pendingRows_) index_->put(row.key, row.value, row.draft);
    indexSignature_ = signature;
  } else {
    // Loaded while the transaction was open, so without its rows.
    index_.reset();
  }
  pendingRows_.clear();
  if (groupVersions_ && trackingGroups_) {
    for (auto& [name, version] : pendingGroups_) (*groupVersions_)[std::move(name)] = version;
    groupsSignature_ = signature;
  } else {
    groupVersions_.reset();
  }
  pendingGroups_.clear();
  contentChanged();
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
  pendingGroups_.clear();
  {
    // An index behind the file (another process wrote it since the index was read) would be
    // labelled current after the commit and never learn that write: it is read again instead.
    const FileSignature signature = FileSignature::of(dbPath_);
    SharedLockGuard lock(indexMutex_);
    trackingRows_ = index_.has_value() && indexSignature_ == signature;
    trackingGroups_ = groupVersions_.has_value() && groupsSignature_ == signature;
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

bool TLDBSqlite::createOrUpdateEntry(std::string_view key, std::optional<std::string_view> value,
                                     std::optional<std::string_view> draft) {
  if (!database_) {
    logError("Database not open (createOrUpdateEntry).");
    return true;
  }
  if (key.empty()) {
    logError("Empty key (createOrUpdateEntry).");
    return true;
  }
  // After a failed write SQLite may already have rolled the transaction back; a further
  // insert would then be committed on its own, beside a group version it does not match.
  if (transactionFailed_) return true;
  sqlite3_stmt* insert = insertEntryStatement_;
  // Outside a transaction there is no statement; the row is lost like any failed insert.
  if (!insert) {
    logError("Failed to add entry");
    transactionFailed_ = true;
    return true;
  }
  bindText(insert, 1, key);
  bindOptionalText(insert, 2, value);
  bindOptionalText(insert, 3, draft);
  bool changed = true;
  if (int result = sqlite3_step(insert); result != SQLITE_DONE) {
    logError("Failed to add entry");
    noteFailure(result, true);
  } else {
    changed = sqlite3_changes(database_) > 0;
    // Unchanged rows too: the index may not have seen another process's write of the same texts.
    if (trackingRows_) {
      pendingRows_.push_back({std::string(key), std::string(value.value_or("")), std::string(draft.value_or(""))});
    }
  }
  sqlite3_reset(insert);
  return changed;
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
  // All 64 bits: servers version groups by time stamps in milliseconds. Stores written with
  // 32-bit versions read back the same, since SQLite keeps integers by value.
  sqlite3_bind_int64(insert, 2, version);
  if (int result = sqlite3_step(insert); result != SQLITE_DONE) {
    logError("Failed to add group");
    noteFailure(result, true);
  } else if (trackingGroups_) {
    pendingGroups_.emplace_back(std::string(name), version);
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
  UniqueLock reading(sqliteReadMutex_);
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
