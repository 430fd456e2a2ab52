#include <algorithm>
#include <functional>
#include <future>
#include <optional>
#include <stdexcept>
#include <thread>

#include "Await.h"
#include "platform/desktop/AsioScheduler.h"

namespace tallyrig {
namespace {

using namespace std::chrono_literals;
using test::EventCount;
using test::kDeadline;

class AsioQueueTest : public testing::Test {
 protected:
  std::shared_ptr<SerialQueue> makeQueue(std::string label = "Tallyrig.Test") {
    return scheduler_->makeQueue(std::move(label), QueuePriority::kUserInitiated);
  }

  std::optional<AsioScheduler> scheduler_{std::in_place};
};

TEST_F(AsioQueueTest, KeepsItsLabel) {
  EXPECT_EQ(makeQueue("Tallyrig.LTCDecoder")->label(), "Tallyrig.LTCDecoder");
}

TEST_F(AsioQueueTest, TasksRunOneAtATimeInTheOrderTheyWerePosted) {
  constexpr int kTasks = 5000;
  const auto queue = makeQueue();
  std::vector<int> order;  // unguarded: the thread checker sees whether the queue is serial
  EventCount done;
  for (int i = 0; i < kTasks; ++i) {
    queue->post([&, i] {
      order.push_back(i);
      if (i == kTasks - 1) done.add();
    });
  }
  ASSERT_TRUE(done.reaches(1));
  ASSERT_EQ(order.size(), kTasks);
  EXPECT_TRUE(std::is_sorted(order.begin(), order.end()));
}

TEST_F(AsioQueueTest, QueuesRunBesideEachOther) {
  const auto one = makeQueue();
  const auto other = makeQueue();
  std::promise<void> release;
  EventCount done;
  one->post([&, released = release.get_future().share()] {
    released.wait();
    done.add();
  });
  other->post([&] { release.set_value(); });
  EXPECT_TRUE(done.reaches(1));
  other->runSync([] {});
}

TEST_F(AsioQueueTest, KnowsWhetherTheCallerStandsOnIt) {
  const auto queue = makeQueue();
  const auto other = makeQueue();
  EXPECT_FALSE(queue->isCurrent());
  bool onItself = false;
  bool onOther = true;
  queue->runSync([&] {
    onItself = queue->isCurrent();
    onOther = other->isCurrent();
  });
  EXPECT_TRUE(onItself);
  EXPECT_FALSE(onOther);
}

TEST_F(AsioQueueTest, RunSyncReturnsAfterItsTaskAndAllBefore) {
  const auto queue = makeQueue();
  int count = 0;
  for (int i = 0; i < 100; ++i) queue->post([&] { ++count; });
  queue->runSync([&] { ++count; });
  EXPECT_EQ(count, 101);
}

TEST_F(AsioQueueTest, RunSyncOnTheQueueItselfRunsInPlace) {
  const auto queue = makeQueue();
  std::thread::id inner;
  std::thread::id outer;
  queue->runSync([&] {
    outer = std::this_thread::get_id();
    queue->runSync([&] { inner = std::this_thread::get_id(); });
  });
  EXPECT_EQ(inner, outer);
  EXPECT_NE(inner, std::this_thread::get_id());
}

TEST_F(AsioQueueTest, TasksThatWaitForOtherQueuesCannotStarveThePool) {
  constexpr std::size_t kDepth = 16;
  std::vector<std::shared_ptr<SerialQueue>> queues;
  for (std::size_t i = 0; i < kDepth; ++i) queues.push_back(makeQueue());
  EventCount deepest;
  // Each queue's task waits for the next queue, so that all but the last wait at once.
  std::function<void(std::size_t)> descend = [&](std::size_t level) {
    if (level == kDepth) return deepest.add();
    queues[level]->runSync([&, level] { descend(level + 1); });
  };
  queues[0]->post([&] { descend(1); });
  EXPECT_TRUE(deepest.reaches(1));
  queues[0]->runSync([] {});
}

TEST_F(AsioQueueTest, ADelayedTaskComesNoSoonerThanItsDelay) {
  const auto queue = makeQueue();
  std::promise<std::chrono::steady_clock::time_point> ran;
  auto future = ran.get_future();
  const auto start = std::chrono::steady_clock::now();
  queue->postAfter(3ms, [&] {
    EXPECT_TRUE(queue->isCurrent());
    ran.set_value(std::chrono::steady_clock::now());
  });
  ASSERT_EQ(future.wait_for(kDeadline), std::future_status::ready);
  queue->runSync([] {});
  EXPECT_GE(future.get() - start, 3ms);
}

TEST_F(AsioQueueTest, DelayedTasksRunInTheOrderOfTheirDelays) {
  const auto queue = makeQueue();
  std::vector<int> order;
  EventCount done;
  const auto note = [&](int value) {
    return [&, value] {
      order.push_back(value);
      done.add();
    };
  };
  // Posted from the queue itself, so that none runs before all are known.
  queue->runSync([&] {
    queue->postAfter(30ms, note(4));
    queue->postAfter(10ms, note(3));
    queue->postAfter(0ms, note(1));
    queue->postAfter(-5ms, note(2));
  });
  ASSERT_TRUE(done.reaches(4));
  EXPECT_EQ(order, (std::vector{1, 2, 3, 4}));
}

TEST_F(AsioQueueTest, ATimerRepeatsOnItsQueueUntilDestroyed) {
  const auto queue = makeQueue();
  EventCount events;
  auto timer = queue->repeat({.interval = 1ms}, [&] {
    EXPECT_TRUE(queue->isCurrent());
    events.add();
  });
  ASSERT_TRUE(events.reaches(5));
  int count = 0;
  queue->runSync([&] {
    timer.reset();
    count = events.value();
  });
  EventCount later;
  queue->postAfter(20ms, [&] { later.add(); });
  ASSERT_TRUE(later.reaches(1));
  EXPECT_EQ(events.value(), count);
}

TEST_F(AsioQueueTest, ATimerDestroyedElsewhereBeginsNoFurtherEvent) {
  const auto queue = makeQueue();
  EventCount begun;
  std::promise<void> release;
  auto timer = queue->repeat({.interval = 1ms}, [&, released = release.get_future().share()] {
    begun.add();
    released.wait();
  });
  ASSERT_TRUE(begun.reaches(1));
  timer.reset();  // the event that has begun still waits
  release.set_value();
  queue->runSync([] {});
  EXPECT_EQ(begun.value(), 1);
}

TEST_F(AsioQueueTest, ATimerMayBeDestroyedByItsOwnEvent) {
  const auto queue = makeQueue();
  std::unique_ptr<RepeatingTimer> timer;
  auto token = std::make_shared<int>(7);
  std::weak_ptr<int> held = token;
  EventCount done;
  queue->runSync([&] {
    timer = queue->repeat({.interval = 1ms}, [&, token] {
      timer.reset();
      EXPECT_EQ(*token, 7);
      done.add();
    });
  });
  token.reset();
  ASSERT_TRUE(done.reaches(1));
  queue->runSync([] {});
  EXPECT_TRUE(held.expired());
  EXPECT_EQ(done.value(), 1);
}

TEST_F(AsioQueueTest, EventsMissedByABusyQueueMergeIntoOne) {
  const auto queue = makeQueue();
  const auto clockQueue = makeQueue();
  EventCount begun;
  EventCount elapsed;
  std::promise<void> release;
  auto timer = queue->repeat({.interval = 1ms}, [&, released = release.get_future().share()] {
    begun.add();
    released.wait();
  });
  ASSERT_TRUE(begun.reaches(1));
  auto clock = clockQueue->repeat({.interval = 1ms}, [&] { elapsed.add(); });
  ASSERT_TRUE(elapsed.reaches(20));
  clockQueue->runSync([&] { clock.reset(); });
  // Nineteen events and more have come by while the first still ran: at most one of them may stand in the queue.
  int afterRelease = 0;
  queue->post([&] {
    afterRelease = begun.value();
    timer.reset();
  });
  release.set_value();
  queue->runSync([] {});
  EXPECT_LE(afterRelease, 2);
}

TEST_F(AsioQueueTest, AQueueThatItsOwnerDropsStillRunsItsTasks) {
  EventCount done;
  auto queue = makeQueue();
  for (int i = 0; i < 10; ++i) queue->post([&] { done.add(); });
  queue.reset();
  EXPECT_TRUE(done.reaches(10));
}

TEST_F(AsioQueueTest, ManyThreadsMayPostAndMakeTimersAtOnce) {
  constexpr int kThreads = 4;
  constexpr int kRounds = 200;
  const auto queue = makeQueue();
  int ran = 0;
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back([&] {
      for (int round = 0; round < kRounds; ++round) {
        auto timer = queue->repeat({.interval = 100us}, [] {});
        queue->post([&] { ++ran; });
        queue->postAfter(50us, [] {});
        if (round % 16 == 0) queue->runSync([] {});
        auto own = makeQueue();
        own->post([own] {});
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  queue->runSync([] {});
  EXPECT_EQ(ran, kThreads * kRounds);
}

using AsioQueueDeathTest = AsioQueueTest;

TEST_F(AsioQueueDeathTest, ATaskThatThrowsEndsTheProgramWithALine) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_DEATH(
      {
        const auto queue = makeQueue("Tallyrig.Thrower");
        queue->runSync([] { throw std::runtime_error("out of tape"); });
      },
      "SerialQueue: a task on Tallyrig.Thrower threw: out of tape");
}

}  // namespace
}  // namespace tallyrig
