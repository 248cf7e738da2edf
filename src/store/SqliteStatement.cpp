#include "store/SqliteStatement.h"

#include "store/StoreVfs.h"
#include "support/TLLog.h"

namespace tolvana::sqlite {

// The open flags are part of the store's contract (1 read-only, 6 read-write and create).
static_assert(SQLITE_OPEN_READONLY == 1);
static_assert((SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE) == 6);

sqlite3* openConnection(const std::string& path, bool readOnly, int& status, bool oneThread) {
  int flags = readOnly ? SQLITE_OPEN_READONLY : SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE;
  // Without its own mutex every column read is cheaper; only for a connection that never
  // leaves the thread that opened it.
  if (oneThread) flags |= SQLITE_OPEN_NOMUTEX;
  sqlite3* handle = nullptr;
  if (status = sqlite3_open_v2(path.c_str(), &handle, flags, storeVfsName()); status != SQLITE_OK) {
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

}  // namespace tolvana::sqlite
