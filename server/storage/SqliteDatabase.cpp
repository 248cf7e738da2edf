#include "storage/SqliteDatabase.h"

#include <sqlite3.h>

#include <cerrno>
#include <map>

#include "storage/StorageError.h"

namespace tolvana::server {

namespace {

StorageError::Kind kindOf(sqlite3* db, int code) {
  switch (code & 0xff) {
    case SQLITE_FULL:
      return StorageError::Kind::full;
    case SQLITE_IOERR: {
      // A write that failed is a full disk, a quota or a file-size limit far more often than
      // a failing disk, and SQLite does not always keep the errno that would tell them apart.
      int error = sqlite3_system_errno(db);
      return code == SQLITE_IOERR_WRITE || error == ENOSPC || error == EFBIG || error == EDQUOT
                 ? StorageError::Kind::full
                 : StorageError::Kind::failed;
    }
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
      return StorageError::Kind::unavailable;
    case SQLITE_CONSTRAINT:
      return StorageError::Kind::conflict;
    case SQLITE_TOOBIG:
    case SQLITE_MISMATCH:
      return StorageError::Kind::invalid;
    default:
      return StorageError::Kind::failed;
  }
}

class SqliteConnection final : public SqlConnection {
 public:
  explicit SqliteConnection(const std::string& path) {
    int code = sqlite3_open_v2(path.c_str(), &db_, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX,
                               nullptr);
    if (code != SQLITE_OK) {
      std::string message = db_ ? sqlite3_errmsg(db_) : sqlite3_errstr(code);
      sqlite3_close(db_);
      db_ = nullptr;
      throw StorageError(StorageError::Kind::unavailable, "cannot open " + path + ": " + message);
    }
    sqlite3_extended_result_codes(db_, 1);
    // Writers queue behind each other for this long before a request gives up with 503.
    sqlite3_busy_timeout(db_, 5000);
    // NORMAL: a committed transaction can be lost with the machine (not with the process),
    // which every answer computed from it survives; FULL would sync the log at every commit.
    for (const char* pragma : {"PRAGMA journal_mode = WAL", "PRAGMA synchronous = NORMAL", "PRAGMA foreign_keys = ON"}) {
      run(pragma);
    }
  }

  ~SqliteConnection() override {
    for (auto& [sql, statement] : statements_) sqlite3_finalize(statement);
    sqlite3_close(db_);
  }

  SqlRows run(std::string_view sql, const std::vector<SqlValue>& parameters = {}) override {
    sqlite3_stmt* statement = prepared(sql);
    sqlite3_reset(statement);
    sqlite3_clear_bindings(statement);
    for (std::size_t i = 0; i < parameters.size(); ++i) bind(statement, static_cast<int>(i + 1), parameters[i]);
    int columns = sqlite3_column_count(statement);
    SqlRows rows(static_cast<std::size_t>(columns));
    int code;
    while ((code = sqlite3_step(statement)) == SQLITE_ROW) {
      for (int c = 0; c < columns; ++c) {
        if (sqlite3_column_type(statement, c) == SQLITE_NULL) {
          rows.add(std::nullopt);
        } else {
          const void* bytes = sqlite3_column_blob(statement, c);
          rows.add(std::string(static_cast<const char*>(bytes), static_cast<std::size_t>(sqlite3_column_bytes(statement, c))));
        }
      }
    }
    if (code != SQLITE_DONE) {
      StorageError error(kindOf(db_, code), std::string(sqlite3_errmsg(db_)) + " (" + std::string(sql.substr(0, 60)) + ")");
      sqlite3_reset(statement);
      throw error;
    }
    rows.changes = sqlite3_changes64(db_);
    sqlite3_reset(statement);
    return rows;
  }

  void begin(bool write) override { run(write ? "BEGIN IMMEDIATE" : "BEGIN"); }
  void commit() override { run("COMMIT"); }
  void rollback() noexcept override {
    if (!sqlite3_get_autocommit(db_)) sqlite3_exec(db_, "ROLLBACK", nullptr, nullptr, nullptr);
  }
  bool broken() const override { return false; }

 private:
  sqlite3_stmt* prepared(std::string_view sql) {
    auto found = statements_.find(sql);
    if (found != statements_.end()) return found->second;
    sqlite3_stmt* statement = nullptr;
    int code = sqlite3_prepare_v2(db_, sql.data(), static_cast<int>(sql.size()), &statement, nullptr);
    if (code != SQLITE_OK) {
      throw StorageError(kindOf(db_, code), std::string(sqlite3_errmsg(db_)) + " (" + std::string(sql.substr(0, 60)) + ")");
    }
    statements_.emplace(std::string(sql), statement);
    return statement;
  }

  static void bind(sqlite3_stmt* statement, int index, const SqlValue& value) {
    if (const auto* integer = std::get_if<std::int64_t>(&value)) {
      sqlite3_bind_int64(statement, index, *integer);
    } else if (const auto* text = std::get_if<std::string>(&value)) {
      sqlite3_bind_text64(statement, index, text->data(), text->size(), SQLITE_STATIC, SQLITE_UTF8);
    } else if (const auto* blob = std::get_if<SqlBlob>(&value)) {
      sqlite3_bind_blob64(statement, index, blob->bytes.data(), blob->bytes.size(), SQLITE_STATIC);
    } else {
      sqlite3_bind_null(statement, index);
    }
  }

  sqlite3* db_ = nullptr;
  std::map<std::string, sqlite3_stmt*, std::less<>> statements_;
};

}  // namespace

SqliteDatabase::SqliteDatabase(std::string path, int maxConnections)
    : SqlDatabase(maxConnections), path_(std::move(path)), changes_(path_ + "-changes") {
  lease();  // opens the file now, so that a bad path fails at start and not at the first request
}

std::unique_ptr<SqlConnection> SqliteDatabase::connect() { return std::make_unique<SqliteConnection>(path_); }

}  // namespace tolvana::server
