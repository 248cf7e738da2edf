#include "TranslationServer.h"

#include <httplib.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <thread>

#include "SelfSignedCertificate.h"
#include "TestFixture.h"
#include "api/AccountsApi.h"
#include "api/AdminApi.h"
#include "api/CatalogueEndpoints.h"
#include "api/AdminAuth.h"
#include "api/DeviceProfiles.h"
#include "api/HttpAnswers.h"
#include "api/LiveEndpoint.h"
#include "api/RequestGate.h"
#include "api/ReviewEndpoints.h"
#include "api/Sessions.h"
#include "api/Snapshots.h"
#include "api/UpdateEndpoint.h"
#include "console/ConsolePages.h"
#include "storage/StorageError.h"
#include "support/TLLog.h"

namespace fs = std::filesystem;

namespace tolvana::server {

// Members are destroyed in reverse: the HTTP server (stopped first) before the parts its
// handlers use, the device profiles (written a last time) before the storage is let go.
struct TranslationServer::Parts {
  Parts(ServerOptions o, Storage& s)
      : options(std::move(o)),
        storage(s),
        snapshots(storage),
        devices(storage),
        sessions(storage, options.tls),
        auth(options.adminToken, &sessions),
        gate(snapshots, auth, options.api),
        update(snapshots, storage, devices, options.api, options.testFixture ? &fixture : nullptr),
        review(snapshots, storage, options.api),
        live(std::max(options.threads, 2) / 4),
        liveEndpoint(snapshots, live, options.api),
        admin(storage, devices, auth, live),
        accounts(storage),
        catalogues(storage, live),
        console(auth) {}

  bool makeServer(std::string* error);
  void addRoutes();

