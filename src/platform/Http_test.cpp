// Every Http against the translation server: what the engine may rely on whichever client
// carries its requests.
#include <gtest/gtest.h>

#include <future>
#include <random>
#include <set>
#include <thread>

#include "platform/fake/FaultInjectingHttp.h"
#include "platform/posix/CurlHttp.h"
#include "platform/posix/ThreadDispatch.h"
#include "support/Hmac.h"
#include "support/Json.h"
#include "tests/support/ServerFixture.h"

namespace tolvana {
namespace {

using testing::ServerFixture;

// Tags each task of the serial queues it makes with that queue's number, so that a
// completion can tell which queue runs it.
class WatchedDispatch final : public Dispatch {
 public:
  static inline thread_local int runningQueue = 0;

  explicit WatchedDispatch(std::shared_ptr<Dispatch> inner) : inner_(std::move(inner)) {}
  void mainAsync(Task task) override { inner_->mainAsync(std::move(task)); }
  void mainAfter(std::chrono::milliseconds delay, Task task) override { inner_->mainAfter(delay, std::move(task)); }
  void globalAsync(Task task) override { inner_->globalAsync(std::move(task)); }
  bool isMainThread() const override { return inner_->isMainThread(); }
  std::shared_ptr<SerialQueue> makeSerialQueue(std::string label) override {
    return std::make_shared<Queue>(inner_->makeSerialQueue(std::move(label)), ++made_);
  }

 private:
  struct Queue final : SerialQueue {
    Queue(std::shared_ptr<SerialQueue> inner, int number) : inner(std::move(inner)), number(number) {}
    void async(Task task) override {
      inner->async([number = number, task = std::move(task)] {
        runningQueue = number;
        task();
        runningQueue = 0;
      });
    }
    std::shared_ptr<SerialQueue> inner;
    int number;
  };
  std::shared_ptr<Dispatch> inner_;
  std::atomic<int> made_{0};
};

// A harness gives the client under test (http) and the translation server it talks to; a
// client that does not trust the server's certificate, or the reason it cannot have one; and
// a client with no server behind it, with the failure kind that it must report.
struct CurlOverHttps {
  ServerFixture server{{.tls = true}};
  std::shared_ptr<Dispatch> dispatch = std::make_shared<WatchedDispatch>(makeThreadDispatch());
  std::shared_ptr<Http> http = makeCurlHttp(dispatch, {.extraCaFile = server.caFile()});
  std::shared_ptr<Http> untrusting = makeCurlHttp(dispatch);
  static constexpr const char* kNoUntrustingReason = "";
  std::shared_ptr<Http> serverless = http;
  static constexpr auto kServerlessFailure = HttpResponse::Failure::connectionRefused;
};

struct CurlOverHttp {
  ServerFixture server{{.tls = false}};
  std::shared_ptr<Dispatch> dispatch = std::make_shared<WatchedDispatch>(makeThreadDispatch());
  std::shared_ptr<Http> http = makeCurlHttp(dispatch);
  std::shared_ptr<Http> untrusting;
  static constexpr const char* kNoUntrustingReason = "plain HTTP has no certificate to refuse";
  std::shared_ptr<Http> serverless = http;
  static constexpr auto kServerlessFailure = HttpResponse::Failure::connectionRefused;
};

// The fake carries exchanges through an inner client and breaks only those it is told to;
// unbroken, it must keep every promise of the client it wraps.
struct FaultInjector {
  ServerFixture server{{.tls = false}};
  std::shared_ptr<Dispatch> dispatch = std::make_shared<WatchedDispatch>(makeThreadDispatch());
  std::shared_ptr<Http> http = std::make_shared<FaultInjectingHttp>(makeCurlHttp(dispatch), dispatch);
  std::shared_ptr<Http> untrusting;
  static constexpr const char* kNoUntrustingReason =
      "the fault injector has no transport of its own: certificates are its inner client's to check";
  std::shared_ptr<Http> serverless = std::make_shared<FaultInjectingHttp>(nullptr, dispatch);
  static constexpr auto kServerlessFailure = HttpResponse::Failure::other;
};

template <class Harness>
struct HttpContract : ::testing::Test {
  Harness h;

