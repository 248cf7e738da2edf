// SqlStorage: the console's accounts and sessions.
#include "storage/SqlStorage.h"
#include "storage/StorageError.h"

namespace tolvana::server {

namespace {

const char* kAccountColumns = "SELECT name, password_hash, role, created_at FROM accounts";

std::vector<Account> readAccounts(const SqlRows& rows) {
  std::vector<Account> accounts;
  for (std::size_t r = 0; r < rows.size(); ++r) {
    // A role this server does not know grants the least.
    accounts.push_back(Account{rows.text(r, 0), rows.text(r, 1), roleNamed(rows.text(r, 2)).value_or(Role::viewer),
                               rows.integer(r, 3)});
  }
  return accounts;
}

}  // namespace

void SqlStorage::createAccount(const Account& account) {
  database_->transaction(true, [&](SqlConnection& c) {
    auto rows = c.run("INSERT INTO accounts (name, password_hash, role, created_at) VALUES (?, ?, ?, ?) "
                      "ON CONFLICT (name) DO NOTHING",
                      {account.name, account.passwordHash, std::string(nameOf(account.role)), sql::now()});
    if (rows.changes == 0) throw StorageError(StorageError::Kind::conflict, "there is an account " + account.name);
  });
}

void SqlStorage::replaceAccount(const Account& account) {
  database_->transaction(true, [&](SqlConnection& c) {
    c.run("INSERT INTO accounts (name, password_hash, role, created_at) VALUES (?, ?, ?, ?) "
          "ON CONFLICT (name) DO UPDATE SET password_hash = excluded.password_hash, role = excluded.role",
          {account.name, account.passwordHash, std::string(nameOf(account.role)), sql::now()});
    c.run("DELETE FROM sessions WHERE account = ?", {account.name});
  });
}

std::optional<Account> SqlStorage::account(const std::string& name) {
  auto accounts = readAccounts(database_->lease()->run(std::string(kAccountColumns) + " WHERE name = ?", {name}));
  if (accounts.empty()) return std::nullopt;
  return accounts.front();
}

std::vector<Account> SqlStorage::accounts() {
  return readAccounts(database_->lease()->run(std::string(kAccountColumns) + " ORDER BY name"));
}

bool SqlStorage::removeAccount(const std::string& name) {
  return database_->transaction(true, [&](SqlConnection& c) {
    c.run("DELETE FROM sessions WHERE account = ?", {name});
    return c.run("DELETE FROM accounts WHERE name = ?", {name}).changes > 0;
  });
}

void SqlStorage::createSession(const SessionRecord& session, Seconds now) {
  database_->transaction(true, [&](SqlConnection& c) {
    c.run("DELETE FROM sessions WHERE expires_at <= ?", {now});
    c.run("INSERT INTO sessions (id_digest, account, expires_at) VALUES (?, ?, ?)",
          {session.idDigest, session.account, session.expiresAt});
  });
}

std::optional<SignedIn> SqlStorage::session(const std::string& idDigest, Seconds now) {
  auto rows = database_->lease()->run(
      "SELECT a.name, a.role FROM sessions s JOIN accounts a ON a.name = s.account "
      "WHERE s.id_digest = ? AND s.expires_at > ?",
      {idDigest, now});
  if (rows.empty()) return std::nullopt;
  return SignedIn{rows.text(0, 0), roleNamed(rows.text(0, 1)).value_or(Role::viewer)};
}

void SqlStorage::endSession(const std::string& idDigest) {
  database_->transaction(true, [&](SqlConnection& c) { c.run("DELETE FROM sessions WHERE id_digest = ?", {idDigest}); });
}

}  // namespace tolvana::server
