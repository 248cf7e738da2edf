// ServerStore: what the reference server received, kept in SQLite so tests, the demo and a
// developer can look at it: requests, device profiles, missing strings, screenshots, issues.
#pragma once

#include <mutex>
#include <string>

#include "tolvana/Value.h"

struct sqlite3;

namespace tolvana::devserver {

class ServerStore {
 public:
  // Opens (creating) the database file; on failure every operation does nothing.
  explicit ServerStore(const std::string& path);
  ~ServerStore();
  ServerStore(const ServerStore&) = delete;
  ServerStore& operator=(const ServerStore&) = delete;

  // kind is "requests", "profiles", "screenshots" or "issues"; record is any JSON value.
  void record(const std::string& kind, const Value& record);
  // The first non-empty text of a key wins, as on the client.
  void recordMissing(const std::string& language, const std::string& key, const std::string& text);
  // Every record of a kind, oldest first; "missing" gives {language, key, value} rows.
  Value::Array list(const std::string& kind);
  std::int64_t count(const std::string& kind);
  void clear();

 private:
  std::mutex mutex_;
  sqlite3* db_ = nullptr;  // guarded by mutex_
};

}  // namespace tolvana::devserver
