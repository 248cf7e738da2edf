// The reference server's own endpoints for screenshots, screen tags and issues, which the
// review tools will call, and its checks of signatures and time stamps.
#include <gtest/gtest.h>

#include <filesystem>
#include <future>
#include <tuple>

#include "support/Hmac.h"
#include "support/Json.h"
#include "tests/support/ServerFixture.h"

namespace tolvana {
namespace {

using testing::ServerFixture;

HttpResponse send(ServerFixture& server, HttpRequest request) {
  request.url = server.baseUrl() + request.url;
  std::promise<HttpResponse> answer;
  server.http()->send(request, [&](HttpResponse response) { answer.set_value(std::move(response)); });
  return answer.get_future().get();
}

std::vector<std::pair<std::string, std::string>> signedHeaders(const std::string& text, const std::string& timestamp = "1700000000") {
  return {{"timestamp", timestamp}, {"hmac", hmacSha256Hex("s3cr3t-key", timestamp + text + timestamp)}};
}

std::string multipartOf(const std::string& boundary, const std::string& png, const std::string& body,
                        const std::string& filename = "screenshot.png", const std::string& closing = "--\r\n") {
  return "--" + boundary + "\r\nContent-Disposition: form-data; name=\"file\"; filename=\"" + filename +
         "\"\r\nContent-Type: image/png\r\nContent-Length: " + std::to_string(png.size()) + "\r\n\r\n" + png +
         "\r\n--" + boundary + "\r\nContent-Disposition: form-data; name=\"stringBody\"\r\n\r\n" + body +
         "\r\n--" + boundary + closing;
}

TEST(DevServer, ScreenshotUploadIssuesAndTagsAreCheckedByteForByte) {
  ServerFixture server({});
  std::string png = std::string("\x89PNG\r\n\x1a\n", 8) + std::string(300, '\0');
  std::string body = R"({"deviceLanguageLong":"de","deviceModel":"x86_64","height":1334,"operatingSystem":"Linux 6",)"
                     R"("platform":"linux","screenTag":"Home","stringPositions":[],"useOCR":"false","width":750})";
  std::string noOcr = R"({"deviceLanguageLong":"de","deviceModel":"x86_64","height":1334,"operatingSystem":"Linux 6",)"
                      R"("platform":"linux","screenTag":"Home","stringPositions":[],"width":750})";
  std::string boundary = "***1700000001***";
  struct Upload {
    std::string boundary, multipart, body;
    int status;
  } const uploads[] = {
      {"1700000001", multipartOf("1700000001", png, body), body, 400},
      {boundary, multipartOf(boundary, png, body, "shot.png"), body, 400},
      {boundary, multipartOf(boundary, png, body, "screenshot.png", "\r\n"), body, 400},
      {boundary, multipartOf(boundary, png, noOcr), noOcr, 400},
      {boundary, multipartOf(boundary, "GIF89a", body), body, 400},
      {boundary, multipartOf(boundary, png, body), body, 200},
  };
  for (const Upload& u : uploads) {
    HttpRequest upload{"POST", "/v3/mobile-apps/sdk/app1/uploadScreenshot", signedHeaders(u.body), u.multipart};
    upload.headers.emplace_back("Content-Type", "multipart/form-data; boundary=" + u.boundary);
    auto answer = send(server, upload);
    EXPECT_EQ(answer.status, u.status) << answer.body << answer.error.value_or("");
  }
  auto shots = server.inspect("screenshots").asArray();
  ASSERT_EQ(shots.size(), 1u);
  EXPECT_EQ(*shots[0].find("bytes"), Value(static_cast<std::int64_t>(png.size())));
  EXPECT_EQ(std::filesystem::file_size(shots[0].find("file")->asString()), png.size());

  std::string issue = R"({"summary":"Typo","description":"on Home","genuine":"YES","sdkVersion":"2.0.149",)"
                      R"("deviceModel":"x86_64","platform":"linux","operatingSystem":"Linux 6","languageName":"de"})";
  std::string untitled = R"({"description":"on Home"})";
  using Issue = std::tuple<std::string, const char*, int>;
  for (const auto& [body, type, status] :
       {Issue{issue, "text/plain", 400}, Issue{untitled, "application/json", 400}, Issue{issue, "application/json", 200}}) {
    HttpRequest request{"POST", "/v3/mobile-apps/sdk/app1/createJiraIssue", signedHeaders(body), body};
    request.headers.emplace_back("Content-Type", type);
    auto answer = send(server, request);
    EXPECT_EQ(answer.status, status) << type << " " << body;
    if (status == 200) EXPECT_EQ(json::parse(answer.body).value_or(Value()).find("tag")->asString(), "ISSUE-1");
  }

  auto tags = send(server, {"GET", "/v3/mobile-apps/sdk/app1/screenTag?params=%7B%7D", signedHeaders("{}"), ""});
  EXPECT_EQ(json::parse(tags.body), Value(Value::Array{"Home", "Settings"}));
}

TEST(DevServer, RefusesBadSignaturesUnknownAppsAndFixedStampsOnPosts) {
  ServerFixture server({.tls = false});
  std::string body = R"({"requestedData":{}})";
  EXPECT_EQ(send(server, {"POST", "/v4/mobile-apps/sdk/app1", signedHeaders(body), body}).status, 200);
  EXPECT_EQ(send(server, {"POST", "/v4/mobile-apps/sdk/app1", signedHeaders(body, "213374411"), body}).status, 401);
  EXPECT_EQ(send(server, {"POST", "/v4/mobile-apps/sdk/app1", signedHeaders("{}"), body}).status, 401);
  EXPECT_EQ(send(server, {"POST", "/v4/mobile-apps/sdk/other", signedHeaders(body), body}).status, 404);
  HttpRequest cacheable{"GET", "/v4/mobile-apps/sdk/app1?params=%7B%7D", signedHeaders("{}", "213374411"), ""};
  cacheable.headers.emplace_back("Accept-Encoding", "gzip");
  auto answer = send(server, cacheable);
  EXPECT_EQ(answer.status, 200);
  EXPECT_EQ(answer.headers["content-encoding"], "gzip");  // compressed on the wire, decoded by the client
  EXPECT_EQ(json::parse(answer.body).value_or(Value()).find("__v")->asInteger(), 1);
}

TEST(DevServer, MisbehavingServersFailTheRequestInBoundedTime) {
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
    auto answer = send(server, request);
    EXPECT_NE(answer.error.value_or("").find(c.error), std::string::npos) << c.mode << ": " << answer.error.value_or("none");
    EXPECT_EQ(answer.status, 0);
    EXPECT_TRUE(answer.body.empty());
  }
}

}  // namespace
}  // namespace tolvana
