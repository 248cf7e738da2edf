// The live-preview request against the server process: who gets an answer, that an edit ends
// a held request with the names it touched, and that the server's stop does not wait for one.
#include <gtest/gtest.h>

#include <chrono>
#include <future>

#include "ServerTestSupport.h"
#include "support/Json.h"
#include "support/StringUtil.h"

namespace tolvana::server {
namespace {

using tolvana::testing::ServerFixture;
using namespace testing;

HttpRequest liveRequest(const std::string& params, const std::string& project = "app1") {
  return HttpRequest{"GET", "/v4/mobile-apps/sdk/" + project + "/changes?params=" + percentEncodedForQuery(params),
                     signedHeaders(params), ""};
}

std::future<HttpResponse> sendLater(const ServerFixture& server, HttpRequest request) {
  request.url = server.baseUrl() + request.url;
  auto answer = std::make_shared<std::promise<HttpResponse>>();
  server.http()->send(std::move(request), [answer](HttpResponse response) { answer->set_value(std::move(response)); });
  return answer->get_future();
}

TEST(LiveEndpoint, RefusesWhatIsNotAPreviewingAppsRequest) {
  ServerFixture server{{}};
  HttpRequest unsigned_ = liveRequest("{}");
  unsigned_.headers.clear();
  HttpRequest otherText = liveRequest("{}");
  otherText.url += "%20";
  const struct {
    const char* name;
    HttpRequest request;
    int status;
  } cases[] = {
      {"unsigned", unsigned_, 401},
      {"signed for another text", otherText, 401},
      {"cursor no text", liveRequest(R"({"cursor":5})"), 400},
      {"cursor too long", liveRequest(R"({"cursor":")" + std::string(65, 'a') + "\"}"), 400},
      {"no such project", liveRequest("{}", "nobody"), 404},
      {"first request", liveRequest("{}"), 200},
  };
  for (const auto& c : cases) EXPECT_EQ(server.send(c.request).status, c.status) << c.name;
  server.request("PATCH", "/admin/v1/projects/app1", R"({"draftModeEnabled":false})");
  EXPECT_EQ(server.send(liveRequest("{}")).status, 403) << "draft mode off";
}

TEST(LiveEndpoint, AnEditEndsAHeldRequestAndTheServersStopEndsTheNext) {
  ServerFixture server{{}};
  server.publish("de", "main", {{"hello", "Hallo"}});
  auto first = json::parse(server.send(liveRequest("{}")).body);
  ASSERT_TRUE(first && first->find("cursor"));
  const std::string params = json::serialize(Value::Dictionary{{"cursor", *first->find("cursor")}});
  auto held = sendLater(server, liveRequest(params));
  ASSERT_EQ(held.wait_for(std::chrono::milliseconds(300)), std::future_status::timeout) << "answered without a change";
  server.request("PUT", "/admin/v1/projects/app1/entries",
                 R"({"entries":[{"language":"de","group":"main","key":"hello","draft":"Hallo!"}]})");
  ASSERT_EQ(held.wait_for(std::chrono::seconds(5)), std::future_status::ready);
  HttpResponse answer = held.get();
  EXPECT_EQ(answer.status, 200);
  auto notice = json::parse(answer.body);
  ASSERT_TRUE(notice);
  EXPECT_EQ(json::serialize(*notice->find("changes")), R"([{"group":"main","language":"de"}])");

  auto next = sendLater(server, liveRequest(json::serialize(Value::Dictionary{{"cursor", *notice->find("cursor")}})));
  ASSERT_EQ(next.wait_for(std::chrono::milliseconds(300)), std::future_status::timeout);
  auto stopping = std::chrono::steady_clock::now();
  server.stop();
  EXPECT_LT(std::chrono::steady_clock::now() - stopping, std::chrono::seconds(5)) << "the stop waited for the hold";
  EXPECT_EQ(next.wait_for(std::chrono::seconds(5)), std::future_status::ready);
}

}  // namespace
}  // namespace tolvana::server
