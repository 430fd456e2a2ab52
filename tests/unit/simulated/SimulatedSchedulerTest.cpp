#include "platform/simulated/SimulatedScheduler.h"

#include <algorithm>
#include <set>

using namespace std::chrono_literals;

namespace tallyrig {
namespace {

struct Rig {
  static constexpr std::uint64_t kSeed = 20261121;

  explicit Rig(std::uint64_t seed = kSeed) : scheduler(clock, seed) {}
  std::shared_ptr<SerialQueue> queue(const std::string& label) {
    return scheduler.makeQueue(label, QueuePriority::kUserInitiated);
  }
  void runUntil(std::chrono::nanoseconds end) {
    while (scheduler.runNext(end)) {
    }
    clock.set(end);
  }

  SimulatedClock clock;
  SimulatedScheduler scheduler;
};

std::string interleaving(std::uint64_t seed) {
  Rig rig(seed);
  std::string order;
  std::vector<std::shared_ptr<SerialQueue>> queues;
  for (const char name : {'a', 'b', 'c'}) {
    const auto queue = queues.emplace_back(rig.queue(std::string(1, name)));
    for (int i = 0; i < 4; ++i) queue->post([&order, name] { order += name; });
  }
  rig.runUntil(0s);
  return order;
}

TEST(SimulatedScheduler, RunsTheTasksOfAQueueInTheOrderTheyWerePosted) {
  Rig rig;
  const auto queue = rig.queue("q");
  std::vector<int> order;
  for (int i = 0; i < 100; ++i) queue->post([&order, i] { order.push_back(i); });
  rig.runUntil(0s);
  ASSERT_EQ(order.size(), 100u);
  EXPECT_TRUE(std::is_sorted(order.begin(), order.end()));
}

TEST(SimulatedScheduler, KeepsPostingOrderAmongDelayedTasksOfOneInstant) {
  Rig rig;
  const auto queue = rig.queue("q");
  std::string order;
  queue->postAfter(2ms, [&] { order += 'c'; });
  queue->postAfter(1ms, [&] { order += 'a'; });
  queue->postAfter(1ms, [&] { order += 'b'; });
  queue->postAfter(-5ms, [&] { order += '0'; });
  rig.runUntil(2ms);
  EXPECT_EQ(order, "0abc");
}

TEST(SimulatedScheduler, RunsADelayedTaskAtItsInstantAndNotBefore) {
  Rig rig;
  std::chrono::nanoseconds ranAt{-1};
  rig.scheduler.mainQueue().postAfter(80ms, [&] { ranAt = rig.clock.nanos(); });
  rig.runUntil(80ms - 1ns);
  EXPECT_EQ(ranAt, -1ns);
  rig.runUntil(1s);
  EXPECT_EQ(ranAt, 80ms);
}

TEST(SimulatedScheduler, DrawsTheOrderOfQueuesAtOneInstantFromTheSeed) {
  EXPECT_EQ(interleaving(1), interleaving(1));
  std::set<std::string> seen;
  for (std::uint64_t seed = 1; seed <= 50; ++seed) seen.insert(interleaving(seed));
  EXPECT_GT(seen.size(), 40u) << "34,650 interleavings exist";
}

TEST(SimulatedScheduler, RunsWhatATaskPostsAtTheSameInstant) {
  Rig rig;
  const auto queue = rig.queue("q");
  int depth = 0;
  std::function<void()> step = [&] {
    if (++depth < 10) queue->post(step);
  };
  queue->post(step);
  rig.runUntil(0s);
  EXPECT_EQ(depth, 10);
}

TEST(SimulatedScheduler, RunSyncRunsTheEarlierTasksDueNowFirst) {
  Rig rig;
  const auto queue = rig.queue("q");
  std::string order;
  queue->post([&] {
    order += 'a';
    queue->post([&] { order += 'd'; });
  });
  queue->post([&] { order += 'b'; });
  queue->postAfter(1ms, [&] { order += 'e'; });
  queue->runSync([&] { order += 'c'; });
  EXPECT_EQ(order, "abc");
  rig.runUntil(1ms);
  EXPECT_EQ(order, "abcde");
}

TEST(SimulatedScheduler, RunSyncOnTheCurrentQueueRunsAtOnce) {
  Rig rig;
  const auto queue = rig.queue("q");
  std::string order;
  queue->post([&] {
    queue->runSync([&] { order += 'a'; });
    order += 'b';
  });
  queue->post([&] { order += 'c'; });
  rig.runUntil(0s);
  EXPECT_EQ(order, "abc");
}

TEST(SimulatedScheduler, KnowsWhichQueueTheCallerStandsOn) {
  Rig rig;
  const auto first = rig.queue("first");
  const auto second = rig.queue("second");
  SerialQueue& main = rig.scheduler.mainQueue();
  EXPECT_TRUE(main.isCurrent());
  EXPECT_FALSE(first->isCurrent());
  int checks = 0;
  first->post([&] {
    EXPECT_TRUE(first->isCurrent());
    EXPECT_FALSE(main.isCurrent());
    second->runSync([&] {
      EXPECT_TRUE(second->isCurrent());
      EXPECT_FALSE(first->isCurrent());
      ++checks;
    });
    EXPECT_TRUE(first->isCurrent());
    ++checks;
  });
  rig.runUntil(0s);
  EXPECT_EQ(checks, 2);
  EXPECT_TRUE(main.isCurrent());
}

TEST(SimulatedSchedulerDeathTest, EndsTheProgramWhereRunSyncWouldWaitForItself) {
  Rig rig;
  const auto first = rig.queue("first");
  const auto second = rig.queue("second");
  EXPECT_DEATH(first->runSync([&] { second->runSync([&] { first->runSync([] {}); }); }), "wait for its own caller");
  EXPECT_DEATH(first->runSync([&] { rig.scheduler.mainQueue().runSync([] {}); }), "\"main\" would wait");
}

TEST(SimulatedScheduler, ATimerWithoutLeewayFiresOnItsScheduleExactly) {
  Rig rig;
  std::vector<std::chrono::nanoseconds> fired;
  const auto timer =
      rig.queue("q")->repeat({.interval = 7ms, .first = 3ms}, [&] { fired.push_back(rig.clock.nanos()); });
  rig.runUntil(31ms);
  EXPECT_THAT(fired, testing::ElementsAre(3ms, 10ms, 17ms, 24ms, 31ms));
}

TEST(SimulatedScheduler, ATimerWithLeewayFiresWithinItAndDoesNotDrift) {
  SCOPED_TRACE("seed " + std::to_string(Rig::kSeed));
  Rig rig;
  std::vector<std::chrono::nanoseconds> lateness;
  const auto timer = rig.queue("q")->repeat({.interval = 2ms, .leeway = 1ms}, [&] {
    lateness.push_back(rig.clock.nanos() - 2ms * static_cast<int>(lateness.size()));
  });
  rig.runUntil(10s - 1ns);
  ASSERT_EQ(lateness.size(), 5000u);
  const auto [least, most] = std::minmax_element(lateness.begin(), lateness.end());
  EXPECT_GE(*least, 0ns);
  EXPECT_LE(*most, 1ms);
  EXPECT_LT(*least, 50us);
  EXPECT_GT(*most, 950us);
}

TEST(SimulatedScheduler, ADestroyedTimerFiresNoMore) {
  Rig rig;
  const auto queue = rig.queue("q");
  int fromOutside = 0;
  auto outside = queue->repeat({.interval = 1ms}, [&] { ++fromOutside; });
  rig.runUntil(5ms);
  outside.reset();
  rig.runUntil(10ms);
  EXPECT_EQ(fromOutside, 6);

  int fromInside = 0;
  std::unique_ptr<RepeatingTimer> inside = queue->repeat({.interval = 1ms}, [&] {
    if (++fromInside == 3) inside.reset();
  });
  rig.runUntil(30ms);
  EXPECT_EQ(fromInside, 3);
}

TEST(SimulatedScheduler, ADestroyedTimerLetsGoOfWhatItsTaskHeld) {
  Rig rig;
  const auto queue = rig.queue("q");
  const auto held = std::make_shared<int>(0);
  auto timer = queue->repeat({.interval = 1ms}, [held] { ++*held; });
  EXPECT_EQ(held.use_count(), 2);
  timer.reset();
  EXPECT_EQ(held.use_count(), 1);
}

TEST(SimulatedScheduler, AQueueThatNobodyHoldsStillRunsWhatItHas) {
  Rig rig;
  int runs = 0;
  {
    const auto queue = rig.queue("short-lived");
    queue->post([&] { ++runs; });
    queue->postAfter(5ms, [&] { ++runs; });
  }
  rig.runUntil(10ms);
  EXPECT_EQ(runs, 2);
}

TEST(SimulatedScheduler, ATaskMayHoldTheLastReferenceToItsQueue) {
  Rig rig;
  auto queue = rig.queue("q");
  int runs = 0;
  SerialQueue& plain = *queue;
  plain.post([&runs, held = std::move(queue)]() mutable {
    held.reset();
    ++runs;
  });
  rig.runUntil(0s);
  EXPECT_EQ(runs, 1);
}

TEST(SimulatedScheduler, DiscardingDropsTasksAndWhatTheirDestructionPosts) {
  Rig rig;
  const auto queue = rig.queue("q");
  int runs = 0;
  const std::shared_ptr<void> poster(nullptr, [&](void*) { queue->post([&] { ++runs; }); });
  queue->post([held = poster] { FAIL(); });
  rig.scheduler.discardPending();
  rig.runUntil(1s);
  EXPECT_EQ(runs, 0);
}

}  // namespace
}  // namespace tallyrig
