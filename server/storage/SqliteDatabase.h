// SqliteDatabase: the embedded backend, one SQLite file in the server's data directory.
// Connections share the file in write-ahead-log mode, so readers never wait for a writer and
// a writer waits for another writer only as long as that one's transaction lasts.
#pragma once

#include <string>

#include "storage/SqlDatabase.h"

namespace tolvana::server {

class SqliteDatabase final : public SqlDatabase {
 public:
  // Creates the file when it is missing; throws StorageError when it cannot be opened.
  SqliteDatabase(std::string path, int maxConnections);
  SqlDialect dialect() const override { return SqlDialect::sqlite; }

 protected:
  std::unique_ptr<SqlConnection> connect() override;

 private:
  std::string path_;
};

}  // namespace tolvana::server
