// SqlDatabase: a pool of connections to one SQL database, and the little of SQL both
// backends need: statements with `?` placeholders, rows of text, write transactions.
//
// Storage's queries are written once against this; SqliteDatabase and PostgresDatabase
// differ only in how they connect, bind and map their errors. Every value comes back as text
// (or as bytes for a blob), which is what both databases can give without a type map.
//
// Thread contract: lease() may be called from any thread; a leased connection belongs to
// its lease's holder alone until the lease ends. A connection that broke (the server went
// away) is dropped when its lease ends, and the next lease connects afresh, which is how the
// server recovers from a database restart without one of its own.
//
//   database.transaction([&](SqlConnection& sql) {
//     sql.run("UPDATE projects SET revision = revision + 1 WHERE id = ?", {id});
//   });
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <variant>
#include <vector>

namespace tolvana::server {

struct SqlBlob {
  std::string bytes;
};
using SqlValue = std::variant<std::nullptr_t, std::int64_t, std::string, SqlBlob>;

// A statement's result: rows of cells, NULL as nullopt.
class SqlRows {
 public:
  SqlRows() = default;
  explicit SqlRows(std::size_t columns) : columns_(columns) {}
  void add(std::optional<std::string> cell) { cells_.push_back(std::move(cell)); }

  std::size_t size() const { return columns_ ? cells_.size() / columns_ : 0; }
  bool empty() const { return size() == 0; }
  const std::optional<std::string>& cell(std::size_t row, std::size_t column) const {
    return cells_[row * columns_ + column];
  }
  std::string text(std::size_t row, std::size_t column) const { return cell(row, column).value_or(""); }
  std::int64_t integer(std::size_t row, std::size_t column) const;

  std::int64_t changes = 0;  // rows written by an INSERT, UPDATE or DELETE

 private:
  std::size_t columns_ = 0;
  std::vector<std::optional<std::string>> cells_;
};

class SqlConnection {
 public:
  virtual ~SqlConnection() = default;
  // Runs one statement; `?` marks each parameter in order. Throws StorageError.
  virtual SqlRows run(std::string_view sql, const std::vector<SqlValue>& parameters = {}) = 0;
  // A transaction that writes takes the write lock at once, so two writers never meet halfway.
  virtual void begin(bool write) = 0;
  virtual void commit() = 0;
  virtual void rollback() noexcept = 0;
  // True once the connection is no use any more (the database went away).
  virtual bool broken() const = 0;

  // The change generation the open transaction raised the database to, if it raised it; the
  // database announces it to other server processes once the transaction has committed.
  std::optional<std::int64_t> raisedGeneration;
};

enum class SqlDialect { sqlite, postgres };

class SqlDatabase {
 public:
  class Lease {
   public:
    Lease(SqlDatabase& owner, std::unique_ptr<SqlConnection> connection)
        : owner_(&owner), connection_(std::move(connection)) {}
    Lease(Lease&& other) noexcept = default;
    Lease& operator=(Lease&&) = delete;
    ~Lease() {
      if (connection_) owner_->giveBack(std::move(connection_));
    }
    SqlConnection* operator->() const { return connection_.get(); }
    SqlConnection& operator*() const { return *connection_; }

   private:
    SqlDatabase* owner_;
    std::unique_ptr<SqlConnection> connection_;
  };

  explicit SqlDatabase(int maxConnections) : maxConnections_(maxConnections > 0 ? maxConnections : 1) {}
  virtual ~SqlDatabase() = default;
  SqlDatabase(const SqlDatabase&) = delete;
  SqlDatabase& operator=(const SqlDatabase&) = delete;

  virtual SqlDialect dialect() const = 0;
  // A number that moves whenever any process commits a write to the database, read without
  // asking the database; nullopt where the backend has none (then only a query tells).
  virtual std::optional<std::uint64_t> changeCounter() const { return std::nullopt; }

  // A connection of the pool, connecting one when none is idle; waits a while when all are
  // leased, then throws StorageError (unavailable).
  Lease lease();

  // Runs work(connection) in one transaction, committed when work returns and rolled back
  // when it throws.
  template <class Work>
  auto transaction(bool write, Work&& work) {
    Lease connection = lease();
    connection->begin(write);
    try {
      if constexpr (std::is_void_v<decltype(work(*connection))>) {
        work(*connection);
        connection->commit();
        if (write) committed(*connection);
      } else {
        auto result = work(*connection);
        connection->commit();
        if (write) committed(*connection);
        return result;
      }
    } catch (...) {
      connection->raisedGeneration.reset();
      connection->rollback();
      throw;
    }
  }

 protected:
  // After each write transaction commits, on its connection; announces a raised generation.
  virtual void committed(SqlConnection& connection) { connection.raisedGeneration.reset(); }

  // A new connection; throws StorageError (unavailable) when the database cannot be reached.
  virtual std::unique_ptr<SqlConnection> connect() = 0;

 private:
  void giveBack(std::unique_ptr<SqlConnection> connection);

  const int maxConnections_;
  std::mutex mutex_;
  std::condition_variable returned_;
  std::vector<std::unique_ptr<SqlConnection>> idle_;  // guarded by mutex_
  int open_ = 0;                                      // guarded by mutex_: idle and leased
};

// Turns `?` placeholders into the numbered ones PostgreSQL wants ($1, $2, ...).
std::string numberedPlaceholders(std::string_view sql);

}  // namespace tolvana::server
