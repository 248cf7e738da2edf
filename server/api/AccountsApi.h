// AccountsApi: the console's accounts, managed by admins (AdminAuth lets no one else in):
//
//   GET    /admin/v1/accounts          every account: {name, role, createdAt}
//   POST   /admin/v1/accounts          create {name, password, role}; 409 when the name is taken
//   PATCH  /admin/v1/accounts/NAME     {password?, role?}: the account's sessions end
//   DELETE /admin/v1/accounts/NAME     remove it, and its sessions
//
// Passwords never come back, and are kept only as hashes (PasswordHash).
#pragma once

#include <httplib.h>

#include <optional>
#include <string>

#include "storage/Storage.h"

namespace tolvana::server {

class AccountsApi {
 public:
  explicit AccountsApi(Storage& storage) : storage_(storage) {}
  void addRoutes(httplib::Server& server);

  // What is wrong with a new account's name (letters, digits, ".", "_", "-", "@"; 1 to 64)
  // or password (8 to 1024 bytes), or nothing.
  static std::optional<std::string> problemWithName(std::string_view name);
  static std::optional<std::string> problemWithPassword(std::string_view password);

 private:
  void list(const httplib::Request& request, httplib::Response& response);
  void create(const httplib::Request& request, httplib::Response& response);
  void change(const httplib::Request& request, httplib::Response& response);
  void remove(const httplib::Request& request, httplib::Response& response);

  Storage& storage_;
};

}  // namespace tolvana::server
