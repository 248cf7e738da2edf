// DevServer: the project's reference translation server.
//
// It speaks the endpoints the library calls (the update request, screen tags, screenshot
// upload, issue creation) over HTTP or HTTPS on the loopback interface, checks every
// signature, serves translations from a project directory and keeps what it receives in
// SQLite. Inspection and fault-injection endpoints under "/_devserver/" serve tests and the
// demo.
//
//   DevServer server({.project = "/path/to/project", .tls = true});
//   if (server.start(&error)) { ... server.baseUrl() ... server.stop(); }
#pragma once

#include <memory>
#include <optional>
#include <string>

namespace tolvana::devserver {

struct DevServerOptions {
  std::string project;             // the project directory
  std::string host = "127.0.0.1";  // loopback only unless asked
  int port = 0;                    // 0 picks a free port
  bool tls = false;
  std::optional<std::string> certificateFile, keyFile;  // made at start when absent
  std::optional<std::string> writeCaFile;  // where to put the certificate clients should trust
  std::optional<std::string> storeFile;    // default: <project>/devserver.sqlite
  int maxClockSkewSeconds = 0;             // 0 accepts any time stamp of a full request
};

class DevServer {
 public:
  explicit DevServer(DevServerOptions options);
  ~DevServer();
  DevServer(const DevServer&) = delete;
  DevServer& operator=(const DevServer&) = delete;

  // Binds and serves on a thread of its own; false with a reason when it cannot.
  bool start(std::string* error);
  void stop();
  int port() const;
  // "http(s)://127.0.0.1:<port>".
  std::string baseUrl() const;

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace tolvana::devserver
