// ConsolePages: serves the web console under /console/. The pages hold no data: the script
// signs in with the admin token and reads and writes through the admin API, whose checks
// (token, cross-site refusals) stay the only gate. The pages themselves are public, like a
// sign-in page, and are served under a policy that lets them load nothing from elsewhere,
// run no inline script and be framed by no other site.
#pragma once

#include <httplib.h>

namespace tolvana::server {

class ConsolePages {
 public:
  void addRoutes(httplib::Server& server);
};

}  // namespace tolvana::server
