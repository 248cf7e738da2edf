#include "api/LiveChanges.h"

#include <gtest/gtest.h>

#include <future>
#include <thread>

namespace tolvana::server {
namespace {

using namespace std::chrono_literals;
using Change = LiveChanges::Change;

TEST(LiveChanges, AWaiterHearsItsProjectsChangesOnlyAndOnce) {
  LiveChanges live(4);
  std::string cursor = live.wait("app", "", 0ms)->cursor;
  live.note("app", {{"de", "main"}, {"de", "main"}, {"fr", "web"}});
  live.note("other", {{"de", "other"}});
  auto heard = live.wait("app", cursor, 0ms);
  ASSERT_TRUE(heard);
  EXPECT_EQ(heard->changes, (std::vector<Change>{{"de", "main"}, {"fr", "web"}}));
  EXPECT_FALSE(heard->resync);
  // From the new cursor nothing is left; the other project's change woke no one here.
  auto again = live.wait("app", heard->cursor, 20ms);
  ASSERT_TRUE(again);
  EXPECT_TRUE(again->changes.empty());

  auto waiting = std::async(std::launch::async, [&] { return live.wait("app", again->cursor, 10s); });
  std::this_thread::sleep_for(50ms);
  live.note("other", {{"de", "x"}});
  live.note("app", {{"de", "late"}});
  ASSERT_EQ(waiting.wait_for(5s), std::future_status::ready);
  EXPECT_EQ(waiting.get()->changes, (std::vector<Change>{{"de", "late"}}));
}

TEST(LiveChanges, ForeignCursorsResyncAndListenersAreBoundedAndReleasedOnClose) {
  LiveChanges live(1);
  for (const char* cursor : {"0123.5", "garbage", "."}) {
    auto heard = live.wait("app", cursor, 10s);
    ASSERT_TRUE(heard) << cursor;
    EXPECT_TRUE(heard->resync) << cursor;
  }
  std::string cursor = live.wait("app", "", 0ms)->cursor;
  auto held = std::async(std::launch::async, [&] { return live.wait("app", cursor, 60s); });
  std::this_thread::sleep_for(50ms);
  EXPECT_FALSE(live.wait("app", cursor, 60s)) << "a second listener over the bound";
  live.close();
  ASSERT_EQ(held.wait_for(5s), std::future_status::ready) << "close() ends a held wait";
  EXPECT_TRUE(held.get()->changes.empty());
}

}  // namespace
}  // namespace tolvana::server
