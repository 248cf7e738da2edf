// Several server processes on one PostgreSQL database, as behind a load balancer, and a
// database that goes away under load and comes back.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "ServerTestSupport.h"
#include "support/Json.h"

namespace tolvana::server {
namespace {

using tolvana::testing::ServerFixture;

std::string mainOf(const ServerFixture& server) {
  auto answer = server.send(testing::updateRequest(R"({"requestedData":{"de":{"main":0}}})", true));
  auto body = json::parse(answer.body);
  const Value* data = body ? body->find("data") : nullptr;
  return data && data->find("de") ? json::serialize(*data->find("de")) : std::to_string(answer.status) + " " + answer.body;
}

TEST(Postgres, APublicationThroughOneServerIsServedByTheOther) {
  testing::ScratchPostgres postgres;
  ServerFixture first({.tls = false, .database = postgres.url()});
  ServerFixture second({.tls = false, .database = postgres.url(), .createProject = false});
  EXPECT_EQ(mainOf(second).find("Titel"), std::string::npos);  // the second now holds a snapshot of its own
  EXPECT_EQ(mainOf(first).find("Titel"), std::string::npos);
  // Each server answers from memory while it hears of every change; each publication must
  // still reach the other's very next answer.
  for (int round = 1; round <= 10; ++round) {
    ServerFixture& writer = round % 2 ? first : second;
    ServerFixture& reader = round % 2 ? second : first;
    const std::string text = "Titel " + std::to_string(round);
    writer.publish("de", "main", {{"title", text}});
    EXPECT_EQ(mainOf(reader), R"({"main":{"entries":{"title":{"v":")" + text + R"("}},"version":)" +
                                  std::to_string(round) + "}}")
        << round;
  }
}

TEST(Postgres, ADatabaseGoneUnderLoadGives503UntilItIsBack) {
  testing::ScratchPostgres postgres;
  ServerFixture server({.tls = false, .database = postgres.url()});
  server.publish("de", "main", {{"title", "Titel"}});
  std::atomic<bool> loading{true};
  std::atomic<int> answered{0}, unavailable{0}, other{0};
  std::thread load([&] {
    while (loading) {
      int status = server.send(testing::updateRequest(R"({"requestedData":{"de":{"main":0}}})", true)).status;
      ++(status == 200 ? answered : status == 503 ? unavailable : other);
    }
  });
  std::this_thread::sleep_for(std::chrono::milliseconds(200));
  postgres.pause();
  std::this_thread::sleep_for(std::chrono::milliseconds(500));
  postgres.resume();
  int answeredBefore = answered;
  for (int i = 0; i < 200 && answered == answeredBefore; ++i) std::this_thread::sleep_for(std::chrono::milliseconds(50));
  loading = false;
  load.join();
  EXPECT_GT(unavailable, 0);
  EXPECT_GT(answered, answeredBefore) << "no answer after the database came back";
  EXPECT_EQ(other, 0) << "every answer was 200 or 503";
  EXPECT_EQ(mainOf(server), R"({"main":{"entries":{"title":{"v":"Titel"}},"version":1}})");
}

}  // namespace
}  // namespace tolvana::server
