#include "support/HostCallback.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <thread>

namespace tolvana {
namespace {

using namespace std::chrono_literals;

// A C host frees its callback's data once it has replaced the callback: the replacement must
// wait for a call still running on another thread.
TEST(HostCallback, ReplacingWaitsForTheCallsOfTheOldOne) {
  HostCallback<int> callback;
  std::promise<void> entered, release;
  std::atomic<bool> finished{false};
  callback.set([&, gate = release.get_future().share()](int) {
    entered.set_value();
    gate.wait();
    finished = true;
  });
  std::thread caller([&] { EXPECT_TRUE(callback.call(1)); });
  entered.get_future().wait();
  auto replaced = std::async(std::launch::async, [&] {
    callback.set(nullptr);
    return finished.load();
  });
  EXPECT_EQ(replaced.wait_for(50ms), std::future_status::timeout);
  release.set_value();
  EXPECT_TRUE(replaced.get()) << "set() returned while the old callback still ran";
  caller.join();
  EXPECT_FALSE(callback.call(2));
}

// A host callback that calls the library, which calls back in: refused on that thread, and a
// replacement from inside neither waits for itself nor stops the running call.
TEST(HostCallback, InsideItselfCallsAreRefusedAndReplacingDoesNotWait) {
  HostCallback<int> callback;
  std::vector<int> seen;
  callback.set([&](int depth) {
    seen.push_back(depth);
    EXPECT_FALSE(callback.call(depth + 1));
    callback.set([&](int later) { seen.push_back(later * 10); });
  });
  EXPECT_TRUE(callback.call(1));
  EXPECT_TRUE(callback.call(2));
  EXPECT_EQ(seen, (std::vector<int>{1, 20}));
}

}  // namespace
}  // namespace tolvana
