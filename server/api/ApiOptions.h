// ApiOptions: the limits and rules the HTTP side applies, with the defaults a public server
// runs with.
#pragma once

#include <cstddef>

namespace tolvana::server {

struct ApiOptions {
  // Full requests must be signed within this many seconds of the server's clock (0: any
  // time). The library signs just before sending and gives up after 120 s, so ten minutes
  // leave room for a device clock that is a little off.
  int maxClockSkewSeconds = 600;
  // max-age of the cacheable update answer; 0 lets a cache keep it but ask again each time
  // (a 304 when nothing changed), so a publication still reaches the next request.
  int cacheMaxAgeSeconds = 0;
  std::size_t maxUpdateBytes = 4u << 20;     // an update with a large batch of missing strings
  std::size_t maxUploadBytes = 32u << 20;    // a screenshot of a large screen
  std::size_t maxIssueBytes = 256u << 10;
  std::size_t maxAdminBytes = 16u << 20;     // an admin script's batch of edits
  // Uploads being read at once; the other request threads stay free for answers.
  int maxConcurrentUploads = 4;
  // How long a live-preview request is held open when nothing changes. Below the library's
  // idle time-out of such a request (40 s), and short enough that a proxy in between does not
  // close it for silence.
  int livePollSeconds = 25;
};

}  // namespace tolvana::server
