// PostgresDatabase: the shared backend, a PostgreSQL database reached through libpq, so that
// several server processes behind a load balancer serve the same projects.
//
// A connection that loses its server is marked broken and dropped when its lease ends;
// requests meanwhile fail as unavailable (503), and the first lease after the database is
// back connects again.
#pragma once

#include <string>

#include "storage/SqlDatabase.h"

namespace tolvana::server {

class PostgresDatabase final : public SqlDatabase {
 public:
  // url: "postgresql://user@host:port/database?…"; connects once at construction and throws
  // StorageError when that fails.
  PostgresDatabase(std::string url, int maxConnections);
  SqlDialect dialect() const override { return SqlDialect::postgres; }

 protected:
  std::unique_ptr<SqlConnection> connect() override;

 private:
  std::string url_;
};

}  // namespace tolvana::server
