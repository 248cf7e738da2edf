// The Linux Http: libcurl, one easy handle per request, each request in a session of its own
// whose serial queue runs the transfer and then the completion.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "tolvana/platform/Dispatch.h"
#include "tolvana/platform/Http.h"

namespace tolvana {

struct CurlHttpOptions {
  // A PEM file of further certificate authorities to trust besides the system's (a test
  // server's own certificate); verification itself is never switched off.
  std::optional<std::string> extraCaFile;
  // A proxy URL; without one no proxy is used, whatever the environment says.
  std::optional<std::string> proxy;
};

// dispatch makes each request's session queue. The client may own it: a request sent before
// the client is released still runs and completes.
std::shared_ptr<Http> makeCurlHttp(std::shared_ptr<Dispatch> dispatch, CurlHttpOptions options = {});

}  // namespace tolvana
