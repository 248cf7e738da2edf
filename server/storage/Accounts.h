// Accounts: the people who sign in to the web console, and their sessions.
//
// An account has a role that bounds what it may change: a viewer reads, a translator also
// edits drafts and accepts missing strings, an admin also publishes and manages projects and
// accounts. Its password is kept only as a salted, memory-hard hash (PasswordHash). A session
// is kept by a digest of its id, never the id itself, so a copy of the database signs nobody
// in.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "storage/Records.h"

namespace tolvana::server {

enum class Role { viewer = 0, translator = 1, admin = 2 };

std::string_view nameOf(Role role);
std::optional<Role> roleNamed(std::string_view name);

struct Account {
  std::string name{};
  std::string passwordHash{};
  Role role = Role::viewer;
  Seconds createdAt = 0;
};

struct SessionRecord {
  std::string idDigest{};  // hex SHA-256 of the id the browser holds
  std::string account{};
  Seconds expiresAt = 0;
};

// A live session as a request sees it: whose, and with the account's role of now, so that a
// changed role or a removed account counts at once.
struct SignedIn {
  std::string account{};
  Role role = Role::viewer;
};

}  // namespace tolvana::server
