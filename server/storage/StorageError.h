// StorageError: why a storage operation did not happen. Every Storage method reports its
// failures this way, and the HTTP side turns the kind into the answer: a database that cannot
// be reached is 503, a full disk 507, a conflict 409, a refused value 400, an unknown
// project 404.
#pragma once

#include <stdexcept>
#include <string>

namespace tolvana::server {

class StorageError : public std::runtime_error {
 public:
  enum class Kind {
    unavailable,  // the database cannot be reached or is busy; worth retrying later
    full,         // the disk (or the database's quota) is full
    conflict,     // the record exists already
    notFound,     // no such project (or record)
    invalid,      // the database refused a value
    failed,       // anything else
  };

  StorageError(Kind kind, const std::string& message) : std::runtime_error(message), kind_(kind) {}
  Kind kind() const { return kind_; }

 private:
  Kind kind_;
};

}  // namespace tolvana::server
