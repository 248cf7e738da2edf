// ConsolePages: serves the web console under /console/. The pages hold no data: the script
// reads and writes through the admin API, whose checks (session, CSRF token, role,
// cross-site refusals) stay the gate for the data. The sign-in page, its script and the
// style sheet are public; the console itself is served only to a signed-in browser (or the
// admin token), and sends anyone else to the sign-in page. Every page is served under a
// policy that lets it load nothing from elsewhere, run no inline script and be framed by no
// other site.
#pragma once

#include <httplib.h>

#include "api/AdminAuth.h"

namespace tolvana::server {

class ConsolePages {
 public:
  explicit ConsolePages(const AdminAuth& auth) : auth_(auth) {}
  void addRoutes(httplib::Server& server);

 private:
  // Serves the asset to whoever may see it, and a refusal (or the way to sign in) to others.
  void serveIfAllowed(const httplib::Request& request, httplib::Response& response, const std::string& name) const;

  const AdminAuth& auth_;
};

}  // namespace tolvana::server
