#include "storage/PostgresChangeFeed.h"

#include <libpq-fe.h>
#include <openssl/rand.h>
#include <poll.h>

#include <algorithm>
#include <chrono>
#include <vector>

#include "storage/StorageError.h"
#include "support/Hmac.h"
#include "support/TLLog.h"

namespace tolvana::server {

namespace {

using Clock = std::chrono::steady_clock;

constexpr auto kLease = std::chrono::milliseconds(1000);
constexpr auto kRenewEvery = std::chrono::milliseconds(250);
// The lease as the database counts it begins after its holder sent the renewal; the holder
// stops trusting its feed this much earlier than that, whatever the delays in between.
constexpr auto kMargin = std::chrono::milliseconds(150);
constexpr const char* kDatabaseNowMs = "(EXTRACT(EPOCH FROM clock_timestamp()) * 1000)::BIGINT";

std::string randomId() {
  unsigned char bytes[12] = {};
  RAND_bytes(bytes, sizeof bytes);
  return hexadecimalString(bytes, sizeof bytes);
}

std::int64_t nanoseconds(Clock::time_point at) {
  return std::chrono::duration_cast<std::chrono::nanoseconds>(at.time_since_epoch()).count();
}

// One statement with text parameters; the first cell of its result, or nullopt on failure.
std::optional<std::string> run(PGconn* connection, const std::string& sql, const std::vector<std::string>& parameters) {
  std::vector<const char*> values;
  for (const auto& p : parameters) values.push_back(p.c_str());
  PGresult* result = PQexecParams(connection, sql.c_str(), static_cast<int>(values.size()), nullptr, values.data(),
                                  nullptr, nullptr, 0);
  auto status = PQresultStatus(result);
  std::optional<std::string> cell;
  if (status == PGRES_TUPLES_OK && PQntuples(result) > 0) {
    cell = PQgetvalue(result, 0, 0);
  } else if (status == PGRES_COMMAND_OK || status == PGRES_TUPLES_OK) {
    cell = "";
  }
  PQclear(result);
  return cell;
}

}  // namespace

PostgresChangeFeed::PostgresChangeFeed(std::string url) : url_(std::move(url)), instance_(randomId()) {}

PostgresChangeFeed::~PostgresChangeFeed() {
  stopping_ = true;
  if (listener_.joinable()) listener_.join();
}

std::optional<std::uint64_t> PostgresChangeFeed::generation() {
  std::call_once(started_, [this] { listener_ = std::thread([this] { listen(); }); });
  if (nanoseconds(Clock::now()) >= trustedUntil_.load(std::memory_order_acquire)) return std::nullopt;
  return heard_.load(std::memory_order_acquire);
}

void PostgresChangeFeed::announce(SqlConnection& connection, std::int64_t generation) {
  try {
    connection.run("SELECT pg_notify('tolvana_changes', ?)", {std::to_string(generation)});
    const auto deadline = Clock::now() + kLease + std::chrono::milliseconds(500);
    const std::string unheard = std::string("SELECT count(*) FROM server_instances WHERE lease_until_ms > ") +
                                kDatabaseNowMs + " AND seen_generation < ?";
    while (connection.run(unheard, {generation}).integer(0, 0) > 0) {
      if (Clock::now() > deadline) {
        logWarning("a server process did not confirm change %@ within its lease", generation);
        return;
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
  } catch (const StorageError& error) {
    // The change is committed; servers that did not hear of it find it at their next check,
    // which they make at least once a second.
    logWarning("change %@ committed but not announced: %@", generation, error.what());
  }
}

void PostgresChangeFeed::listen() {
  PGconn* connection = nullptr;
  auto drop = [&] {
    trustedUntil_ = 0;
    PQfinish(connection);
    connection = nullptr;
  };
  auto renewal = Clock::now();
  const std::string renew = std::string("INSERT INTO server_instances (id, lease_until_ms, seen_generation) VALUES ($1, ") +
                            kDatabaseNowMs + " + " + std::to_string(kLease.count()) +
                            ", $2) ON CONFLICT (id) DO UPDATE SET lease_until_ms = excluded.lease_until_ms, "
                            "seen_generation = excluded.seen_generation";
  while (!stopping_) {
    if (!connection) {
      connection = PQconnectdb(url_.c_str());
      PQsetNoticeProcessor(connection, [](void*, const char*) {}, nullptr);
      // What was announced while no connection listened is lost: listen first, then read
      // where the database stands, so nothing falls between the two.
      std::optional<std::string> current;
      if (PQstatus(connection) == CONNECTION_OK && run(connection, "LISTEN tolvana_changes", {})) {
        current = run(connection, "SELECT generation FROM change_generation WHERE id = 1", {});
      }
      if (!current) {
        drop();
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        continue;
      }
      heard_ = std::max<std::uint64_t>(heard_, std::stoull(current->empty() ? "0" : *current));
      renewal = Clock::now();
    }
    pollfd readable{PQsocket(connection), POLLIN, 0};
    auto wait = std::chrono::duration_cast<std::chrono::milliseconds>(renewal - Clock::now()).count();
    ::poll(&readable, 1, static_cast<int>(std::clamp<long long>(wait, 0, 50)));
    if (!PQconsumeInput(connection)) {
      drop();
      continue;
    }
    bool heardNew = false;
    while (PGnotify* notice = PQnotifies(connection)) {
      heard_ = std::max<std::uint64_t>(heard_, std::strtoull(notice->extra, nullptr, 10));
      heardNew = true;
      PQfreemem(notice);
    }
    if (!heardNew && Clock::now() < renewal) continue;
    auto sent = Clock::now();
    if (!run(connection, renew, {instance_, std::to_string(heard_.load())})) {
      drop();
      continue;
    }
    trustedUntil_.store(nanoseconds(sent + kLease - kMargin), std::memory_order_release);
    renewal = sent + kRenewEvery;
  }
  if (connection) run(connection, "DELETE FROM server_instances WHERE id = $1", {instance_});
  PQfinish(connection);
}

}  // namespace tolvana::server
