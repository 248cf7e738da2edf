#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <future>
#include <stdexcept>
#include <thread>

#include "platform/fake/ManualDispatch.h"
#include "platform/fake/SimulatedClock.h"
#include "platform/posix/SystemClock.h"
#include "platform/posix/ThreadDispatch.h"
#include "tests/support/LogCapture.h"
#include "tests/support/TestPlatform.h"

namespace tolvana {
namespace {

using namespace std::chrono_literals;

struct ThreadHarness {
  static constexpr bool kManual = false;
  std::shared_ptr<Clock> clock = makeSystemClock();
  std::shared_ptr<Dispatch> dispatch = makeThreadDispatch();
  void advance(std::chrono::milliseconds) {}  // real time passes by itself
  // No deadline of its own, so a slow machine never fails a test: a hang is for the test
  // runner's time-out to report.
  bool waitFor(const std::function<bool()>& done) {
    while (!done()) std::this_thread::sleep_for(1ms);
    return true;
  }
};

struct ManualHarness {
  static constexpr bool kManual = true;
  std::shared_ptr<SimulatedClock> clock = std::make_shared<SimulatedClock>();
  std::shared_ptr<ManualDispatch> manual = std::make_shared<ManualDispatch>(clock);
  std::shared_ptr<Dispatch> dispatch = manual;
  void advance(std::chrono::milliseconds by) { clock->advance(by); }
  bool waitFor(const std::function<bool()>& done) { return manual->runUntil(done); }
};

// The host's own loop as the main queue: the test's thread drains it.
struct HostDrivenHarness {
  static constexpr bool kManual = false;
  std::shared_ptr<Clock> clock = makeSystemClock();
  std::shared_ptr<Dispatch> dispatch = makeThreadDispatch({.hostDrivesMainQueue = true, .mainQueueWakeup = {}});
  void advance(std::chrono::milliseconds) {}
  bool waitFor(const std::function<bool()>& done) {
    while (!done()) {
      drainHostMainQueue(*dispatch);
      std::this_thread::sleep_for(1ms);
    }
    return true;
  }
};

template <class Harness>
struct DispatchContract : ::testing::Test {
  testing::LogCapture recorder;  // outlives the dispatch, whose threads may still hold tasks
  Harness h;
};
using Implementations = ::testing::Types<ThreadHarness, ManualHarness, HostDrivenHarness>;
TYPED_TEST_SUITE(DispatchContract, Implementations);

TYPED_TEST(DispatchContract, MainQueueRunsInOrderOnTheMainThreadOnly) {
  auto& d = *this->h.dispatch;
  std::vector<std::string> expected;
  for (int i = 0; i < 50; ++i) {
    d.mainAsync([&, i] { this->recorder.writeLine(std::to_string(i) + (d.isMainThread() ? "" : " off main")); });
    expected.push_back(std::to_string(i));
  }
  std::atomic<int> offMain{0};
  d.globalAsync([&] { offMain += !d.isMainThread(); });
  d.makeSerialQueue("contract")->async([&] { offMain += !d.isMainThread(); });
  ASSERT_TRUE(this->h.waitFor([&] { return this->recorder.lines().size() == 50 && offMain == 2; }));
  EXPECT_EQ(this->recorder.lines(), expected);
}

TYPED_TEST(DispatchContract, DelayedTasksRunByDueTimeAndNeverEarly) {
  auto& clock = *this->h.clock;
  auto start = clock.monotonicNow();
  auto task = [&](const char* name, std::chrono::milliseconds delay) {
    return [&, name, delay] { this->recorder.writeLine(clock.monotonicNow() - start >= delay ? name : "early"); };
  };
  this->h.dispatch->mainAfter(60ms, task("60", 60ms));
  this->h.dispatch->mainAfter(20ms, task("20a", 20ms));
  this->h.dispatch->mainAfter(20ms, task("20b", 20ms));
  this->h.dispatch->mainAsync(task("now", 0ms));
  if constexpr (TypeParam::kManual) {
    this->h.manual->drain();
    EXPECT_EQ(this->recorder.lines(), std::vector<std::string>{"now"});
    EXPECT_EQ(this->h.manual->pendingCount(), 3u);
  }
  this->h.advance(60ms);
  ASSERT_TRUE(this->h.waitFor([&] { return this->recorder.lines().size() == 4; }));
  EXPECT_EQ(this->recorder.lines(), (std::vector<std::string>{"now", "20a", "20b", "60"}));
}

// Tasks hold the queue itself and the test drops its reference while they are pending: the
// queue must run them all, in order, and then go away without touching freed memory.
TYPED_TEST(DispatchContract, SerialQueueKeepsOrderAfterItsLastHandleIsDropped) {
  auto queue = this->h.dispatch->makeSerialQueue("serial-contract");
  std::weak_ptr<SerialQueue> watch = queue;
  std::vector<std::string> expected;
  for (int i = 0; i < 100; ++i) {
    queue->async([this, queue, i] {
      this->recorder.writeLine(std::to_string(i));
      if (i == 99) queue->async([this] { this->recorder.writeLine("queued by a task"); });
    });
    expected.push_back(std::to_string(i));
  }
  expected.push_back("queued by a task");
  queue.reset();
  ASSERT_TRUE(this->h.waitFor([&] { return this->recorder.lines().size() == 101 && watch.expired(); }));
  EXPECT_EQ(this->recorder.lines(), expected);
}

TYPED_TEST(DispatchContract, GlobalQueueRunsTasksConcurrently) {
  std::mutex mutex;
  std::condition_variable met;
  int arrived = 0;
  std::atomic<int> sawTheOther{0};
  for (int i = 0; i < 2; ++i) {
    this->h.dispatch->globalAsync([&] {
      bool saw;
      {
        std::unique_lock lock(mutex);
        ++arrived;
        met.notify_all();
        // Each waits for the other: only concurrent tasks can both get past this.
        saw = met.wait_for(lock, 10s, [&] { return arrived == 2; });
      }
      sawTheOther += saw;  // last touch of the test's locals
    });
  }
  ASSERT_TRUE(this->h.waitFor([&] { return sawTheOther == 2; }));
}

// Every live queue needs a thread of its own: the first queue's task waits for the
// second's. A released queue leaves its worker idle first, and two queues made at once must
// not both be handed that one worker.
TYPED_TEST(DispatchContract, LiveSerialQueuesRunConcurrently) {
  auto& d = *this->h.dispatch;
  std::atomic<int> outcome{0};  // 1: the second ran meanwhile, 2: it did not
  d.makeSerialQueue("warm-up")->async([&] { outcome = -1; });
  ASSERT_TRUE(this->h.waitFor([&] { return outcome == -1; }));
  std::this_thread::sleep_for(20ms);  // lets that worker fall idle; no outcome depends on it

  auto first = d.makeSerialQueue("first"), second = d.makeSerialQueue("second");
  std::promise<void> secondRan;
  first->async([&, ran = secondRan.get_future().share()] {
    outcome = ran.wait_for(10s) == std::future_status::ready ? 1 : 2;
  });
  second->async([&] { secondRan.set_value(); });
  ASSERT_TRUE(this->h.waitFor([&] { return outcome > 0; }));
  EXPECT_EQ(outcome, 1);
}

// A client that owns its dispatch may be released by its own running task: the last handle
// then goes on one of the dispatch's own threads, which cannot join itself.
TEST(ThreadDispatch, LastHandleDroppedOnOneOfItsOwnThreads) {
  const std::function<void(Dispatch&, Task)> kPosts[] = {
      [](Dispatch& d, Task task) { d.mainAsync(std::move(task)); },
      [](Dispatch& d, Task task) { d.globalAsync(std::move(task)); },
      [](Dispatch& d, Task task) { d.makeSerialQueue("self")->async(std::move(task)); },
  };
  for (const auto& post : kPosts) {
    auto dispatch = makeThreadDispatch();
    std::promise<void> released, dropped;
    post(*dispatch, [held = dispatch, released = released.get_future().share(), &dropped]() mutable {
      released.wait();
      held.reset();
      dropped.set_value();
    });
    dispatch.reset();
    released.set_value();
    EXPECT_EQ(dropped.get_future().wait_for(10s), std::future_status::ready);
  }
}

// A task that throws must neither end its thread nor terminate the host: the failure is
// logged and the next task on the same queue runs.
TEST(ThreadDispatch, ATaskThatThrowsIsLoggedAndItsQueueGoesOn) {
  testing::TestPlatform platform;
  platform.install();
  auto dispatch = makeThreadDispatch();
  auto serial = dispatch->makeSerialQueue("throws");
  const std::function<void(Task)> kPosts[] = {
      [&](Task task) { dispatch->mainAsync(std::move(task)); },
      [&](Task task) { dispatch->mainAfter(1ms, std::move(task)); },
      [&](Task task) { dispatch->globalAsync(std::move(task)); },
      [&](Task task) { serial->async(std::move(task)); },
  };
  for (const auto& post : kPosts) {
    std::promise<void> next;
    post([] { throw std::runtime_error("boom"); });
    post([] { throw 42; });
    post([&] { next.set_value(); });
    EXPECT_EQ(next.get_future().wait_for(10s), std::future_status::ready);
  }
  // The global queue runs tasks side by side: its failures may be logged after the next task.
  auto bothLogged = [&] { return platform.log->count("A queued task failed") == 8; };
  for (int waited = 0; waited < 10000 && !bothLogged(); ++waited) std::this_thread::sleep_for(1ms);
  EXPECT_EQ(platform.log->count("A queued task failed: boom"), 4u);
  EXPECT_EQ(platform.log->count("A queued task failed."), 4u);
}

// A host's loop sleeps until it is woken or the next delayed task falls due, so a drain says
// when that is, and each task queued from elsewhere wakes it.
TEST(ThreadDispatch, TheHostsDrainSaysWhenToComeBack) {
  std::atomic<int> wakeups{0};
  auto dispatch = makeThreadDispatch({.hostDrivesMainQueue = true, .mainQueueWakeup = [&] { ++wakeups; }});
  EXPECT_EQ(drainHostMainQueue(*dispatch), -1);
  std::vector<std::string> ran;
  dispatch->mainAfter(1h, [&] { ran.push_back("later"); });
  std::thread([&] { dispatch->mainAsync([&] { ran.push_back(drainHostMainQueue(*dispatch) > 0 ? "nested" : "?"); }); })
      .join();
  EXPECT_EQ(wakeups, 2);
  EXPECT_TRUE(ran.empty()) << "ran before the host drained";
  std::int64_t next = drainHostMainQueue(*dispatch);
  EXPECT_EQ(ran, std::vector<std::string>{"nested"});
  EXPECT_GT(next, 3'500'000);
  EXPECT_LE(next, 3'600'000);
  EXPECT_EQ(drainHostMainQueue(*makeThreadDispatch()), -1);
}

TEST(ThreadDispatch, DestructionDropsPendingTasksWithoutWaitingForThem) {
  auto dispatch = makeThreadDispatch();
  auto held = std::make_shared<int>(0);
  std::weak_ptr<int> watch = held;
  dispatch->mainAfter(1h, [held] {});
  auto queue = dispatch->makeSerialQueue("outlives its dispatch");
  queue->async([held] {});
  held.reset();
  dispatch.reset();  // would hang for an hour if it waited for the delayed task
  queue->async([] {});
  EXPECT_TRUE(watch.expired());
}

// What a test waits for before the next one replaces the platform: tasks queued behind a
// running one count as well as the running one.
TEST(ManualDispatch, WaitsForEveryBackgroundTaskQueuedOrRunning) {
  ManualDispatch dispatch(std::make_shared<SimulatedClock>());
  EXPECT_TRUE(dispatch.waitForBackground(0ms));
  std::promise<void> release;
  std::shared_future<void> released = release.get_future().share();
  std::atomic<int> ran{0};
  auto queue = dispatch.makeSerialQueue("held");
  queue->async([released, &ran] { released.wait(); ++ran; });
  queue->async([&ran] { ++ran; });
  dispatch.globalAsync([released, &ran] { released.wait(); ++ran; });
  queue.reset();
  EXPECT_FALSE(dispatch.waitForBackground(20ms));
  release.set_value();
  EXPECT_TRUE(dispatch.waitForBackground(10s));
  EXPECT_EQ(ran, 3);
}

}  // namespace
}  // namespace tolvana
