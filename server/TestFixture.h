// Faults the reference server plays on request, so that tests meet a misbehaving server: an
// error status, a slow or cut answer, or a connection that misbehaves (see answerWithFault).
#pragma once

#include <httplib.h>

#include <atomic>
#include <optional>
#include <string>

#include "tolvana/Value.h"

namespace tolvana::devserver {

struct Fault {
  int count = 0;
  int status = 0;
  std::optional<std::string> body;
  int delayMs = 0;
  bool truncateGzip = false;
  // A connection-level misbehaviour instead of an answer: "reset", "shortBody", "silent",
  // "drip", "endless", "gzipBomb" (see streamFault).
  std::string mode;

  // From the body of a POST to /_devserver/faults; "count" defaults to 1.
  static Fault fromJson(const Value& body);
};

// Answers in the armed fault's place; a connection fault gives up once stopping is set.
bool answerWithFault(const Fault& armed, httplib::Response& response, const std::atomic<bool>& stopping);

// The data as one gzip stream.
std::string gzipped(const std::string& data);

}  // namespace tolvana::devserver
