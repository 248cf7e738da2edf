// Sessions: signing in to the web console with an account's name and password, and knowing
// the account again from the session cookie its browser then sends.
//
// The cookie holds a random id (HttpOnly, so no script of the page can read it; SameSite=
// Strict, so no other site's page makes the browser send it; Secure over TLS). The database
// keeps only its digest. Every change made in a session must also carry the session's CSRF
// token in "X-CSRF-Token": the page learns it from the sign-in's answer (or from GET
// /console/session), which a page of another site cannot read.
//
//   POST /console/session      {"name", "password"} → {"name", "role", "csrfToken"} and the cookie
//   GET  /console/session      who is signed in, with the CSRF token again; 401 without a session
//   POST /console/sign-out     ends the session (with the CSRF token)
//
// Thread contract: any request thread, at once.
#pragma once

#include <httplib.h>

#include <optional>
#include <string>

#include "storage/Storage.h"

namespace tolvana::server {

class Sessions {
 public:
  static constexpr Seconds kLifetime = 12 * 60 * 60;
  static constexpr std::string_view kCsrfHeader = "X-CSRF-Token";

  Sessions(Storage& storage, bool secureCookies) : storage_(storage), secure_(secureCookies) {}

  // The account the request's session cookie stands for, while the session lasts. Throws
  // StorageError.
  std::optional<SignedIn> signedIn(const httplib::Request& request) const;
  // Whether the request carries the CSRF token of its session cookie.
  bool carriesCsrfToken(const httplib::Request& request) const;

  static std::string digestOf(std::string_view id);
  static std::string csrfTokenOf(std::string_view id);

  void addRoutes(httplib::Server& server);

 private:
  void signIn(const httplib::Request& request, httplib::Response& response);
  void whoAmI(const httplib::Request& request, httplib::Response& response);
  void signOut(const httplib::Request& request, httplib::Response& response);
  std::string cookie(const std::string& id, Seconds maxAge) const;

  Storage& storage_;
  const bool secure_;
};

}  // namespace tolvana::server
