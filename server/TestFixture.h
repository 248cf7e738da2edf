// TestFixture: what the tests of the library need from the server and a real deployment must
// not offer, behind the --test-fixture option (off unless given): faults played on request,
// so that tests meet a misbehaving server (an error status, a slow or cut answer, a
// connection that misbehaves), and a record of every update request as it arrived. Its
// endpoints are admin requests, with the admin token:
//
//   POST /_test/faults    {"count": 1, "status": 500, "body": "...", "delayMs": 0,
//                          "truncateGzip": false, "mode": "reset"|"shortBody"|"silent"|"drip"|
//                          "endless"|"gzipBomb"}: the next count update requests meet the
//                          fault; {} clears it
//   GET  /_test/requests  every update request so far: method, path, target, headers, body,
//                          the status it got
#pragma once

#include <httplib.h>

#include <atomic>
#include <mutex>
#include <optional>
#include <string>

#include "api/UpdateEndpoint.h"
#include "tolvana/Value.h"

namespace tolvana::server {

class TestFixture final : public UpdateObserver {
 public:
  void addRoutes(httplib::Server& server);
  // Answers in the update's place while a fault is armed; true then.
  bool answerInstead(httplib::Response& response) override;
  // Keeps an update request and its answer's status.
  void answered(const httplib::Request& request, const httplib::Response& response) override;
  // Lets every connection fault that holds a request thread go.
  void stop() { stopping_ = true; }

  struct Fault {
    int count = 0;
    int status = 0;
    std::optional<std::string> body{};
    int delayMs = 0;
    bool truncateGzip = false;
    std::string mode{};  // a misbehaving connection instead of an answer
  };

 private:
  std::mutex mutex_{};
  Fault armed_{};                  // guarded by mutex_
  Value::Array requests_{};        // guarded by mutex_
  std::atomic<bool> stopping_{false};
};

}  // namespace tolvana::server
