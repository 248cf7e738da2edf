// Screen tags, screenshot uploads and issues: checked byte for byte as the library sends
// them, numbered by the database however many arrive at once, refused before their bodies
// are read, and never in the way of answers.
#include <gtest/gtest.h>
#include <sys/socket.h>

#include <future>
#include <set>
#include <thread>

#include "ServerTestSupport.h"
#include "support/Json.h"

namespace tolvana::server {
namespace {

using tolvana::testing::ServerFixture;

HttpRequest withBody(HttpRequest request, std::string multipart) {
  request.body = std::move(multipart);
  return request;
}

TEST(ReviewEndpoints, UploadsIssuesAndTagsAreCheckedByteForByte) {
  ServerFixture server({.tls = false});
  const std::string png = testing::pngOf(300);
  const std::string body = testing::screenshotJson("Home");
  const std::string noOcr = R"({"deviceLanguageLong":"de","deviceModel":"x86_64","height":1334,"operatingSystem":"L",)"
                            R"("platform":"linux","screenTag":"Home","stringPositions":[],"width":750})";
  HttpRequest upload = testing::screenshotUpload(png, body);
  const std::string boundary = upload.headers.back().second.substr(30);
  auto spoilt = [&](std::string multipart) { return withBody(upload, std::move(multipart)); };
  HttpRequest wrongBoundary = upload;
  wrongBoundary.headers.back().second = "multipart/form-data; boundary=1700000001";
  struct Case {
    const char* name;
    HttpRequest request;
    int status;
  } const cases[] = {
      {"boundary without asterisks", wrongBoundary, 400},
      {"no closing boundary", spoilt(upload.body.substr(0, upload.body.size() - 4) + "\r\n"), 400},
      {"no useOCR", testing::screenshotUpload(png, noOcr), 400},
      {"no PNG", testing::screenshotUpload("GIF89a", body), 400},
      {"image length of 40 digits", spoilt(testing::multipartOf(boundary, png, body, std::string(40, '9'))), 400},
      {"image longer than stated", spoilt(testing::multipartOf(boundary, png, body, "299")), 400},
      {"empty tag", testing::screenshotUpload(png, testing::screenshotJson("")), 400},
      {"whole", upload, 200},
  };
  for (const Case& c : cases) {
    auto answer = server.send(c.request);
    EXPECT_EQ(answer.status, c.status) << c.name << ": " << answer.body;
  }
  auto shots = server.inspect("screenshots").asArray();
  ASSERT_EQ(shots.size(), 1u);
  EXPECT_EQ(server.request("GET", shots[0].find("image")->asString()), png);

  std::string issue = R"({"summary":"Typo","description":"on Home","genuine":"YES","sdkVersion":"2.0.149",)"
                      R"("deviceModel":"x86_64","platform":"linux","operatingSystem":"Linux 6","languageName":"de"})";
  std::string untitled = R"({"description":"on Home"})";
  using Issue = std::tuple<std::string, const char*, int>;
  for (const auto& [text, type, status] :
       {Issue{issue, "text/plain", 400}, Issue{untitled, "application/json", 400}, Issue{issue, "application/json", 200}}) {
    HttpRequest request{"POST", "/v3/mobile-apps/sdk/app1/createJiraIssue", testing::signedHeaders(text), text};
    request.headers.emplace_back("Content-Type", type);
    auto answer = server.send(request);
    EXPECT_EQ(answer.status, status) << type << " " << text;
    if (status == 200) {
      EXPECT_EQ(json::parse(answer.body).value_or(Value()).find("tag")->asString(), "ISSUE-1");
    }
  }
  auto tags = server.send({"GET", "/v3/mobile-apps/sdk/app1/screenTag?params=%7B%7D", testing::signedHeaders("{}"), ""});
  EXPECT_EQ(json::parse(tags.body), Value(Value::Array{"Home", "Settings"}));
}

TEST(ReviewEndpoints, ConcurrentUploadsEachKeepTheirImage) {
  constexpr int kUploads = 16;
  ServerFixture server({.tls = false, .extraArguments = {"--max-uploads", "16"}});
  std::vector<std::future<int>> statuses;
  for (int i = 0; i < kUploads; ++i) {
    statuses.push_back(std::async(std::launch::async, [&server, i] {
      return server.send(testing::screenshotUpload(testing::pngOf(2000 + i, static_cast<char>('a' + i)),
                                                   testing::screenshotJson("Home"))).status;
    }));
  }
  for (auto& status : statuses) EXPECT_EQ(status.get(), 200);
  auto shots = server.inspect("screenshots").asArray();
  ASSERT_EQ(shots.size(), std::size_t{kUploads});
  std::set<std::string> images;
  for (const Value& shot : shots) images.insert(server.request("GET", shot.find("image")->asString()));
  EXPECT_EQ(images.size(), std::size_t{kUploads});
  EXPECT_EQ(images.count(testing::pngOf(2005, 'f')), 1u);
}

TEST(ReviewEndpoints, BodiesAreRefusedBeforeTheyAreRead) {
  ServerFixture server({.tls = false});
  auto head = [](std::string path, std::string headers) {
    return "POST " + path + " HTTP/1.1\r\nHost: 127.0.0.1\r\n" + headers + "\r\n";
  };
  const std::string huge = "Content-Length: 1572864000\r\nContent-Type: multipart/form-data; boundary=***1***\r\n";
  struct Case {
    const char* name;
    std::string request;
    const char* statusLine;
  } const cases[] = {
      {"unknown project", head("/v3/mobile-apps/sdk/other/uploadScreenshot", huge), "HTTP/1.1 404"},
      {"too large", head("/v3/mobile-apps/sdk/app1/uploadScreenshot", huge), "HTTP/1.1 413"},
      {"too large an update", head("/v4/mobile-apps/sdk/app1", "Content-Length: 8000000\r\n"), "HTTP/1.1 413"},
      {"chunked", head("/v4/mobile-apps/sdk/app1", "Transfer-Encoding: chunked\r\n"), "HTTP/1.1 411"},
      {"no length", head("/v3/mobile-apps/sdk/app1/createJiraIssue", ""), "HTTP/1.1 411"},
      {"length past 64 bits", head("/v4/mobile-apps/sdk/app1", "Content-Length: 99999999999999999999999\r\n"),
       "HTTP/1.1 400"},
      {"admin without a token", head("/admin/v1/projects", "Content-Length: 1000000\r\n"), "HTTP/1.1 4"},
  };
  for (const Case& c : cases) {
    // Only the head is sent: an answer proves the server did not wait for the body.
    std::string answer = testing::rawExchange(server.baseUrl(), c.request);
    EXPECT_TRUE(answer.starts_with(c.statusLine)) << c.name << ": " << answer.substr(0, 80);
    EXPECT_NE(answer.find("Connection: close"), std::string::npos) << c.name;
  }
}

// A connection that sent the head of an upload and part of its body, and then waits.
struct SlowUpload {
  explicit SlowUpload(const std::string& baseUrl) {
    std::string json = testing::screenshotJson("Home");
    HttpRequest upload = testing::screenshotUpload(testing::pngOf(100000), json);
    std::string head = "POST /v3/mobile-apps/sdk/app1/uploadScreenshot HTTP/1.1\r\nHost: x\r\nContent-Length: " +
                       std::to_string(upload.body.size()) + "\r\n";
    for (const auto& [name, value] : upload.headers) head += name + ": " + value + "\r\n";
    answered = std::async(std::launch::async, [baseUrl, request = head + "\r\n" + upload.body.substr(0, 1000)] {
      return testing::rawExchange(baseUrl, request, 1500);
    });
  }
  std::future<std::string> answered;
};

TEST(ReviewEndpoints, UploadsNeverHoldUpAnswers) {
  ServerFixture server({.tls = false, .extraArguments = {"--threads", "6", "--max-uploads", "2"}});
  std::vector<SlowUpload> uploads;
  for (int i = 0; i < 4; ++i) uploads.emplace_back(server.baseUrl());
  std::this_thread::sleep_for(std::chrono::milliseconds(300));
  auto started = std::chrono::steady_clock::now();
  for (int i = 0; i < 5; ++i) {
    EXPECT_EQ(server.send(testing::updateRequest(R"({"requestedData":{}})", true)).status, 200);
  }
  EXPECT_LT(std::chrono::steady_clock::now() - started, std::chrono::seconds(1));
  int turnedAway = 0;
  for (auto& upload : uploads) turnedAway += upload.answered.get().starts_with("HTTP/1.1 503");
  EXPECT_EQ(turnedAway, 2);
}

TEST(ReviewEndpoints, AFullDiskRefusesUploadsWhileAnswersGoOn) {
  ServerFixture server({.tls = false, .fileSizeLimit = 3u << 20});
  auto upload = server.send(testing::screenshotUpload(testing::pngOf(4u << 20), testing::screenshotJson("Home")));
  EXPECT_EQ(upload.status, 507) << upload.body;
  EXPECT_EQ(server.send(testing::updateRequest(R"({"requestedData":{}})", true)).status, 200);
  EXPECT_EQ(server.send(testing::screenshotUpload(testing::pngOf(1000), testing::screenshotJson("Home"))).status, 200);
}

}  // namespace
}  // namespace tolvana::server
