#include "storage/SqlDatabase.h"

#include <charconv>

#include "storage/StorageError.h"

namespace tolvana::server {

namespace {

// Long enough for a burst of requests to find a connection again, short enough that a
// device's request does not outwait its own time-out.
constexpr auto kLeaseWait = std::chrono::seconds(5);

}  // namespace

std::int64_t SqlRows::integer(std::size_t row, std::size_t column) const {
  const auto& text = cell(row, column);
  std::int64_t value = 0;
  if (text) std::from_chars(text->data(), text->data() + text->size(), value);
  return value;
}

SqlDatabase::Lease SqlDatabase::lease() {
  {
    std::unique_lock lock(mutex_);
    if (!returned_.wait_for(lock, kLeaseWait, [&] { return !idle_.empty() || open_ < maxConnections_; })) {
      throw StorageError(StorageError::Kind::unavailable, "every database connection is busy");
    }
    if (!idle_.empty()) {
      auto connection = std::move(idle_.back());
      idle_.pop_back();
      return Lease(*this, std::move(connection));
    }
    ++open_;  // taken now, so that the connect below happens outside the lock
  }
  try {
    return Lease(*this, connect());
  } catch (...) {
    std::lock_guard lock(mutex_);
    --open_;
    returned_.notify_one();
    throw;
  }
}

void SqlDatabase::giveBack(std::unique_ptr<SqlConnection> connection) {
  bool broken = connection->broken();
  if (broken) connection.reset();  // closed outside the lock
  std::lock_guard lock(mutex_);
  if (broken) {
    --open_;
  } else {
    idle_.push_back(std::move(connection));
  }
  returned_.notify_one();
}

std::string numberedPlaceholders(std::string_view sql) {
  std::string out;
  out.reserve(sql.size() + 16);
  int number = 0;
  for (char c : sql) {
    if (c == '?') {
      out += '$';
      out += std::to_string(++number);
    } else {
      out += c;
    }
  }
  return out;
}

}  // namespace tolvana::server
