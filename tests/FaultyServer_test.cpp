// The library's client against a server that misbehaves on purpose (the translation
// server's test fixture): every request ends, in bounded time and memory.
#include <gtest/gtest.h>

#include "support/Hmac.h"
#include "tests/support/ServerFixture.h"

namespace tolvana {
namespace {

using testing::ServerFixture;

std::vector<std::pair<std::string, std::string>> signedHeaders(const std::string& text) {
  const std::string timestamp = "1700000000";
  return {{"timestamp", timestamp}, {"hmac", hmacSha256Hex("s3cr3t-key", timestamp + text + timestamp)}};
}

TEST(FaultyServer, MisbehavingServersFailTheRequestInBoundedTime) {
  ServerFixture server({.tls = false, .maxAnswerBytes = 1 << 20});
  std::string body = R"({"requestedData":{}})";
  struct Case {
    const char* mode;
    const char* error;
  } const cases[] = {
      {"endless", "the answer is larger than 1048576 bytes"},
      {"gzipBomb", "the answer is larger than 1048576 bytes"},
      {"silent", "the request timed out"},                     // idle past the request time-out
      {"drip", "Timeout was reached"},                          // never idle, past the resource time-out
      {"reset", "Transferred a partial file"},
      {"shortBody", "Transferred a partial file"},
  };
  for (const Case& c : cases) {
    server.injectFault({{"mode", c.mode}, {"delayMs", 50}});  // drip: a byte every 50 ms
    HttpRequest request{"POST", "/v4/mobile-apps/sdk/app1", signedHeaders(body), body};
    request.headers.emplace_back("Accept-Encoding", "gzip");
    request.requestTimeout = 0.5;
    request.resourceTimeout = 3;  // well past the idle limit, which curl checks about once a second
    auto answer = server.send(request);
    EXPECT_NE(answer.error.value_or("").find(c.error), std::string::npos) << c.mode << ": " << answer.error.value_or("none");
    EXPECT_EQ(answer.status, 0);
    EXPECT_TRUE(answer.body.empty());
  }
}

}  // namespace
}  // namespace tolvana
