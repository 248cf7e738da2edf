// AdminAuth: who may use the admin API (and the test fixture's endpoints), and what each may
// change. A request is let in with the admin token ("Authorization: Bearer <token>",
// compared in constant time; scripts use it) or with a console session (Sessions), whose
// changes must also carry the session's CSRF token. The app's API secret is never an admin
// credential. A browser cannot be made to send the bearer header across sites without asking
// first (and this server answers no such question), but a page can still post a form or
// plain text to loopback: such simple cross-site requests are refused by their Origin or
// Sec-Fetch-Site header and by their content type, before any credential is looked at.
//
// What a session may do follows its account's role: a viewer reads; a translator also edits
// drafts (by hand or by importing a catalogue) and accepts missing strings; an admin (and the token) may do everything, and alone
// sees and manages the accounts.
#pragma once

#include <httplib.h>

#include <optional>
#include <string>

#include "api/Sessions.h"

namespace tolvana::server {

class AdminAuth {
 public:
  // Without a token, only sessions get in; without sessions, only the token.
  AdminAuth(std::optional<std::string> token, const Sessions* sessions)
      : token_(std::move(token)), sessions_(sessions) {}

  struct Refusal {
    int status;
    std::string reason{};
  };
  // Why the request may not go on, or nothing. Runs before the body is read.
  std::optional<Refusal> refusal(const httplib::Request& request) const;
  // The cross-site and content-type refusals alone, for the sign-in's own endpoints.
  static std::optional<Refusal> crossSiteRefusal(const httplib::Request& request);
  // Who sends the request (the token holder counts as an admin); nothing for nobody.
  // Throws StorageError.
  std::optional<SignedIn> caller(const httplib::Request& request) const;
  // The least role that may send this request.
  static Role requiredRole(const httplib::Request& request);

 private:
  bool holdsToken(const httplib::Request& request) const;

  std::optional<std::string> token_;
  const Sessions* sessions_;
};

}  // namespace tolvana::server
