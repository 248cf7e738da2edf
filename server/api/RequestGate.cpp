#include "api/RequestGate.h"

#include <charconv>
#include <regex>

#include "api/HttpAnswers.h"
#include "api/RawUploads.h"
#include "storage/StorageError.h"

namespace tolvana::server {

namespace {

enum class Route { update, screenshot, issue, screenTags, admin, signIn, other };

constexpr std::size_t kMaxSignInBytes = 4096;

struct Routed {
  Route route = Route::other;
  std::string project;
};

bool isAdmin(const std::string& path) { return path.starts_with("/admin/") || path.starts_with("/_test/"); }

Routed routeOf(const std::string& path) {
  if (isAdmin(path)) return {Route::admin, ""};
  if (path == "/console/session" || path == "/console/sign-out") return {Route::signIn, ""};
  static const std::regex library(R"(/v[34]/mobile-apps/sdk/([^/]+)(/(uploadScreenshot|createJiraIssue|screenTag))?)");
  std::smatch match;
  if (std::regex_match(path, match, library)) {
    std::string endpoint = match[3];
    Route route = endpoint.empty()                 ? Route::update
                  : endpoint == "uploadScreenshot" ? Route::screenshot
                  : endpoint == "createJiraIssue"  ? Route::issue
                                                   : Route::screenTags;
    return {route, match[1]};
  }
  return {};
}

bool closeWith(const httplib::Request& request, httplib::Response& response, int status, const std::string& reason) {
  refuseAndClose(request, response, status, reason);
  return true;
}

}  // namespace

bool RequestGate::refused(const httplib::Request& request, httplib::Response& response) {
  if (isAdmin(request.path)) {
    if (auto refusal = auth_.refusal(request)) return closeWith(request, response, refusal->status, refusal->reason);
  }
  Routed routed = routeOf(request.path);
  if (routed.route == Route::signIn && request.method != "GET") {
    if (auto refusal = AdminAuth::crossSiteRefusal(request)) {
      return closeWith(request, response, refusal->status, refusal->reason);
    }
  }
  // A DELETE that declares no length and no chunks has no body (as scripts send it).
  const bool hasBody = request.method == "POST" || request.method == "PUT" || request.method == "PATCH" ||
                       (request.method == "DELETE" &&
                        (request.has_header("Content-Length") || request.has_header("Transfer-Encoding")));
  if (!hasBody) return false;
  std::size_t limit = 0;
  switch (routed.route) {
    case Route::update:
      limit = options_.maxUpdateBytes;
      break;
    case Route::screenshot:
      limit = options_.maxUploadBytes;
      break;
    case Route::issue:
      limit = options_.maxIssueBytes;
      break;
    case Route::admin:
      limit = options_.maxAdminBytes;
      break;
    case Route::signIn:
      limit = kMaxSignInBytes;
      break;
    case Route::screenTags:
    case Route::other:
      return closeWith(request, response, 404, "no such endpoint takes a body");
  }
  if (routed.route != Route::admin && routed.route != Route::signIn) {
    try {
      if (!snapshots_.current(routed.project)) return closeWith(request, response, 404, "no project " + routed.project);
    } catch (const StorageError& error) {
      return closeWith(request, response, statusFor(error), error.what());
    }
  }
  if (request.has_header("Transfer-Encoding") || !request.has_header("Content-Length")) {
    return closeWith(request, response, 411, "send the body with a Content-Length");
  }
  const std::string declared = request.get_header_value("Content-Length");
  std::uint64_t length = 0;
  auto [end, error] = std::from_chars(declared.data(), declared.data() + declared.size(), length);
  if (error != std::errc() || end != declared.data() + declared.size()) {
    return closeWith(request, response, 400, "the Content-Length is no number");
  }
  if (length > limit) {
    return closeWith(request, response, 413,
                     "a body of " + declared + " bytes is more than this endpoint takes (" + std::to_string(limit) + ")");
  }
  if (routed.route == Route::screenshot) keepUploadRaw(request);
  return false;
}

}  // namespace tolvana::server
