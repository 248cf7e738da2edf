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
// Thread contract: none of its own (see TLDBProtocol); the owner serialises every call.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "store/TLDBProtocol.h"

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

  void createOrUpdateEntry(std::string_view key, std::optional<std::string_view> value,
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
  // Remembers a failed SQLite result: a failed write spoils the transaction, and a file
  // that is no database marks the store broken.
  void noteFailure(int result, bool writing);

  // Constant after construction.
  const bool alwaysCloseDB_;
  const std::string dbPath_;

  sqlite3* database_ = nullptr;
  // Prepared at beginWriteTransaction() and finalized at commitWriteTransaction(): a live
  // statement would keep the connection from closing between operations.
  sqlite3_stmt* insertEntryStatement_ = nullptr;
  sqlite3_stmt* insertGroupStatement_ = nullptr;
  bool transactionFailed_ = false;
  bool broken_ = false;
};

}  // namespace tolvana
