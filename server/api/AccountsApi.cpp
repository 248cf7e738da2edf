#include "api/AccountsApi.h"

#include <algorithm>

#include "api/HttpAnswers.h"
#include "api/PasswordHash.h"
#include "storage/StorageError.h"
#include "support/Json.h"

namespace tolvana::server {

namespace {

const std::string kAccount = "/admin/v1/accounts/([^/]+)";

Value toJson(const Account& account) {
  return Value::Dictionary{{"name", account.name}, {"role", std::string(nameOf(account.role))},
                           {"createdAt", account.createdAt}};
}

const std::string* textField(const Value& body, const char* name) {
  const Value* field = body.find(name);
  return field && field->isString() ? &field->asString() : nullptr;
}

// Reads "password" and "role" into account where given; what is wrong, or nothing.
std::optional<std::string> readChanges(const Value& body, Account* account) {
  if (const std::string* role = textField(body, "role")) {
    auto known = roleNamed(*role);
    if (!known) return "\"role\" is viewer, translator or admin";
    account->role = *known;
  }
  if (const std::string* password = textField(body, "password")) {
    if (auto problem = AccountsApi::problemWithPassword(*password)) return problem;
    auto hash = PasswordHash::of(*password);
    if (!hash) return "the password could not be hashed";
    account->passwordHash = *hash;
  }
  return std::nullopt;
}

}  // namespace

std::optional<std::string> AccountsApi::problemWithName(std::string_view name) {
  auto allowed = [](unsigned char c) { return std::isalnum(c) || c == '.' || c == '_' || c == '-' || c == '@'; };
  if (name.empty() || name.size() > 64 || !std::all_of(name.begin(), name.end(), allowed)) {
    return "a user name has 1 to 64 letters, digits, \".\", \"_\", \"-\" or \"@\"";
  }
  return std::nullopt;
}

std::optional<std::string> AccountsApi::problemWithPassword(std::string_view password) {
  if (password.size() < 8 || password.size() > 1024) return "a password has 8 to 1024 bytes";
  return std::nullopt;
}

void AccountsApi::addRoutes(httplib::Server& server) {
  auto guarded = [this](void (AccountsApi::*handler)(const httplib::Request&, httplib::Response&)) {
    return [this, handler](const httplib::Request& request, httplib::Response& response) {
      try {
        (this->*handler)(request, response);
      } catch (const StorageError& error) {
        refuse(request, response, error);
      }
    };
  };
  server.Get("/admin/v1/accounts", guarded(&AccountsApi::list));
  server.Post("/admin/v1/accounts", guarded(&AccountsApi::create));
  server.Patch(kAccount, guarded(&AccountsApi::change));
  server.Delete(kAccount, guarded(&AccountsApi::remove));
}

void AccountsApi::list(const httplib::Request&, httplib::Response& response) {
  Value::Array accounts;
  for (const Account& account : storage_.accounts()) accounts.push_back(toJson(account));
  answerJson(response, accounts);
}

void AccountsApi::create(const httplib::Request& request, httplib::Response& response) {
  auto body = json::parse(request.body);
  const std::string* name = body ? textField(*body, "name") : nullptr;
  if (!name || !textField(*body, "password") || !textField(*body, "role")) {
    return refuse(request, response, 400, "send {\"name\", \"password\", \"role\"}");
  }
  if (auto problem = problemWithName(*name)) return refuse(request, response, 400, *problem);
  Account account{.name = *name};
  if (auto problem = readChanges(*body, &account)) return refuse(request, response, 400, *problem);
  storage_.createAccount(account);
  answerJson(response, toJson(*storage_.account(account.name)), 201);
}

void AccountsApi::change(const httplib::Request& request, httplib::Response& response) {
  auto body = json::parse(request.body);
  auto account = storage_.account(request.matches[1]);
  if (!account) return refuse(request, response, 404, "no account " + request.matches[1].str());
  if (!body || !body->isDictionary()) return refuse(request, response, 400, "the body is no JSON object");
  if (auto problem = readChanges(*body, &*account)) return refuse(request, response, 400, *problem);
  storage_.replaceAccount(*account);
  answerJson(response, toJson(*account));
}

void AccountsApi::remove(const httplib::Request& request, httplib::Response& response) {
  if (!storage_.removeAccount(request.matches[1])) {
    return refuse(request, response, 404, "no account " + request.matches[1].str());
  }
  answerJson(response, Value::Dictionary{{"removed", request.matches[1].str()}});
}

}  // namespace tolvana::server
