#include "sync/HttpFailure.h"

#include <cmath>
#include <string_view>

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

// The app id an update URL ends with ("…/v4/mobile-apps/sdk/<id>?params=…"), if it is one.
std::optional<std::string> appIdOfUpdateUrl(const std::string& url) {
  static constexpr std::string_view kMarker = "/mobile-apps/sdk/";
  std::string path = withoutQuery(url);
  auto marker = path.rfind(kMarker);
  if (marker == std::string::npos) return std::nullopt;
  std::string id = path.substr(marker + kMarker.size());
  if (id.empty() || id.find('/') != std::string::npos) return std::nullopt;
  return id;
}

// The status alone leaves a developer guessing; these two have one usual cause each.
std::string statusCause(const std::string& url, int status) {
  std::string cause = "HTTP " + std::to_string(status);
  if (status == 401) return cause + " (the app's API secret does not match the server's)";
  if (status == 404) {
    if (auto id = appIdOfUpdateUrl(url)) return cause + " (the server has no app with id " + *id + ")";
  }
  return cause;
}

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
  if (response.status != 200) return statusCause(url, response.status);
  if (response.body.empty()) return std::string("empty answer");
  return std::nullopt;
}

}  // namespace tolvana
