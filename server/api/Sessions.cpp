#include "api/Sessions.h"

#include <openssl/evp.h>
#include <openssl/rand.h>

#include "api/HttpAnswers.h"
#include "api/PasswordHash.h"
#include "api/Signature.h"
#include "storage/StorageError.h"
#include "support/Hmac.h"
#include "support/Json.h"

namespace tolvana::server {

namespace {

constexpr std::string_view kCookie = "tolvana_session";
constexpr std::size_t kMaxNameBytes = 64, kMaxPasswordBytes = 1024;

std::optional<std::string> sessionId(const httplib::Request& request) {
  const std::string cookies = request.get_header_value("Cookie");
  std::string_view header = cookies;
  while (!header.empty()) {
    auto end = header.find(';');
    std::string_view pair = header.substr(0, end);
    header = end == std::string_view::npos ? std::string_view() : header.substr(end + 1);
    while (pair.starts_with(' ')) pair.remove_prefix(1);
    if (pair.size() > kCookie.size() && pair.starts_with(kCookie) && pair[kCookie.size()] == '=') {
      return std::string(pair.substr(kCookie.size() + 1));
    }
  }
  return std::nullopt;
}

std::optional<std::string> randomId() {
  unsigned char bytes[32];
  if (RAND_bytes(bytes, sizeof bytes) != 1) return std::nullopt;
  return hexadecimalString(bytes, sizeof bytes);
}

Seconds now() {
  return std::chrono::duration_cast<std::chrono::seconds>(std::chrono::system_clock::now().time_since_epoch()).count();
}

Value::Dictionary describe(const SignedIn& who, const std::string& id) {
  return {{"name", who.account}, {"role", std::string(nameOf(who.role))}, {"csrfToken", Sessions::csrfTokenOf(id)}};
}

}  // namespace

std::string Sessions::digestOf(std::string_view id) {
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned int size = 0;
  EVP_Digest(id.data(), id.size(), digest, &size, EVP_sha256(), nullptr);
  return hexadecimalString(digest, size);
}

// Derived from the id, so it needs no storage of its own and ends with the session.
std::string Sessions::csrfTokenOf(std::string_view id) { return hmacSha256Hex(id, "tolvana console csrf"); }

std::optional<SignedIn> Sessions::signedIn(const httplib::Request& request) const {
  auto id = sessionId(request);
  if (!id || id->empty()) return std::nullopt;
  return storage_.session(digestOf(*id), now());
}

bool Sessions::carriesCsrfToken(const httplib::Request& request) const {
  auto id = sessionId(request);
  std::string sent = request.get_header_value(std::string(kCsrfHeader).c_str());
  return id && !sent.empty() && Signature::sameSignature(sent, csrfTokenOf(*id));
}

std::string Sessions::cookie(const std::string& id, Seconds maxAge) const {
  return std::string(kCookie) + "=" + id + "; Path=/; Max-Age=" + std::to_string(maxAge) + "; HttpOnly; SameSite=Strict" +
         (secure_ ? "; Secure" : "");
}

void Sessions::addRoutes(httplib::Server& server) {
  auto guarded = [this](void (Sessions::*handler)(const httplib::Request&, httplib::Response&)) {
    return [this, handler](const httplib::Request& request, httplib::Response& response) {
      response.set_header("Cache-Control", "no-store");
      try {
        (this->*handler)(request, response);
      } catch (const StorageError& error) {
        refuse(request, response, error);
      }
    };
  };
  server.Post("/console/session", guarded(&Sessions::signIn));
  server.Get("/console/session", guarded(&Sessions::whoAmI));
  server.Post("/console/sign-out", guarded(&Sessions::signOut));
}

void Sessions::signIn(const httplib::Request& request, httplib::Response& response) {
  auto body = json::parse(request.body);
  const Value* name = body ? body->find("name") : nullptr;
  const Value* password = body ? body->find("password") : nullptr;
  if (!name || !name->isString() || !password || !password->isString() || name->asString().size() > kMaxNameBytes ||
      password->asString().size() > kMaxPasswordBytes) {
    return refuse(request, response, 400, "sign in with {\"name\", \"password\"}");
  }
  auto account = storage_.account(name->asString());
  if (!account) {
    PasswordHash::spendAsIfMatching(password->asString());
  }
  if (!account || !PasswordHash::matches(password->asString(), account->passwordHash)) {
    return refuse(request, response, 401, "the name or the password is wrong");
  }
  auto id = randomId();
  if (!id) return refuse(request, response, 500, "no randomness for a session");
  const Seconds at = now();
  storage_.createSession({.idDigest = digestOf(*id), .account = account->name, .expiresAt = at + kLifetime}, at);
  response.set_header("Set-Cookie", cookie(*id, kLifetime));
  answerJson(response, describe({account->name, account->role}, *id));
}

void Sessions::whoAmI(const httplib::Request& request, httplib::Response& response) {
  auto who = signedIn(request);
  if (!who) return refuse(request, response, 401, "not signed in");
  answerJson(response, describe(*who, *sessionId(request)));
}

void Sessions::signOut(const httplib::Request& request, httplib::Response& response) {
  if (!carriesCsrfToken(request)) return refuse(request, response, 403, "the change carries no valid CSRF token");
  storage_.endSession(digestOf(*sessionId(request)));
  response.set_header("Set-Cookie", cookie("", 0));
  answerJson(response, Value::Dictionary{{"signedOut", true}});
}

}  // namespace tolvana::server
