#include "storage/Migrations.h"

#include <chrono>
#include <string>
#include <vector>

#include "storage/StorageError.h"

namespace tolvana::server {

namespace {

struct Step {
  int version;
  std::vector<const char*> statements;  // "{blob}" and "{id}" stand for the dialect's own words
};

// Names are chosen to be plain words in both dialects ("text_groups", "reports").
const std::vector<Step>& steps() {
  static const std::vector<Step> all = {
      {1,
       {"CREATE TABLE projects (id TEXT PRIMARY KEY, api_secret TEXT NOT NULL, base_language TEXT NOT NULL, "
        "enterprise_host TEXT, collect_missing INTEGER NOT NULL, draft_mode INTEGER NOT NULL, "
        "screen_tags TEXT NOT NULL, content_version BIGINT NOT NULL, revision BIGINT NOT NULL, "
        "issues_filed BIGINT NOT NULL DEFAULT 0, created_at BIGINT NOT NULL)",
        "CREATE TABLE project_languages (project_id TEXT NOT NULL REFERENCES projects (id) ON DELETE CASCADE, "
        "language TEXT NOT NULL, PRIMARY KEY (project_id, language))",
        "CREATE TABLE text_groups (project_id TEXT NOT NULL REFERENCES projects (id) ON DELETE CASCADE, "
        "language TEXT NOT NULL, name TEXT NOT NULL, version BIGINT NOT NULL, PRIMARY KEY (project_id, language, name))",
        "CREATE TABLE entries (project_id TEXT NOT NULL REFERENCES projects (id) ON DELETE CASCADE, "
        "language TEXT NOT NULL, group_name TEXT NOT NULL, key TEXT NOT NULL, plural TEXT NOT NULL, value TEXT, "
        "draft TEXT, updated_at BIGINT NOT NULL, PRIMARY KEY (project_id, language, group_name, key, plural))",
        "CREATE INDEX entries_with_drafts ON entries (project_id, language, group_name) WHERE draft IS NOT NULL",
        "CREATE TABLE missing_strings (project_id TEXT NOT NULL REFERENCES projects (id) ON DELETE CASCADE, "
        "language TEXT NOT NULL, key TEXT NOT NULL, value TEXT NOT NULL, first_seen BIGINT NOT NULL, "
        "last_seen BIGINT NOT NULL, reports BIGINT NOT NULL, app_version TEXT NOT NULL, accepted_at BIGINT, "
        "PRIMARY KEY (project_id, language, key))",
        "CREATE TABLE screenshots (id {id}, project_id TEXT NOT NULL REFERENCES projects (id) ON DELETE CASCADE, "
        "tag TEXT NOT NULL, png {blob} NOT NULL, bytes BIGINT NOT NULL, positions TEXT NOT NULL, device TEXT NOT NULL, "
        "received_at BIGINT NOT NULL)",
        "CREATE INDEX screenshots_of_project ON screenshots (project_id, id)",
        "CREATE TABLE issues (project_id TEXT NOT NULL REFERENCES projects (id) ON DELETE CASCADE, number BIGINT NOT NULL, "
        "tag TEXT NOT NULL, summary TEXT NOT NULL, description TEXT NOT NULL, device TEXT NOT NULL, "
        "received_at BIGINT NOT NULL, PRIMARY KEY (project_id, number))",
        "CREATE TABLE devices (project_id TEXT NOT NULL REFERENCES projects (id) ON DELETE CASCADE, device TEXT NOT NULL, "
        "profile TEXT NOT NULL, first_seen BIGINT NOT NULL, last_seen BIGINT NOT NULL, requests BIGINT NOT NULL, "
        "PRIMARY KEY (project_id, device))"}},
      // What several server processes on one database need to tell each other about changes.
      {2,
       {"CREATE TABLE change_generation (id INTEGER PRIMARY KEY, generation BIGINT NOT NULL)",
        "INSERT INTO change_generation (id, generation) VALUES (1, 0)",
        "CREATE TABLE server_instances (id TEXT PRIMARY KEY, lease_until_ms BIGINT NOT NULL, "
        "seen_generation BIGINT NOT NULL)"}},
      // The console's accounts and their sessions (kept by a digest of the session id).
      {3,
       {"CREATE TABLE accounts (name TEXT PRIMARY KEY, password_hash TEXT NOT NULL, role TEXT NOT NULL, "
        "created_at BIGINT NOT NULL)",
        "CREATE TABLE sessions (id_digest TEXT PRIMARY KEY, "
        "account TEXT NOT NULL REFERENCES accounts (name) ON DELETE CASCADE, expires_at BIGINT NOT NULL)",
        "CREATE INDEX sessions_by_expiry ON sessions (expires_at)"}},
  };
  return all;
}

std::string inDialect(std::string sql, SqlDialect dialect) {
  auto replace = [&sql](const std::string& word, const std::string& with) {
    for (auto at = sql.find(word); at != std::string::npos; at = sql.find(word, at + with.size())) {
      sql.replace(at, word.size(), with);
    }
  };
  bool postgres = dialect == SqlDialect::postgres;
  replace("{blob}", postgres ? "BYTEA" : "BLOB");
  replace("{id}", postgres ? "BIGINT GENERATED ALWAYS AS IDENTITY PRIMARY KEY" : "INTEGER PRIMARY KEY AUTOINCREMENT");
  return sql;
}

std::int64_t now() {
  return std::chrono::duration_cast<std::chrono::seconds>(std::chrono::system_clock::now().time_since_epoch()).count();
}

}  // namespace

int latestSchemaVersion() { return steps().back().version; }

void migrate(SqlDatabase& database) {
  // One connection for the whole run: PostgreSQL's advisory lock belongs to the session, and
  // two servers starting together must not both create the tables. SQLite's write lock,
  // taken by each step's transaction, does the same there.
  auto sql = database.lease();
  bool postgres = database.dialect() == SqlDialect::postgres;
  if (postgres) sql->run("SELECT pg_advisory_lock(7270451)");
  struct Unlock {
    SqlConnection& sql;
    bool postgres;
    ~Unlock() {
      try {
        if (postgres) sql.run("SELECT pg_advisory_unlock(7270451)");
      } catch (const StorageError&) {
        // The lock went with the session.
      }
    }
  } unlock{*sql, postgres};
  sql->run("CREATE TABLE IF NOT EXISTS schema_migrations (version INTEGER PRIMARY KEY, applied_at BIGINT NOT NULL)");
  for (const Step& step : steps()) {
    sql->begin(true);
    try {
      std::int64_t current = sql->run("SELECT COALESCE(MAX(version), 0) FROM schema_migrations").integer(0, 0);
      if (current > latestSchemaVersion()) {
        throw StorageError(StorageError::Kind::failed,
                           "the database has schema version " + std::to_string(current) + ", newer than this server's " +
                               std::to_string(latestSchemaVersion()) + "; use a newer tolvana-server");
      }
      if (step.version > current) {
        for (const char* statement : step.statements) sql->run(inDialect(statement, database.dialect()));
        sql->run("INSERT INTO schema_migrations (version, applied_at) VALUES (?, ?)", {std::int64_t{step.version}, now()});
      }
      sql->commit();
    } catch (...) {
      sql->rollback();
      throw;
    }
  }
}

}  // namespace tolvana::server
