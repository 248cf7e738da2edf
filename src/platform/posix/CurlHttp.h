// The Linux Http: libcurl, one easy handle per request, each request in a session of its own
// whose serial queue runs the transfer and then the completion.
#pragma once

#include <cstddef>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "tolvana/platform/Dispatch.h"
#include "tolvana/platform/Http.h"

namespace tolvana {

struct CurlHttpOptions {
  // A PEM file of further certificate authorities to trust besides the system's (a test
  // server's own certificate); verification itself is never switched off.
  std::optional<std::string> extraCaFile{};
  // A proxy URL; without one no proxy is used, whatever the environment says.
  std::optional<std::string> proxy{};
  // Told the size of the answer's body received so far, each time it grows, on the request's
  // thread; for a progress display. Must be cheap and must not throw.
  std::function<void(std::size_t)> onBodyBytes{};
  // Longest answer body kept, counted after decoding; a longer one fails the request. Well
  // above any real answer, so that only an endless or bomb-like body meets it. While the
  // buffer grows, a request may briefly hold up to about twice this much.
  std::size_t maxBodyBytes = std::size_t{256} << 20;
};

// dispatch makes each request's session queue. The client may own it: a request sent before
// the client is released still runs and completes.
std::shared_ptr<Http> makeCurlHttp(std::shared_ptr<Dispatch> dispatch, CurlHttpOptions options = {});

}  // namespace tolvana