  // An update request the server accepts (signed) or refuses with 401 (unsigned).
  HttpRequest update(std::string body = "{}", bool sign = true) {
    HttpRequest request{.method = "POST", .url = h.server.baseUrl() + "/v4/mobile-apps/sdk/app1"};
    const std::string timestamp = "1700000000";
    request.headers = {{"Content-Type", "application/json"}, {"timestamp", timestamp}};
    if (sign) request.headers.emplace_back("hmac", hmacSha256Hex("s3cr3t-key", timestamp + body + timestamp));
    request.body = std::move(body);
    request.requestTimeout = 20;
    return request;
  }

  // The answer, and the queue it came on; a missing answer fails the test instead of hanging it.
  std::pair<HttpResponse, int> exchange(Http& http, HttpRequest request) {
    auto answer = std::make_shared<std::promise<std::pair<HttpResponse, int>>>();
    auto future = answer->get_future();
    http.send(std::move(request), [answer](HttpResponse response) {
      try {
        answer->set_value({std::move(response), WatchedDispatch::runningQueue});
      } catch (const std::future_error&) {
        ADD_FAILURE() << "a second answer to one request";
      }
    });
    if (future.wait_for(std::chrono::seconds(60)) != std::future_status::ready) {
      ADD_FAILURE() << "no answer within a minute";
      return {HttpResponse{.error = "no answer"}, 0};
    }
    return future.get();
  }
  HttpResponse send(HttpRequest request) { return exchange(*h.http, std::move(request)).first; }
};
using Implementations = ::testing::Types<CurlOverHttps, CurlOverHttp, FaultInjector>;
TYPED_TEST_SUITE(HttpContract, Implementations);

TYPED_TEST(HttpContract, StatusHeadersAndBodyComeAsSentBothWays) {
  struct Case {
    const char* name;
    Value::Dictionary fault;  // empty for none
    bool sign;
    int status;
    std::string bodyPart;
  } const cases[] = {
      {"ok", {}, true, 200, R"("data")"},
      {"unsigned", {}, false, 401, "not signed"},
      {"not-modified", {{"status", 304}}, true, 304, ""},
      {"server-error", {{"status", 500}, {"body", "server down"}}, true, 500, "server down"},
  };
  for (const Case& c : cases) {
    if (!c.fault.empty()) this->h.server.injectFault(c.fault);
    HttpRequest request = this->update("{}", c.sign);
    request.headers.emplace_back("X-Contract-Case", c.name);
    HttpResponse response = this->send(request);
    EXPECT_EQ(response.error, std::nullopt) << c.name;
    EXPECT_EQ(response.failure, HttpResponse::Failure::none) << c.name;
    EXPECT_EQ(response.status, c.status) << c.name;
    EXPECT_NE(response.body.find(c.bodyPart), std::string::npos) << c.name << ": " << response.body;
    if (c.status != 304) {
      EXPECT_TRUE(response.headers.contains("content-type")) << c.name;
    }
  }
  auto recorded = this->h.server.inspect("requests").asArray();
  ASSERT_EQ(recorded.size(), std::size(cases));
  for (std::size_t i = 0; i < recorded.size(); ++i) {
    const Value* header = recorded[i].find("headers")->find("X-Contract-Case");
    EXPECT_EQ(header ? header->asString() : "(none)", cases[i].name);
  }
}

TYPED_TEST(HttpContract, MegabytesArriveWholeBothWays) {
  std::mt19937 random(7);
  std::string text(3 << 20, ' ');
  for (char& c : text) c = static_cast<char>('a' + random() % 26);
  this->h.server.injectFault({{"status", 200}, {"body", text}});
  HttpResponse response = this->send(this->update(json::serialize(Value::Dictionary{{"payload", text}})));
  EXPECT_EQ(response.status, 200);
  EXPECT_TRUE(response.body == text) << response.body.size() << " bytes came of " << text.size();
  auto recorded = this->h.server.inspect("requests").asArray();
  ASSERT_EQ(recorded.size(), 1u);
  auto sent = json::parse(recorded[0].find("body")->asString());
  ASSERT_TRUE(sent.has_value());
  EXPECT_TRUE(sent->find("payload") && sent->find("payload")->asString() == text);
}

TYPED_TEST(HttpContract, CompressedAnswerIsDecodedAndABrokenOneIsAFailure) {
  HttpRequest request = this->update();
  request.headers.emplace_back("Accept-Encoding", "gzip");
  HttpResponse response = this->send(request);
  EXPECT_EQ(response.headers["content-encoding"], "gzip");
  auto answer = json::parse(response.body);
  ASSERT_TRUE(answer.has_value()) << response.body;
  EXPECT_TRUE(answer->find("data"));

  this->h.server.injectFault({{"truncateGzip", true}});
  response = this->send(request);
  EXPECT_TRUE(response.error.has_value());
  EXPECT_EQ(response.status, 0);
  EXPECT_NE(response.failure, HttpResponse::Failure::none);
}

TYPED_TEST(HttpContract, TimeOutsEndInAFailureNotAHang) {
  struct Case {
    const char* mode;  // "silent" never answers; "drip" answers a byte at a time for ever
    double requestTimeout, resourceTimeout;
  } const cases[] = {{"silent", 0.5, 60}, {"drip", 5, 1.5}};
  for (const Case& c : cases) {
    this->h.server.injectFault({{"mode", c.mode}, {"delayMs", 100}});
    HttpRequest request = this->update();
    request.requestTimeout = c.requestTimeout;
    request.resourceTimeout = c.resourceTimeout;
    HttpResponse response = this->send(request);
    EXPECT_EQ(response.failure, HttpResponse::Failure::timedOut) << c.mode << ": " << response.error.value_or("");
    EXPECT_EQ(response.status, 0) << c.mode;
  }
}

TYPED_TEST(HttpContract, UntrustedCertificateIsRefusedBeforeAnythingIsSent) {
  if (!this->h.untrusting) GTEST_SKIP() << TypeParam::kNoUntrustingReason;
  HttpResponse response = this->exchange(*this->h.untrusting, this->update()).first;
  EXPECT_EQ(response.failure, HttpResponse::Failure::certificateNotTrusted) << response.error.value_or("");
  EXPECT_EQ(response.status, 0);
  EXPECT_TRUE(this->h.server.inspect("requests").asArray().empty());
}

// Answers and failures alike come once each, on a session queue of the request's own, never
// on the caller's thread.
TYPED_TEST(HttpContract, EachAnswerComesOnItsOwnSessionQueue) {
  std::vector<std::future<std::pair<HttpResponse, int>>> answers;
  for (int i = 0; i < 4; ++i) {
    answers.push_back(std::async(std::launch::async, [this, i] {
      if (i > 0) return this->exchange(*this->h.http, this->update());
      return this->exchange(*this->h.serverless, HttpRequest{.url = "http://127.0.0.1:1/", .requestTimeout = 20});
    }));
  }
  std::set<int> queues;
  for (int i = 0; i < 4; ++i) {
    auto [response, queue] = answers[i].get();
    EXPECT_NE(queue, 0) << "answer " << i << " came outside any session queue";
    queues.insert(queue);
    if (i == 0) {
      EXPECT_TRUE(response.error.has_value());
      EXPECT_EQ(response.status, 0);
      EXPECT_EQ(response.failure, TypeParam::kServerlessFailure) << response.error.value_or("");
    } else {
      EXPECT_EQ(response.status, 200) << response.error.value_or("");
    }
  }
  EXPECT_EQ(queues.size(), 4u);
}

}  // namespace
}  // namespace tolvana
