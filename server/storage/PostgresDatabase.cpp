#include "storage/PostgresDatabase.h"

#include <libpq-fe.h>

#include <map>

#include "storage/StorageError.h"

namespace tolvana::server {

namespace {

constexpr unsigned kByteaType = 17;  // pg_type's oid of bytea

StorageError::Kind kindOf(std::string_view state) {
  if (state.starts_with("08") || state.starts_with("57P") || state == "53300" || state == "40001" ||
      state == "40P01") {
    return StorageError::Kind::unavailable;  // connection lost, shutting down, too many clients, retry
  }
  if (state == "53100") return StorageError::Kind::full;
  if (state == "23505") return StorageError::Kind::conflict;
  if (state.starts_with("22") || state.starts_with("23")) return StorageError::Kind::invalid;
  return StorageError::Kind::failed;
}

struct ResultOwner {
  PGresult* result;
  ~ResultOwner() { PQclear(result); }
};

class PostgresConnection final : public SqlConnection {
 public:
  explicit PostgresConnection(const std::string& url) : connection_(PQconnectdb(url.c_str())) {
    if (PQstatus(connection_) != CONNECTION_OK) {
      std::string message = connection_ ? PQerrorMessage(connection_) : "out of memory";
      PQfinish(connection_);
      throw StorageError(StorageError::Kind::unavailable, "cannot connect to PostgreSQL: " + trimmed(message));
    }
    // Notices (an IF NOT EXISTS that found its table) would go to standard error one by one.
    PQsetNoticeProcessor(connection_, [](void*, const char*) {}, nullptr);
  }
  ~PostgresConnection() override { PQfinish(connection_); }

  SqlRows run(std::string_view sql, const std::vector<SqlValue>& parameters = {}) override {
    std::vector<const char*> values(parameters.size());
    std::vector<int> lengths(parameters.size()), formats(parameters.size());
    std::vector<std::string> integers(parameters.size());
    for (std::size_t i = 0; i < parameters.size(); ++i) {
      if (const auto* integer = std::get_if<std::int64_t>(&parameters[i])) {
        integers[i] = std::to_string(*integer);
        values[i] = integers[i].c_str();
      } else if (const auto* text = std::get_if<std::string>(&parameters[i])) {
        values[i] = text->c_str();
      } else if (const auto* blob = std::get_if<SqlBlob>(&parameters[i])) {
        values[i] = blob->bytes.data();
        lengths[i] = static_cast<int>(blob->bytes.size());
        formats[i] = 1;
      }
    }
    const std::string& name = prepared(sql, static_cast<int>(parameters.size()));
    ResultOwner result{PQexecPrepared(connection_, name.c_str(), static_cast<int>(parameters.size()), values.data(),
                                      lengths.data(), formats.data(), 0)};
    check(result.result, sql);
    return rowsOf(result.result);
  }

  void begin(bool) override { run("BEGIN", {}); }
  void commit() override { run("COMMIT", {}); }
  void rollback() noexcept override {
    if (PQstatus(connection_) == CONNECTION_OK && PQtransactionStatus(connection_) != PQTRANS_IDLE) {
      PQclear(PQexec(connection_, "ROLLBACK"));
    }
  }
  bool broken() const override { return PQstatus(connection_) != CONNECTION_OK; }

 private:
  // libpq's messages run over several lines; a log line is one.
  static std::string trimmed(const std::string& text) {
    std::string line;
    for (char c : text) {
      if (c == '\n' || c == '\t') {
        if (!line.empty() && line.back() != ' ') line += ' ';
      } else {
        line += c;
      }
    }
    while (!line.empty() && line.back() == ' ') line.pop_back();
    return line;
  }

  const std::string& prepared(std::string_view sql, int parameterCount) {
    auto found = statements_.find(sql);
    if (found != statements_.end()) return found->second;
    std::string name = "s" + std::to_string(statements_.size());
    ResultOwner result{PQprepare(connection_, name.c_str(), numberedPlaceholders(sql).c_str(), parameterCount, nullptr)};
    check(result.result, sql);
    return statements_.emplace(std::string(sql), std::move(name)).first->second;
  }

  void check(PGresult* result, std::string_view sql) {
    auto status = PQresultStatus(result);
    if (status == PGRES_COMMAND_OK || status == PGRES_TUPLES_OK) return;
    const char* state = result ? PQresultErrorField(result, PG_DIAG_SQLSTATE) : nullptr;
    auto kind = state ? kindOf(state) : StorageError::Kind::unavailable;
    if (PQstatus(connection_) != CONNECTION_OK) kind = StorageError::Kind::unavailable;
    throw StorageError(kind, trimmed(PQerrorMessage(connection_)) + " (" + std::string(sql.substr(0, 60)) + ")");
  }

  static SqlRows rowsOf(PGresult* result) {
    int columns = PQnfields(result);
    SqlRows rows(static_cast<std::size_t>(columns));
    for (int r = 0, count = PQntuples(result); r < count; ++r) {
      for (int c = 0; c < columns; ++c) {
        if (PQgetisnull(result, r, c)) {
          rows.add(std::nullopt);
        } else if (PQftype(result, c) == kByteaType) {
          std::size_t length = 0;
          unsigned char* bytes = PQunescapeBytea(reinterpret_cast<const unsigned char*>(PQgetvalue(result, r, c)), &length);
          rows.add(std::string(reinterpret_cast<char*>(bytes), length));
          PQfreemem(bytes);
        } else {
          rows.add(std::string(PQgetvalue(result, r, c), static_cast<std::size_t>(PQgetlength(result, r, c))));
        }
      }
    }
    const char* changed = PQcmdTuples(result);
    rows.changes = changed && *changed ? std::stoll(changed) : 0;
    return rows;
  }

  PGconn* connection_;
  std::map<std::string, std::string, std::less<>> statements_;  // SQL → prepared statement's name
};

// A connection attempt to a stopped server must not hold a request for long.
std::string withConnectTimeout(std::string url) {
  if (url.find("connect_timeout=") != std::string::npos) return url;
  return url + (url.find('?') == std::string::npos ? "?" : "&") + "connect_timeout=3";
}

}  // namespace

PostgresDatabase::PostgresDatabase(std::string url, int maxConnections)
    : SqlDatabase(maxConnections), url_(withConnectTimeout(std::move(url))), feed_(url_) {
  lease();
}

void PostgresDatabase::committed(SqlConnection& connection) {
  if (auto generation = connection.raisedGeneration) {
    connection.raisedGeneration.reset();
    feed_.announce(connection, *generation);
  }
}

std::unique_ptr<SqlConnection> PostgresDatabase::connect() { return std::make_unique<PostgresConnection>(url_); }

}  // namespace tolvana::server
