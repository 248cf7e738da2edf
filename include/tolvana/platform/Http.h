// Http: one request in, one response out.
//
// The engine builds, signs and queues its requests itself; a client only carries them.
// Each request runs in a session of its own: send() returns at once, and the completion
// runs later, once, on a serial queue that belongs to that request's session, never on the
// caller's thread. TLS peer verification is always on; a client may be given extra
// certificate authorities to trust (a test server's), never told to trust everything.
//
// Thread contract: send() may be called from any thread, concurrently.
#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "tolvana/Export.h"

namespace tolvana {

// Every member of the two has an initialiser, so designated initialisers may leave any out
// without a warning.
struct TOLVANA_EXPORT HttpRequest {
  std::string method = "GET";
  std::string url{};
  std::vector<std::pair<std::string, std::string>> headers{};  // in order, as sent
  std::string body{};
  // Longest wait for any single read or write, and for the whole exchange, in seconds.
  double requestTimeout = 60;
  double resourceTimeout = 7 * 24 * 3600;
};

struct TOLVANA_EXPORT HttpResponse {
  // Why no response came, for the failures a user can act on; everything else is other.
  enum class Failure { none, connectionRefused, timedOut, certificateNotTrusted, other };

  // Set when no response came (refused, timed out, TLS failure, broken encoding); then
  // status is 0 and failure says which kind it was.
  std::optional<std::string> error{};
  int status = 0;
  std::map<std::string, std::string> headers{};  // names lower-cased
  std::string body{};                            // decoded when the server compressed it
  Failure failure = Failure::none;
};

class TOLVANA_EXPORT Http {
 public:
  virtual ~Http() = default;
  virtual void send(HttpRequest request, std::function<void(HttpResponse)> completion) = 0;
};

}  // namespace tolvana
