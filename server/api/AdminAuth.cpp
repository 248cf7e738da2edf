#include "api/AdminAuth.h"

#include <regex>

#include "api/HttpAnswers.h"
#include "api/Signature.h"
#include "storage/StorageError.h"

namespace tolvana::server {

namespace {

bool crossSite(const httplib::Request& request) {
  std::string site = request.get_header_value("Sec-Fetch-Site");
  if (!site.empty() && site != "same-origin" && site != "none") return true;
  std::string origin = request.get_header_value("Origin");
  if (origin.empty()) return false;
  std::string host = request.get_header_value("Host");
  return origin != "http://" + host && origin != "https://" + host;
}

bool reads(const httplib::Request& request) { return request.method == "GET" || request.method == "HEAD"; }

constexpr std::string_view kBearer = "Bearer ";

}  // namespace

std::optional<AdminAuth::Refusal> AdminAuth::crossSiteRefusal(const httplib::Request& request) {
  if (crossSite(request)) return Refusal{403, "cross-site requests are refused"};
  bool hasBody = request.method == "POST" || request.method == "PUT" || request.method == "PATCH";
  // A form or a text/plain post needs no preflight; JSON does.
  std::string type = request.get_header_value("Content-Type");
  if (hasBody && type != "application/json" && !type.starts_with("application/json;")) {
    return Refusal{415, "admin requests send application/json"};
  }
  return std::nullopt;
}

bool AdminAuth::holdsToken(const httplib::Request& request) const {
  std::string authorization = request.get_header_value("Authorization");
  return token_ && authorization.starts_with(kBearer) &&
         Signature::sameSecret(std::string_view(authorization).substr(kBearer.size()), *token_);
}

std::optional<SignedIn> AdminAuth::caller(const httplib::Request& request) const {
  if (holdsToken(request)) return SignedIn{"admin token", Role::admin};
  if (!sessions_ || request.has_header("Authorization")) return std::nullopt;
  return sessions_->signedIn(request);
}

Role AdminAuth::requiredRole(const httplib::Request& request) {
  if (request.path.starts_with("/_test/") || request.path.starts_with("/admin/v1/accounts")) return Role::admin;
  if (reads(request)) return Role::viewer;
  // An import writes drafts alone, as an edit does; its dry run changes nothing but is a POST.
  static const std::regex translating(R"(/admin/v1/projects/[^/]+/(entries|missing/accept|languages/[^/]+/import))");
  if (std::regex_match(request.path, translating)) return Role::translator;
  return Role::admin;
}

std::optional<AdminAuth::Refusal> AdminAuth::refusal(const httplib::Request& request) const {
  if (auto refused = crossSiteRefusal(request)) return refused;
  if (holdsToken(request)) return std::nullopt;
  if (request.has_header("Authorization") || !sessions_) {
    return Refusal{401, token_ ? "the admin token is missing or wrong"
                               : "this server takes no admin token: it was started without one"};
  }
  std::optional<SignedIn> who;
  try {
    who = sessions_->signedIn(request);
  } catch (const StorageError& error) {
    return Refusal{statusFor(error), error.what()};
  }
  if (!who) return Refusal{401, "sign in, or send the admin token"};
  if (!reads(request) && !sessions_->carriesCsrfToken(request)) {
    return Refusal{403, "the change carries no valid CSRF token"};
  }
  if (who->role < requiredRole(request)) {
    return Refusal{403, "a " + std::string(nameOf(who->role)) + " may not " + request.method + " " + request.path};
  }
  return std::nullopt;
}

}  // namespace tolvana::server
