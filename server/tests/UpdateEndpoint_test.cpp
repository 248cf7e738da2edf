// The update endpoint as apps meet it: what an answer holds for the versions asked, the
// headers that let a cache stand in front, and requests refused before anything is kept.
#include <gtest/gtest.h>

#include <chrono>
#include <future>

#include "ServerTestSupport.h"
#include "support/Json.h"

namespace tolvana::server {
namespace {

using tolvana::testing::ServerFixture;

std::string dataOf(const HttpResponse& answer) {
  auto body = json::parse(answer.body);
  const Value* data = body ? body->find("data") : nullptr;
  return data ? json::serialize(*data) : "(no data) " + answer.body;
}

TEST(UpdateEndpoint, AnswersHoldEveryLanguageAndWhatIsNewerThanAsked) {
  ServerFixture server({.tls = false});
  server.publish("de", "main", {{"a", "A"}});
  server.publish("de", "main", {{"a", "A2"}, {"items[one]", "1 Ding"}});  // version 2
  server.publish("fr", "extra", {{"x", "X"}});
  server.request("PUT", "/admin/v1/projects/app1/entries",
                 R"({"entries":[{"language":"en","group":"main","key":"hello","draft":"Hello draft"}]})");
  struct Case {
    const char* request;
    bool cacheable;
    const char* data;
  } const cases[] = {
      {R"({"requestedData":{"de":{"main":1}}})", true,
       R"({"de":{"main":{"entries":{"a":{"v":"A2"},"items[one]":{"v":"1 Ding"}},"version":2}},"en":{},"fr":{}})"},
      {R"({"requestedData":{"de":{"main":2},"it":{"main":-1}}})", true, R"({"de":{},"en":{},"fr":{}})"},
      {R"({"requestedData":{"en":{"main":0},"fr":{"extra":-1,"none":-1}}})", false,
       R"({"de":{},"en":{},"fr":{"extra":{"entries":{"x":{"v":"X"}},"version":1}}})"},
      // In draft mode every group asked for comes, drafts beside the values.
      {R"({"requestedData":{"en":{"main":0},"de":{"main":2}},"returnDraft":true})", false,
       R"({"de":{"main":{"entries":{"a":{"v":"A2"},"items[one]":{"v":"1 Ding"}},"version":2}},)"
       R"("en":{"main":{"entries":{"hello":{"d":"Hello draft"}},"version":0}},"fr":{}})"},
  };
  for (const Case& c : cases) {
    auto answer = server.send(testing::updateRequest(c.request, c.cacheable));
    EXPECT_EQ(answer.status, 200) << c.request << " " << answer.body;
    EXPECT_EQ(dataOf(answer), c.data) << c.request;
    EXPECT_EQ(answer.headers["cache-control"], c.cacheable ? "public, max-age=0" : "no-store") << c.request;
  }

  // A cache in front asks again with the entity tag: 304 while nothing changed, the new
  // answer after a publication.
  HttpRequest cacheable = testing::updateRequest(R"({"requestedData":{"de":{"main":1}}})", true);
  cacheable.headers.emplace_back("Accept-Encoding", "gzip");
  auto first = server.send(cacheable);
  EXPECT_EQ(first.headers["content-encoding"], "gzip");  // compressed on the wire, decoded by the client
  cacheable.headers.emplace_back("If-None-Match", first.headers["etag"]);
  EXPECT_EQ(server.send(cacheable).status, 304);
  server.publish("de", "main", {{"a", "A3"}});
  auto changed = server.send(cacheable);
  EXPECT_EQ(changed.status, 200);
  EXPECT_NE(changed.headers["etag"], first.headers["etag"]);
  EXPECT_NE(changed.body.find("A3"), std::string::npos);
}

TEST(UpdateEndpoint, RefusedRequestsSayWhyAndLeaveNothingBehind) {
  ServerFixture server({.tls = false, .maxClockSkewSeconds = 600});
  const std::string body = R"({"requestedData":{"de":{"main":-1}},"missingEntries":{"en":{"new.key":"New"}},"did":"d1"})";
  auto signedWith = [&](std::string text, std::string timestamp) {
    HttpRequest request{"POST", "/v4/mobile-apps/sdk/app1", testing::signedHeaders(text, timestamp), text};
    return request;
  };
  HttpRequest unsigned_{"POST", "/v4/mobile-apps/sdk/app1", {}, body};
  HttpRequest forged = signedWith(body, testing::nowStamp());
  forged.headers[1].second[0] = forged.headers[1].second[0] == 'a' ? 'b' : 'a';
  struct Case {
    const char* name;
    HttpRequest request;
    int status;
    const char* reason;
  } const cases[] = {
      {"unsigned", unsigned_, 401, "not signed"},
      {"forged", forged, 401, "does not match"},
      {"fixed stamp on a full request", signedWith(body, "213374411"), 401, "fixed time stamp"},
      {"replayed from 2001", signedWith(body, "1000000000"), 401, "away from the server's clock"},
      {"stamp past 64 bits", signedWith(body, "99999999999999999999999"), 401, "no number"},
      {"unknown project", testing::updateRequest(body, false, "other"), 404, "no project other"},
      {"no JSON", signedWith("{\"requestedData\":", testing::nowStamp()), 400, "no JSON object"},
      {"a path for a language", signedWith(R"({"requestedData":{"../x":{"main":1}}})", testing::nowStamp()), 400,
       "no language code"},
      {"groups that are no object", signedWith(R"({"requestedData":{"de":[1]}})", testing::nowStamp()), 400,
       "is no object"},
  };
  for (const Case& c : cases) {
    auto answer = server.send(c.request);
    EXPECT_EQ(answer.status, c.status) << c.name;
    EXPECT_NE(answer.body.find(c.reason), std::string::npos) << c.name << ": " << answer.body;
  }
  EXPECT_TRUE(server.inspect("missing").asArray().empty());
  EXPECT_TRUE(server.inspect("devices").asArray().empty());
  EXPECT_EQ(server.send(signedWith(body, testing::nowStamp())).status, 200);
  EXPECT_EQ(server.inspect("missing").asArray().size(), 1u);
  EXPECT_EQ(server.inspect("devices").asArray().size(), 1u);
}

// Every request of the library comes on a connection of its own, so devices that start
// together arrive as a burst of connections; none may wait for the kernel to retry it.
TEST(UpdateEndpoint, ABurstOfConnectionsIsTakenAtOnce) {
#if defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "under ThreadSanitizer 300 client threads and the server's take seconds, which is what this measures";
#endif
  ServerFixture server({.tls = false});
  HttpRequest update = testing::updateRequest(R"({"requestedData":{}})", true);
  std::string raw = "GET " + update.url + " HTTP/1.1\r\nHost: 127.0.0.1\r\nConnection: close\r\n";
  for (const auto& [name, value] : update.headers) raw += name + ": " + value + "\r\n";
  raw += "\r\n";
  auto started = std::chrono::steady_clock::now();
  std::vector<std::future<std::string>> answers;
  for (int i = 0; i < 300; ++i) {
    answers.push_back(std::async(std::launch::async, [&] { return testing::rawExchange(server.baseUrl(), raw); }));
  }
  int answered = 0;
  for (auto& answer : answers) answered += answer.get().starts_with("HTTP/1.1 200");
  EXPECT_EQ(answered, 300);
  // A connection the kernel dropped is tried again a second later.
  EXPECT_LT(std::chrono::steady_clock::now() - started, std::chrono::milliseconds(900));
}

}  // namespace
}  // namespace tolvana::server
