// Signature: the check every request of the library passes before anything it carries is
// used: "hmac" is HMAC-SHA256, keyed with the app's API secret, over time stamp + text + time
// stamp, and "timestamp" is the device's clock in seconds.
//
// A full request must carry a time stamp within the allowed clock skew of the server's
// clock, so a request recorded once cannot be replayed for ever. The cacheable update
// request carries one fixed time stamp on every device, so that a cache may serve it; it
// changes nothing on the server, so replaying it gains nothing.
#pragma once

#include <httplib.h>

#include <optional>
#include <string>
#include <string_view>

#include "storage/Records.h"

namespace tolvana::server {

class Signature {
 public:
  static constexpr std::string_view kCacheableTimestamp = "213374411";

  struct Check {
    std::string_view secret;
    std::string_view text;          // what was signed between the two time stamps
    bool cacheable = false;         // whether the fixed time stamp is allowed
    int maxClockSkewSeconds = 600;  // 0: any time stamp
    Seconds now = 0;
  };

  // What is wrong with the request's signature, or nothing.
  static std::optional<std::string> problem(const httplib::Request& request, const Check& check);
  // The signature of text as the library makes it.
  static std::string of(std::string_view secret, std::string_view timestamp, std::string_view text);
  // Compares two secrets in time that depends neither on where they differ nor on their
  // lengths.
  static bool sameSecret(std::string_view a, std::string_view b);
  // Compares a signature with the one expected (whose length is no secret) in time that does
  // not depend on where they differ.
  static bool sameSignature(std::string_view sent, std::string_view expected);
};

}  // namespace tolvana::server
