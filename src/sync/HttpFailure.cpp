#include "sync/HttpFailure.h"

#include <cmath>

namespace tolvana {

namespace {

// "5" for whole seconds, "0.5" otherwise.
std::string seconds(double value) {
  if (value == std::floor(value)) return std::to_string(static_cast<long long>(value));
  std::string text = std::to_string(value);
  text.erase(text.find_last_not_of('0') + 1);
  return text;
}

// The query of an update request is the whole request body, too long for one error line.
std::string withoutQuery(const std::string& url) { return url.substr(0, url.find('?')); }

}  // namespace

std::optional<std::string> httpFailureCause(const std::string& url, double requestTimeout,
                                            const HttpResponse& response) {
  using Failure = HttpResponse::Failure;
  if (response.error || response.failure != Failure::none) {
    switch (response.failure) {
      case Failure::connectionRefused: return "connection refused (" + withoutQuery(url) + ")";
      case Failure::timedOut: return "timed out after " + seconds(requestTimeout) + " s";
      case Failure::certificateNotTrusted: return std::string("TLS certificate not trusted");
      case Failure::none:
      case Failure::other: break;
    }
    return response.error.value_or("no answer") + " (" + withoutQuery(url) + ")";
  }
  if (response.status != 200) return "HTTP " + std::to_string(response.status);
  if (response.body.empty()) return std::string("empty answer");
  return std::nullopt;
}

}  // namespace tolvana
