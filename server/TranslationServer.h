// TranslationServer: the translation server a team runs. It serves the library's endpoints
// (update, screen tags, screenshot upload, issue creation) and the admin API over HTTP or
// HTTPS from a database (Storage), on a pool of request threads.
//
//   auto storage = openStorage({.dataDirectory = "data"});
//   TranslationServer server({.port = 0, .adminToken = "…"}, *storage);
//   if (server.start(&error)) { ... server.baseUrl() ... server.stop(); }
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "api/ApiOptions.h"
#include "storage/Storage.h"

namespace tolvana::server {

struct ServerOptions {
  std::string host = "127.0.0.1";  // loopback unless asked
  int port = 8080;                 // 0 picks a free port
  bool tls = false;
  std::optional<std::string> certificateFile, keyFile{};  // made at start when absent
  std::optional<std::string> writeCaFile{};  // where to put the certificate clients should trust
  std::string stateDirectory{};              // where a made certificate is kept
  std::optional<std::string> adminToken{};   // without one, the admin API takes console sessions only
  // Request threads. A thread serves one connection at a time, for as long as it stays open,
  // so this is also how many devices are answered at once. At most a quarter of them hold a
  // live-preview request open (LiveChanges).
  int threads = 64;
  ApiOptions api;
  bool testFixture = false;  // faults and the request record that tests use
};

class TranslationServer {
 public:
  TranslationServer(ServerOptions options, Storage& storage);
  ~TranslationServer();
  TranslationServer(const TranslationServer&) = delete;
  TranslationServer& operator=(const TranslationServer&) = delete;

  // Binds and serves on threads of its own; false with a reason when it cannot.
  bool start(std::string* error);
  void stop();
  int port() const;
  // "http(s)://<host>:<port>".
  std::string baseUrl() const;

 private:
  struct Parts;
  std::unique_ptr<Parts> parts_{};
};

}  // namespace tolvana::server
