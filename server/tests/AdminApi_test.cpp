// The admin API: who gets in, and the loop a team lives in: edit drafts, publish, accept
// what apps reported missing, and the apps' next update brings it.
#include <gtest/gtest.h>

#include "ServerTestSupport.h"
#include "support/Json.h"

namespace tolvana::server {
namespace {

using tolvana::testing::ServerFixture;

TEST(AdminApi, OnlyTheAdminTokenSentFromThisSiteGetsIn) {
  ServerFixture server({.tls = false});
  const std::string token = "Bearer " + server.adminToken();
  auto request = [&](std::string method, std::string path, std::vector<std::pair<std::string, std::string>> headers) {
    return HttpRequest{std::move(method), std::move(path), std::move(headers), method == "GET" ? "" : "{}"};
  };
  const std::pair<std::string, std::string> json{"Content-Type", "application/json"};
  struct Case {
    const char* name;
    HttpRequest request;
    int status;
  } const cases[] = {
      {"no token", request("GET", "/admin/v1/projects", {}), 401},
      {"a wrong token", request("GET", "/admin/v1/projects", {{"Authorization", "Bearer nope"}}), 401},
      {"the app's API secret", request("GET", "/admin/v1/projects", {{"Authorization", "Bearer s3cr3t-key"}}), 401},
      {"a page of another site",
       request("GET", "/admin/v1/projects", {{"Authorization", token}, {"Origin", "http://evil.test"}}), 403},
      {"a cross-site fetch",
       request("GET", "/_test/requests", {{"Authorization", token}, {"Sec-Fetch-Site", "cross-site"}}), 403},
      {"a plain-text post",
       request("POST", "/admin/v1/projects/app1/publish", {{"Authorization", token}, {"Content-Type", "text/plain"}}),
       415},
      {"a form post to the faults",
       request("POST", "/_test/faults", {{"Content-Type", "application/x-www-form-urlencoded"}}), 415},
      {"faults without a token", request("POST", "/_test/faults", {json}), 401},
      {"this site's own page",
       request("POST", "/admin/v1/projects/app1/publish", {{"Authorization", token}, json, {"Origin", server.baseUrl()}}),
       200},
  };
  for (const Case& c : cases) {
    auto answer = server.send(c.request);
    EXPECT_EQ(answer.status, c.status) << c.name << ": " << answer.body;
  }
}

TEST(AdminApi, EditsAndAcceptedStringsReachAppsWhenPublished) {
  ServerFixture server({.tls = false});
  server.request("PATCH", "/admin/v1/projects/app1", R"({"languages":["de","en"]})");
  auto refusal = [&](const std::string& edit) {
    return server.send({"PUT", "/admin/v1/projects/app1/entries",
                        {{"Authorization", "Bearer " + server.adminToken()}, {"Content-Type", "application/json"}},
                        R"({"entries":[)" + edit + "]}"}).status;
  };
  EXPECT_EQ(refusal(R"({"language":"../../etc","group":"main","key":"k","draft":"x"})"), 400);
  EXPECT_EQ(refusal(R"({"language":"de","group":"a/b","key":"k","draft":"x"})"), 400);
  EXPECT_EQ(refusal(R"({"language":"de","group":"main","key":"","draft":"x"})"), 400);
  EXPECT_EQ(refusal(R"({"language":"fr","group":"main","key":"k","draft":"x"})"), 400);  // not a project language
  EXPECT_EQ(refusal(R"({"language":"de","group":"main","key":"k","plural":"several","draft":"x"})"), 400);

  server.request("PUT", "/admin/v1/projects/app1/entries",
                 R"({"entries":[{"language":"de","group":"main","key":"title","draft":"Titel"}]})");
  const std::string asked = R"({"requestedData":{"de":{"main":0}}})";
  auto deutsch = [&](const std::string& body) {
    auto answer = json::parse(server.send(testing::updateRequest(body, false)).body).value_or(Value());
    return json::serialize(*answer.find("data")->find("de"));
  };
  EXPECT_EQ(deutsch(asked), "{}");
  EXPECT_EQ(deutsch(R"({"requestedData":{"de":{"main":0}},"returnDraft":true})"),
            R"({"main":{"entries":{"title":{"d":"Titel"}},"version":0}})");
  auto published = server.request("POST", "/admin/v1/projects/app1/publish", "{}");
  EXPECT_EQ(published, R"({"changed":[{"group":"main","language":"de","version":1}],"version":2})");
  EXPECT_EQ(deutsch(asked), R"({"main":{"entries":{"title":{"v":"Titel"}},"version":1}})");

  // A string an app missed, accepted into the base language and published in one step.
  server.send(testing::updateRequest(R"({"missingEntries":{"de":{"pay.now":"Pay now"}}})", false));
  auto missing = server.inspect("missing").asArray();
  ASSERT_EQ(missing.size(), 1u);
  server.request("POST", "/admin/v1/projects/app1/missing/accept",
                 R"({"keys":[{"language":"de","key":"pay.now"}],"publish":true})");
  auto english = json::parse(server.send(testing::updateRequest(R"({"requestedData":{"en":{"main":0}}})", false)).body);
  EXPECT_EQ(json::serialize(*english->find("data")->find("en")),
            R"({"main":{"entries":{"pay.now":{"v":"Pay now"}},"version":1}})");
  EXPECT_FALSE(server.inspect("missing").asArray()[0].find("acceptedAt")->isNull());
}

}  // namespace
}  // namespace tolvana::server
