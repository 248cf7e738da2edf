// SqliteDatabase: the embedded backend, one SQLite file in the server's data directory.
// Connections share the file in write-ahead-log mode, so readers never wait for a writer and
// a writer waits for another writer only as long as that one's transaction lasts.
#pragma once

#include <string>

#include "storage/ChangeCounter.h"
#include "storage/SqlDatabase.h"

namespace tolvana::server {

class SqliteDatabase final : public SqlDatabase {
 public:
  // Creates the file when it is missing; throws StorageError when it cannot be opened.
  SqliteDatabase(std::string path, int maxConnections);
  SqlDialect dialect() const override { return SqlDialect::sqlite; }
  std::optional<std::uint64_t> changeCounter() const override { return changes_.value(); }

 protected:
  std::unique_ptr<SqlConnection> connect() override;
  void committed(SqlConnection& connection) override {
    connection.raisedGeneration.reset();
    changes_.raise();
  }

 private:
  std::string path_;
  ChangeCounter changes_;
};

}  // namespace tolvana::server
