// ServerFixture: the reference translation server, started as its own process on a free
// loopback port with a project directory written by the test, over HTTP or HTTPS. The
// project is app "app1" with secret "s3cr3t-key", base language "en" and both project flags on.
//
//   ServerFixture server({.tls = true});
//   server.publish("de", "main", {{"hello", "Hallo"}});
//   app.bundle.info("TolvanaHost", server.baseUrl());
//   ... server.inspect("missing") ...
#pragma once

#include <map>
#include <memory>
#include <string>

#include "tests/support/TempDir.h"
#include "tolvana/Value.h"
#include "tolvana/platform/Http.h"

namespace tolvana::testing {

class ServerFixture {
 public:
  struct Options {
    bool tls = true;
    // The bound on an answer's decoded size for the client http() gives; 0 keeps its default.
    std::size_t maxAnswerBytes = 0;
  };

  explicit ServerFixture(Options options);
  ~ServerFixture();

  // "https://127.0.0.1:<port>".
  const std::string& baseUrl() const { return baseUrl_; }
  // The server's own certificate, for clients that must trust it.
  std::string caFile() const { return dir_.file("ca.pem"); }
  // The project directory the server reads (project.json, translations/).
  const std::string& projectDirectory() const { return dir_.path(); }
  // A client that trusts the server.
  std::shared_ptr<Http> http() const { return http_; }

  // Publishes a group's entries (text per key) through the server's admin endpoint; the
  // group's version and the project's version go up by one.
  void publish(const std::string& language, const std::string& group, const std::map<std::string, std::string>& texts);
  // What the server recorded: "requests", "missing", "profiles", ... as a JSON value.
  Value inspect(const std::string& what) const;
  // The next count update requests meet the fault ({"status":500}, {"body":"OK"}, ...).
  void injectFault(Value::Dictionary fault);
  // Stops the server; requests then meet a closed port.
  void stop();

  // Plain request helper; the answer's body.
  std::string request(const std::string& method, const std::string& path, const std::string& body = "") const;

 private:
  Options options_;
  TempDir dir_;
  std::string baseUrl_;
  std::shared_ptr<Http> http_;
  int pid_ = -1;
};

}  // namespace tolvana::testing
