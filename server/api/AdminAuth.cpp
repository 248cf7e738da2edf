#include "api/AdminAuth.h"

#include "api/Signature.h"

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

}  // namespace

std::optional<AdminAuth::Refusal> AdminAuth::refusal(const httplib::Request& request) const {
  if (crossSite(request)) return Refusal{403, "cross-site requests are refused"};
  bool hasBody = request.method == "POST" || request.method == "PUT" || request.method == "PATCH";
  // A form or a text/plain post needs no preflight; JSON does.
  std::string type = request.get_header_value("Content-Type");
  if (hasBody && type != "application/json" && !type.starts_with("application/json;")) {
    return Refusal{415, "admin requests send application/json"};
  }
  if (!token_) return Refusal{401, "the admin API is off: the server was started without an admin token"};
  std::string authorization = request.get_header_value("Authorization");
  constexpr std::string_view kBearer = "Bearer ";
  if (!authorization.starts_with(kBearer) ||
      !Signature::sameSecret(std::string_view(authorization).substr(kBearer.size()), *token_)) {
    return Refusal{401, "the admin token is missing or wrong"};
  }
  return std::nullopt;
}

}  // namespace tolvana::server