  ServerOptions options;
  Storage& storage;
  Snapshots snapshots;
  DeviceProfiles devices;
  Sessions sessions;
  AdminAuth auth;
  RequestGate gate;
  TestFixture fixture;
  UpdateEndpoint update;
  ReviewEndpoints review;
  LiveChanges live;
  LiveEndpoint liveEndpoint;
  AdminApi admin;
  AccountsApi accounts;
  CatalogueEndpoints catalogues;
  ConsolePages console;
  std::unique_ptr<httplib::Server> server;
  std::thread thread;
  int port = 0;
};

bool TranslationServer::Parts::makeServer(std::string* error) {
  if (!options.tls) {
    server = std::make_unique<httplib::Server>();
    return true;
  }
  std::string certificate = options.certificateFile.value_or((fs::path(options.stateDirectory) / "tls-cert.pem").string());
  std::string key = options.keyFile.value_or((fs::path(options.stateDirectory) / "tls-key.pem").string());
  if (!options.certificateFile && !writeSelfSignedCertificate(certificate, key, error)) return false;
  if (options.writeCaFile) {
    std::error_code ec;
    fs::copy_file(certificate, *options.writeCaFile, fs::copy_options::overwrite_existing, ec);
    if (ec) {
      *error = "cannot write " + *options.writeCaFile + ": " + ec.message();
      return false;
    }
  }
  server = std::make_unique<httplib::SSLServer>(certificate.c_str(), key.c_str());
  return true;
}

void TranslationServer::Parts::addRoutes() {
  httplib::Server& s = *server;
  s.set_pre_routing_handler([this](const httplib::Request& q, httplib::Response& r) {
    return gate.refused(q, r) ? httplib::Server::HandlerResponse::Handled : httplib::Server::HandlerResponse::Unhandled;
  });
  s.Get(R"(/v4/mobile-apps/sdk/([^/]+))", [this](const auto& q, auto& r) { update.handle(q, r); });
  s.Post(R"(/v4/mobile-apps/sdk/([^/]+))", [this](const auto& q, auto& r) { update.handle(q, r); });
  s.Get(R"(/v4/mobile-apps/sdk/([^/]+)/changes)", [this](const auto& q, auto& r) { liveEndpoint.handle(q, r); });
  s.Get(R"(/v3/mobile-apps/sdk/([^/]+)/screenTag)", [this](const auto& q, auto& r) { review.screenTags(q, r); });
  s.Post(R"(/v3/mobile-apps/sdk/([^/]+)/uploadScreenshot)",
         [this](const httplib::Request& q, httplib::Response& r, const httplib::ContentReader& reader) {
           review.uploadScreenshot(q, r, reader);
         });
  s.Post(R"(/v3/mobile-apps/sdk/([^/]+)/createJiraIssue)", [this](const auto& q, auto& r) { review.createIssue(q, r); });
  s.Get("/health", [this](const httplib::Request& q, httplib::Response& r) {
    try {
      storage.revision("");
      answerJson(r, Value::Dictionary{{"ok", true}});
    } catch (const StorageError& e) {
      refuse(q, r, e);
    }
  });
  admin.addRoutes(s);
  accounts.addRoutes(s);
  sessions.addRoutes(s);
  catalogues.addRoutes(s);
  console.addRoutes(s);
  if (options.testFixture) fixture.addRoutes(s);
  s.set_exception_handler([](const httplib::Request& q, httplib::Response& r, std::exception_ptr thrown) {
    std::string what = "unknown";
    try {
      std::rethrow_exception(thrown);
    } catch (const std::exception& e) {
      what = e.what();
    } catch (...) {
    }
    refuse(q, r, 500, "the server failed: " + what);
  });
}

TranslationServer::TranslationServer(ServerOptions options, Storage& storage)
    : parts_(std::make_unique<Parts>(std::move(options), storage)) {}

TranslationServer::~TranslationServer() { stop(); }

bool TranslationServer::start(std::string* error) {
  Parts& p = *parts_;
  if (p.options.port < 0 || p.options.port > 65535) {
    *error = "port " + std::to_string(p.options.port) + " is out of range (1-65535, or 0 for a free one)";
    return false;
  }
  if (!p.makeServer(error)) return false;
  if (!p.server->is_valid()) {
    *error = "the server could not be set up (certificate or key unusable)";
    return false;
  }
  int threads = std::max(p.options.threads, 2);
  p.server->new_task_queue = [threads] { return new httplib::ThreadPool(static_cast<std::size_t>(threads)); };
  // Answers go out as headers and body in two writes; without this the second waits for the
  // client's delayed acknowledgement of the first (tens of milliseconds a request).
  p.server->set_tcp_nodelay(true);
  // A connection holds a request thread while it stays open, idle or not: after a hundred
  // requests it is closed, so that connections waiting for a thread get their turn.
  p.server->set_keep_alive_max_count(100);
  p.server->set_keep_alive_timeout(2);
  const ApiOptions& api = p.options.api;
  p.server->set_payload_max_length(std::max({api.maxUpdateBytes, api.maxUploadBytes, api.maxIssueBytes, api.maxAdminBytes}));
  p.addRoutes();
  // The library's default also sets SO_REUSEPORT, which lets a second server share a port
  // that is in use and take half of its requests; only a port in TIME_WAIT may be reused.
  int listening = -1;
  p.server->set_socket_options([&listening](int socket) {
    int yes = 1;
    setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
    listening = socket;
  });
  errno = 0;
  p.port = p.options.port == 0 ? p.server->bind_to_any_port(p.options.host)
                               : (p.server->bind_to_port(p.options.host, p.options.port) ? p.options.port : -1);
  if (p.port <= 0) {
    *error = "cannot listen on " + p.options.host + ":" + std::to_string(p.options.port) +
             (errno == EADDRINUSE ? ": the port is already in use" : errno ? std::string(": ") + std::strerror(errno) : "");
    return false;
  }
  // The library listens with a backlog of five: a burst of devices connecting at once (each
  // request of the library is a connection of its own) would see their connections dropped
  // and retried a second later. Listening again only raises the backlog.
  if (listening >= 0) ::listen(listening, 4096);
  p.thread = std::thread([server = p.server.get()] { server->listen_after_bind(); });
  // The library's stop() does nothing before its accept loop runs, and the loop would then
  // never end: a server stopped right after it started (tests do) hung its owner.
  while (!p.server->is_running()) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  return true;
}

void TranslationServer::stop() {
  Parts& p = *parts_;
  if (!p.server) return;
  p.fixture.stop();
  // Held live-preview requests end now; the pool's threads are joined by the stop.
  p.live.close();
  p.server->stop();
  if (p.thread.joinable()) p.thread.join();
  p.server.reset();
}

int TranslationServer::port() const { return parts_->port; }

std::string TranslationServer::baseUrl() const {
  return std::string(parts_->options.tls ? "https" : "http") + "://" + parts_->options.host + ":" +
         std::to_string(parts_->port);
}

}  // namespace tolvana::server
