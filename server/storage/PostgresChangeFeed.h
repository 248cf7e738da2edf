// PostgresChangeFeed: how server processes sharing one PostgreSQL database learn of each
// other's changes without asking the database at every request.
//
// Every transaction that changes what an answer could show raises a generation number in
// the database. Each server listens for it (LISTEN/NOTIFY) on a connection of its own, and
// holds a lease there, a row renewed four times a second that says until when it answers
// from what it has heard. The writer, once its transaction has committed, announces the new
// generation and waits until every server whose lease is running has confirmed hearing it
// (or until the lease of one that does not has run out). So when a publication returns,
// every server that still trusts its feed has heard of it, and one that lost its connection
// or its lease stops trusting the feed before any writer stops waiting for it: its requests
// ask the database again.
//
// Thread contract: generation() from any thread; announce() from the writer's thread, with
// the connection its transaction committed on.
#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "storage/SqlDatabase.h"

namespace tolvana::server {

class PostgresChangeFeed {
 public:
  explicit PostgresChangeFeed(std::string url);
  ~PostgresChangeFeed();  // gives up the lease
  PostgresChangeFeed(const PostgresChangeFeed&) = delete;
  PostgresChangeFeed& operator=(const PostgresChangeFeed&) = delete;

  // The newest generation this process has heard of while its lease runs; nullopt while it
  // holds none (not yet, or no longer). The first call starts listening.
  std::optional<std::uint64_t> generation();
  // Tells the other servers of the generation a committed transaction raised the database to,
  // and waits until each that holds a lease has heard of it.
  void announce(SqlConnection& connection, std::int64_t generation);

 private:
  void listen();

  const std::string url_;
  const std::string instance_;
  std::atomic<std::uint64_t> heard_{0};
  std::atomic<std::int64_t> trustedUntil_{0};  // steady clock, nanoseconds
  std::atomic<bool> stopping_{false};
  std::once_flag started_;
  std::thread listener_;
};

}  // namespace tolvana::server
