// RequestGate: what is decided about a request from its head alone, before a byte of its
// body is read: that it states its length (411 otherwise), that the length is within what
// its route takes (413), that the project of a library request exists (404) and that an
// admin request is authorised (401, 403, 415), and that a sign-in or sign-out comes
// from this site as JSON (403, 415). A refused request's body is never read, and
// its connection is closed after the answer, so a client cannot make the server hold more
// than a route's limit, whatever it declares or sends.
//
// Thread contract: any request thread, at once.
#pragma once

#include <httplib.h>

#include "api/AdminAuth.h"
#include "api/ApiOptions.h"
#include "api/Snapshots.h"

namespace tolvana::server {

class RequestGate {
 public:
  RequestGate(Snapshots& snapshots, const AdminAuth& auth, const ApiOptions& options)
      : snapshots_(snapshots), auth_(auth), options_(options) {}

  // True when the gate answered the request itself.
  bool refused(const httplib::Request& request, httplib::Response& response);

 private:
  Snapshots& snapshots_;
  const AdminAuth& auth_;
  const ApiOptions& options_;
};

}  // namespace tolvana::server
