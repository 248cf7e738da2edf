// TLDBSqlite: one language's translations in an SQLite file.
//
// The file holds two tables, entries (key, value, draft) and groups (name, version); a value
// or draft that is absent or empty is stored as NULL and read back as the empty string.
//
// Unless the setting keepDatabaseOpen is on (read once, at creation), the connection is held
// only for the length of one operation: each read opens read-only and closes, and a write
// transaction opens read-write at beginWriteTransaction() and closes at
// commitWriteTransaction(). The insert statements are prepared once per transaction and
// reused for every row, which is what makes a large update fast. A transaction in which a
// write failed (a full disk, a lock) writes nothing more and is rolled back at commit, so a
// group's version is never stored without all its entries.
//
// Look-ups of entries are answered from a read index (TLReadIndex) loaded on the first one
// from its snapshot beside the file (ReadIndexSnapshot) or else through a connection of its
// own (and then saved as the snapshot), and kept equal to the file: a committed transaction
// applies its rows to it, and a file changed by another process (its size, modification time
// or inode) is noticed by a check made at most once a second, which drops the index. Group
// versions are kept once read, so an update that asks for every group's version does not
// open the file once per group; they are checked against the file on every call.
//
// Thread contract: the owner serialises every call, except entryValueForKey() and
// entryForKey(), which may run on any thread at any time: they see each transaction whole or
// not at all.
#pragma once

#include <sys/types.h>

#include <atomic>
#include <ctime>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <shared_mutex>
#include <string>
#include <utility>
#include <vector>

#include "store/TLDBProtocol.h"
#include "store/TLReadIndex.h"
#include "support/FileSignature.h"
#include "support/Mutex.h"

struct sqlite3;
struct sqlite3_stmt;

namespace tolvana {

class TLDBSqlite final : public TLDBProtocol {
 public:
  // Creates the file and its tables when missing. Null (and a logged error) without a path;
  // a store whose file could not be opened is still returned and retries on each operation.
  static std::shared_ptr<TLDBSqlite> initWithPath(std::optional<std::string> path);
  ~TLDBSqlite() override;
  TLDBSqlite(const TLDBSqlite&) = delete;
  TLDBSqlite& operator=(const TLDBSqlite&) = delete;

  bool createOrUpdateEntry(std::string_view key, std::optional<std::string_view> value,
                           std::optional<std::string_view> draft) override;
  void createOrUpdateGroup(std::string_view name, std::int64_t version) override;
  std::int64_t getGroupVersion(std::string_view name) override;
  std::optional<std::string> entryValueForKey(std::string_view key) override;
  std::optional<TLLanguageEntry> entryForKey(std::string_view key) override;
  std::optional<std::vector<TLLanguageEntry>> entryList() override;
  std::optional<std::map<std::string, std::int64_t>> groupList() override;
  void beginWriteTransaction() override;
  bool commitWriteTransaction() override;
  void open(bool readOnly) override;
  void close() override;
  void save() override;
  bool isBroken() const override { return broken_; }
  bool readsConcurrently() const override { return true; }
  std::int64_t nextOutsideCheck() const override { return nextOutsideCheck_.load(std::memory_order_acquire); }
  void lookForOutsideChanges() override { noticeOutsideChanges(); }
  // The heap bytes of the read index; 0 before it is loaded.
  std::size_t indexBytes() const;

  const std::string& dbPath() const { return dbPath_; }
  bool alwaysCloseDB() const { return alwaysCloseDB_; }
  bool isOpen() const { return database_ != nullptr; }

 private:
  explicit TLDBSqlite(std::string path);
  void createTables();
  // Opens read-only when the connection is not kept; false (after logging notOpenMessage)
  // when there is still no connection.
  bool openForRead(const char* notOpenMessage);
  void closeAfterRead();
  void finalizeInsertStatements();
  // Calls answer with the key's row when the store has one; false when the store cannot be
  // read (logged).
  template <typename Answer>
  bool readIndexed(std::string_view key, Answer&& answer);
  bool loadIndex();
  std::optional<TLReadIndex> readIndexFromStore();
  // The stored groups' versions, read once; nullopt when the store cannot be read (logged).
  std::optional<std::int64_t> cachedGroupVersion(std::string_view name);
  void noticeOutsideChanges();
  // After a COMMIT: the transaction's rows go into the index, under its lock.
  void applyCommittedRows();
  // Remembers a failed SQLite result: a failed write spoils the transaction, and a file
  // that is no database marks the store broken.
  void noteFailure(int result, bool writing);

  // Constant after construction.
  const bool alwaysCloseDB_;
  const std::string dbPath_;

  // The owner's write side, touched for every row of an update. Apart from what look-ups
  // read on other threads: while the two shared a cache line, every insert cost a look-up
  // running beside an update a cache miss, which doubled the look-ups' p99.
  sqlite3* database_ = nullptr;
  // Prepared at beginWriteTransaction() and finalized at commitWriteTransaction(): a live
  // statement would keep the connection from closing between operations.
  sqlite3_stmt* insertEntryStatement_ = nullptr;
  sqlite3_stmt* insertGroupStatement_ = nullptr;
  bool transactionFailed_ = false;
  // The rows of the open transaction, applied to the index when it commits; kept only when
  // the index existed at its beginning (owner's thread only).
  std::vector<TLLanguageEntry> pendingRows_;
  bool trackingRows_ = false;
  std::vector<std::pair<std::string, std::int64_t>> pendingGroups_;
  bool trackingGroups_ = false;

  // What look-ups read, on any thread.
  static constexpr std::size_t kCacheLine = 64;
  alignas(kCacheLine) std::atomic<bool> broken_ = false;
  std::atomic<std::int64_t> nextOutsideCheck_{0};  // steady-clock nanoseconds
  mutable SharedMutex indexMutex_;
  std::optional<TLReadIndex> index_ TL_GUARDED_BY(indexMutex_);
  FileSignature indexSignature_ TL_GUARDED_BY(indexMutex_);  // the file the index reflects
  std::optional<std::map<std::string, std::int64_t, std::less<>>> groupVersions_ TL_GUARDED_BY(indexMutex_);
  FileSignature groupsSignature_ TL_GUARDED_BY(indexMutex_);  // the file groupVersions_ reflects
  // Held across every SQLite read of the index loader and every COMMIT, so that the loader's
  // read lock never makes a commit fail as busy.
  Mutex sqliteReadMutex_ TL_ACQUIRED_BEFORE(indexMutex_);
};

}  // namespace tolvana
