// Several server processes on one PostgreSQL database, as behind a load balancer, and a
// database that goes away under load and comes back.
#include <gtest/gtest.h>

#include <atomic>
#include <map>
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
  first.publish("de", "main", {{"title", "Titel"}});
  EXPECT_EQ(mainOf(second), R"({"main":{"entries":{"title":{"v":"Titel"}},"version":1}})");
  second.publish("de", "main", {{"title", "Neuer Titel"}});
  EXPECT_EQ(mainOf(first), R"({"main":{"entries":{"title":{"v":"Neuer Titel"}},"version":2}})");
}

TEST(Postgres, ADatabaseGoneUnderLoadGives503UntilItIsBack) {
  testing::ScratchPostgres postgres;
  ServerFixture server({.tls = false, .database = postgres.url()});
  server.publish("de", "main", {{"title", "Titel"}});
  std::atomic<bool> loading{true};
  std::atomic<int> recovered{0};
  std::map<int, int> statuses;  // status → count, while the database was down or coming back
  std::thread load([&] {
    while (loading) {
      int status = server.send(testing::updateRequest(R"({"requestedData":{"de":{"main":0}}})", true)).status;
      ++statuses[status];
      if (recovered) ++recovered;
    }
  });
  std::this_thread::sleep_for(std::chrono::milliseconds(200));
  postgres.pause();
  std::this_thread::sleep_for(std::chrono::milliseconds(500));
  postgres.resume();
  recovered = 1;
  for (int i = 0; i < 100 && statuses[200] == 0; ++i) std::this_thread::sleep_for(std::chrono::milliseconds(50));
  std::this_thread::sleep_for(std::chrono::milliseconds(300));
  loading = false;
  load.join();
  EXPECT_GT(statuses[503], 0);
  EXPECT_GT(statuses[200], 0);
  EXPECT_EQ(statuses[200] + statuses[503], [&] {
    int all = 0;
    for (auto [status, count] : statuses) all += count;
    return all;
  }()) << "every answer was 200 or 503";
  EXPECT_EQ(mainOf(server), R"({"main":{"entries":{"title":{"v":"Titel"}},"version":1}})");
}

}  // namespace
}  // namespace tolvana::server
