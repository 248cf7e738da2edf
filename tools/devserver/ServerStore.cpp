#include "ServerStore.h"

#include <sqlite3.h>

#include <chrono>

#include "support/Json.h"

namespace tolvana::devserver {

namespace {

struct Statement {
  sqlite3_stmt* statement = nullptr;
  Statement(sqlite3* db, const char* sql) { sqlite3_prepare_v2(db, sql, -1, &statement, nullptr); }
  ~Statement() { sqlite3_finalize(statement); }
  void bind(int index, const std::string& text) {
    sqlite3_bind_text(statement, index, text.data(), static_cast<int>(text.size()), SQLITE_TRANSIENT);
  }
  std::string column(int index) {
    const unsigned char* text = sqlite3_column_text(statement, index);
    return text ? reinterpret_cast<const char*>(text) : "";
  }
};

}  // namespace

ServerStore::ServerStore(const std::string& path) {
  if (sqlite3_open(path.c_str(), &db_) != SQLITE_OK) {
    sqlite3_close(db_);
    db_ = nullptr;
    return;
  }
  sqlite3_exec(db_,
               "CREATE TABLE IF NOT EXISTS records (id INTEGER PRIMARY KEY, kind TEXT, at REAL, body TEXT);"
               "CREATE TABLE IF NOT EXISTS missing (language TEXT, key TEXT, value TEXT, PRIMARY KEY (language, key));",
               nullptr, nullptr, nullptr);
}

ServerStore::~ServerStore() { sqlite3_close(db_); }

void ServerStore::record(const std::string& kind, const Value& record) {
  std::lock_guard lock(mutex_);
  if (!db_) return;
  Statement insert(db_, "INSERT INTO records (kind, at, body) VALUES (?, ?, ?)");
  insert.bind(1, kind);
  sqlite3_bind_double(insert.statement, 2,
                      std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count());
  insert.bind(3, json::serialize(record));
  sqlite3_step(insert.statement);
}

void ServerStore::recordMissing(const std::string& language, const std::string& key, const std::string& text) {
  std::lock_guard lock(mutex_);
  if (!db_) return;
  Statement upsert(db_,
                   "INSERT INTO missing (language, key, value) VALUES (?, ?, ?) "
                   "ON CONFLICT (language, key) DO UPDATE SET value = excluded.value WHERE missing.value = ''");
  upsert.bind(1, language);
  upsert.bind(2, key);
  upsert.bind(3, text);
  sqlite3_step(upsert.statement);
}

Value::Array ServerStore::list(const std::string& kind) {
  std::lock_guard lock(mutex_);
  Value::Array rows;
  if (!db_) return rows;
  if (kind == "missing") {
    Statement select(db_, "SELECT language, key, value FROM missing ORDER BY language, key");
    while (sqlite3_step(select.statement) == SQLITE_ROW) {
      rows.push_back(Value::Dictionary{{"language", select.column(0)}, {"key", select.column(1)}, {"value", select.column(2)}});
    }
    return rows;
  }
  Statement select(db_, "SELECT body FROM records WHERE kind = ? ORDER BY id");
  select.bind(1, kind);
  while (sqlite3_step(select.statement) == SQLITE_ROW) rows.push_back(json::parse(select.column(0)).value_or(Value()));
  return rows;
}

std::int64_t ServerStore::count(const std::string& kind) { return static_cast<std::int64_t>(list(kind).size()); }

void ServerStore::clear() {
  std::lock_guard lock(mutex_);
  if (db_) sqlite3_exec(db_, "DELETE FROM records; DELETE FROM missing;", nullptr, nullptr, nullptr);
}

}  // namespace tolvana::devserver
