#include "console/ConsolePages.h"

#include <algorithm>
#include <string>

#include "api/HttpAnswers.h"
#include "console/ConsoleAssets.h"
#include "storage/StorageError.h"

namespace tolvana::server {

namespace {

// Screenshots are fetched with the token and shown from blob: addresses.
constexpr const char* kPolicy =
    "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self' blob:; connect-src 'self'; "
    "base-uri 'none'; form-action 'none'; frame-ancestors 'none'";

std::string typeOf(std::string_view name) {
  if (name.ends_with(".html")) return "text/html; charset=utf-8";
  if (name.ends_with(".js")) return "text/javascript; charset=utf-8";
  if (name.ends_with(".css")) return "text/css; charset=utf-8";
  if (name.ends_with(".svg")) return "image/svg+xml";
  return "application/octet-stream";
}

void serve(const std::string& name, httplib::Response& response) {
  auto assets = consoleAssets();
  auto found = std::find_if(assets.begin(), assets.end(), [&](const ConsoleAsset& a) { return a.name == name; });
  if (found == assets.end()) {
    response.status = 404;
    response.set_content("no such page\n", "text/plain; charset=utf-8");
    return;
  }
  response.set_header("Content-Security-Policy", kPolicy);
  response.set_header("X-Content-Type-Options", "nosniff");
  response.set_header("X-Frame-Options", "DENY");
  response.set_header("Referrer-Policy", "no-referrer");
  // A new server version brings new scripts: the browser asks again each time (cheap: a few KB).
  response.set_header("Cache-Control", "no-cache");
  response.set_content(std::string(found->bytes), typeOf(found->name));
}

bool isPublic(const std::string& name) { return name == "sign-in.html" || name == "sign-in.js" || name == "console.css"; }

}  // namespace

void ConsolePages::serveIfAllowed(const httplib::Request& request, httplib::Response& response,
                                  const std::string& name) const {
  if (!isPublic(name)) {
    std::optional<SignedIn> who;
    try {
      who = auth_.caller(request);
    } catch (const StorageError& error) {
      return refuse(request, response, error);
    }
    if (!who && name == "index.html") return response.set_redirect("/console/sign-in", 303);
    if (!who) return refuse(request, response, 401, "sign in first");
  }
  serve(name, response);
}

void ConsolePages::addRoutes(httplib::Server& server) {
  server.Get("/console", [](const httplib::Request&, httplib::Response& response) {
    response.set_redirect("/console/");
  });
  server.Get("/console/", [this](const httplib::Request& request, httplib::Response& response) {
    serveIfAllowed(request, response, "index.html");
  });
  server.Get("/console/sign-in", [this](const httplib::Request& request, httplib::Response& response) {
    serveIfAllowed(request, response, "sign-in.html");
  });
  server.Get(R"(/console/([a-z0-9-]{1,40}\.(html|js|css|svg)))",
             [this](const httplib::Request& request, httplib::Response& response) {
               serveIfAllowed(request, response, request.matches[1]);
             });
}

}  // namespace tolvana::server
