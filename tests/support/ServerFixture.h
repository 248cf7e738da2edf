// ServerFixture: the translation server, started as its own process on a free loopback port
// with a database of its own (SQLite in a temporary directory, or the PostgreSQL database
// named), over HTTP or HTTPS, with the test fixture's endpoints on. It holds project "app1"
// with secret "s3cr3t-key", base language "en", both project flags on and the screen tags
// "Home" and "Settings".
//
//   ServerFixture server({.tls = true});
//   server.publish("de", "main", {{"hello", "Hallo"}});
//   app.bundle.info("TolvanaHost", server.baseUrl());
//   ... server.inspect("missing") ...
#pragma once

#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "tests/support/TempDir.h"
#include "tolvana/Value.h"
#include "tolvana/platform/Dispatch.h"
#include "tolvana/platform/Http.h"

namespace tolvana::testing {

class ServerFixture {
 public:
  struct Options {
    bool tls = true;
    // The bound on an answer's decoded size for the client http() gives; 0 keeps its default.
    std::size_t maxAnswerBytes = 0;
    // Tests sign with a simulated clock, so the server accepts any time stamp unless told.
    int maxClockSkewSeconds = 0;
    // A PostgreSQL URL instead of SQLite in the fixture's directory.
    std::string database{};
    // Off for a second server on a database that has the project already.
    bool createProject = true;
    // The fault and request-record endpoints; off, the server runs as it does for its users.
    bool testFixture = true;
    // The largest file the server may write (its process's RLIMIT_FSIZE); 0: no limit.
    std::size_t fileSizeLimit = 0;
    std::vector<std::string> extraArguments{};
  };

  explicit ServerFixture(Options options);
  ~ServerFixture();

  // "https://127.0.0.1:<port>".
  const std::string& baseUrl() const { return baseUrl_; }
  // The server's own certificate, for clients that must trust it.
  std::string caFile() const { return dir_.file("ca.pem"); }
  const std::string& adminToken() const { return adminToken_; }
  // The directory of the SQLite database (when there is one).
  std::string dataDirectory() const { return dir_.file("data"); }
  // A client that trusts the server.
  std::shared_ptr<Http> http() const { return http_; }
  // One that runs its requests on a test's dispatch, which the test can wait for.
  std::shared_ptr<Http> http(std::shared_ptr<Dispatch> dispatch) const;

  // Publishes a group's entries (text per key) through the admin API, adding the language to
  // the project when it is new; the group's version and the project's version go up by one.
  void publish(const std::string& language, const std::string& group, const std::map<std::string, std::string>& texts);
  // What the server keeps: "missing", "screenshots", "issues", "devices" (the admin API's
  // lists of app1), or "requests" (every update request, from the test fixture).
  Value inspect(const std::string& what) const;
  // The next count update requests meet the fault ({"status":500}, {"body":"OK"}, ...).
  void injectFault(Value::Dictionary fault);
  // Stops the server; requests then meet a closed port.
  void stop();

  // An admin request; the answer's body, or an exception naming the status.
  std::string request(const std::string& method, const std::string& path, const std::string& body = "") const;
  // Any request to the server, as sent.
  HttpResponse send(HttpRequest request) const;

 private:
  Options options_;
  TempDir dir_;
  std::string adminToken_ = "fixture-admin-token-0123456789";
  std::string baseUrl_{};
  std::shared_ptr<Http> http_{};
  std::set<std::string> languages_{"en"};
  int pid_ = -1;
};

}  // namespace tolvana::testing
