// PostgresDatabase: the shared backend, a PostgreSQL database reached through libpq, so that
// several server processes behind a load balancer serve the same projects.
//
// A connection that loses its server is marked broken and dropped when its lease ends;
// requests meanwhile fail as unavailable (503), and the first lease after the database is
// back connects again. Changes travel between the server processes on the database through
// a PostgresChangeFeed.
#pragma once

#include <string>

#include "storage/PostgresChangeFeed.h"
#include "storage/SqlDatabase.h"

namespace tolvana::server {

class PostgresDatabase final : public SqlDatabase {
 public:
  // url: "postgresql://user@host:port/database?…"; connects once at construction and throws
  // StorageError when that fails.
  PostgresDatabase(std::string url, int maxConnections);
  SqlDialect dialect() const override { return SqlDialect::postgres; }
  std::optional<std::uint64_t> changeCounter() const override { return feed_.generation(); }

 protected:
  std::unique_ptr<SqlConnection> connect() override;
  void committed(SqlConnection& connection) override;

 private:
  std::string url_;
  mutable PostgresChangeFeed feed_;
};

}  // namespace tolvana::server
