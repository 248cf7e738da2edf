// LiveEndpoint: the live preview's request, GET /v4/mobile-apps/sdk/ID/changes?params=
// {"cursor": "…"}, signed as a full update request is. It is held open until a group of the
// project is edited or published (or ApiOptions::livePollSeconds pass) and answers
//   {"cursor": "…", "changes": [{"language": "de", "group": "main"}], "resync": false}
// Only a project that allows draft mode answers it (403 otherwise); while LiveChanges has as
// many waiting as it takes, 503 with Retry-After.
//
// Thread contract: handle() from any request thread, at once.
#pragma once

#include <httplib.h>

#include "api/ApiOptions.h"
#include "api/LiveChanges.h"
#include "api/Snapshots.h"

namespace tolvana::server {

class LiveEndpoint {
 public:
  LiveEndpoint(Snapshots& snapshots, LiveChanges& changes, const ApiOptions& options)
      : snapshots_(snapshots), changes_(changes), options_(options) {}

  void handle(const httplib::Request& request, httplib::Response& response);

 private:
  Snapshots& snapshots_;
  LiveChanges& changes_;
  const ApiOptions& options_;
};

}  // namespace tolvana::server
