// AdminAuth: who may use the admin API (and the test fixture's endpoints). A request must
// carry the admin token ("Authorization: Bearer <token>"), compared in constant time; the
// app's API secret is never an admin credential. A browser cannot be made to send that
// header across sites without asking first (and this server answers no such question), but
// a page can still post a form or plain text to loopback: such simple cross-site requests
// are refused by their Origin or Sec-Fetch-Site header and by their content type, before the
// token is even looked at.
//
// The web console will add signed-in sessions beside the token; both end here.
#pragma once

#include <httplib.h>

#include <optional>
#include <string>

namespace tolvana::server {

class AdminAuth {
 public:
  // Without a token, every admin request is refused.
  explicit AdminAuth(std::optional<std::string> token) : token_(std::move(token)) {}

  struct Refusal {
    int status;
    std::string reason{};
  };
  // Why the request may not go on, or nothing. Runs before the body is read.
  std::optional<Refusal> refusal(const httplib::Request& request) const;

  bool enabled() const { return token_.has_value(); }

 private:
  std::optional<std::string> token_;
};

}  // namespace tolvana::server
