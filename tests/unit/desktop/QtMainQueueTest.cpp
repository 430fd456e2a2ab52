#include "platform/desktop/QtMainQueue.h"

#include <optional>
#include <stdexcept>
#include <thread>

#include "Await.h"
#include "platform/desktop/AsioScheduler.h"

namespace tallyrig {
namespace {

using namespace std::chrono_literals;
using test::EventCount;
using test::runMainUntil;

TEST(QtMainQueue, TasksRunOnTheMainThreadInOrderAndNotAtOnce) {
  QtMainQueue queue;
  std::vector<int> order;
  std::thread poster([&] {
    for (int i = 0; i < 100; ++i) {
      queue.post([&, i] {
        EXPECT_TRUE(queue.isCurrent());
        order.push_back(i);
      });
    }
    EXPECT_FALSE(queue.isCurrent());
  });
  poster.join();
  EXPECT_TRUE(order.empty());
  ASSERT_TRUE(runMainUntil([&] { return order.size() == 100; }));
  EXPECT_TRUE(std::is_sorted(order.begin(), order.end()));
}

TEST(QtMainQueue, RunSyncOnTheMainThreadRunsInPlace) {
  QtMainQueue queue;
  bool posted = false;
  bool ran = false;
  queue.post([&] { posted = true; });
  queue.runSync([&] { ran = true; });
  EXPECT_TRUE(ran);
  EXPECT_FALSE(posted);
}

TEST(QtMainQueue, DelayedTasksComeInTheOrderOfTheirDelaysAndNeverEarly) {
  QtMainQueue queue;
  std::vector<int> order;
  const auto start = std::chrono::steady_clock::now();
  queue.postAfter(30ms, [&] {
    EXPECT_GE(std::chrono::steady_clock::now() - start, 30ms);
    order.push_back(3);
  });
  std::thread([&] { queue.postAfter(2500us, [&] { order.push_back(2); }); }).join();
  queue.postAfter(0ms, [&] { order.push_back(1); });
  ASSERT_TRUE(runMainUntil([&] { return order.size() == 3; }));
  EXPECT_EQ(order, (std::vector{1, 2, 3}));
}

TEST(QtMainQueue, ATimerRepeatsUntilDestroyedInItsOwnEvent) {
  QtMainQueue queue;
  int events = 0;
  std::unique_ptr<RepeatingTimer> timer;
  timer = queue.repeat({.interval = 1ms}, [&] {
    if (++events == 3) timer.reset();
  });
  bool later = false;
  ASSERT_TRUE(runMainUntil([&] { return events == 3; }));
  queue.postAfter(20ms, [&] { later = true; });
  ASSERT_TRUE(runMainUntil([&] { return later; }));
  EXPECT_EQ(events, 3);
}

TEST(QtMainQueue, ATimerMadeAndDestroyedOnAnotherThreadHasNoEventAfterwards) {
  QtMainQueue queue;
  EventCount events;
  std::unique_ptr<RepeatingTimer> timer;
  std::thread([&] { timer = queue.repeat({.interval = 1ms}, [&] { events.add(); }); }).join();
  ASSERT_TRUE(runMainUntil([&] { return events.value() >= 2; }));
  std::thread([&] { timer.reset(); }).join();
  const int count = events.value();
  bool later = false;
  queue.postAfter(20ms, [&] { later = true; });
  ASSERT_TRUE(runMainUntil([&] { return later; }));
  EXPECT_EQ(events.value(), count);
}

TEST(QtMainQueue, EventsMissedByABusyMainThreadMergeIntoOne) {
  QtMainQueue queue;
  int events = 0;
  const auto timer = queue.repeat({.interval = 1ms, .first = 1ms}, [&] { ++events; });
  EventCount elapsed;
  AsioScheduler elsewhere;
  const auto clock =
      elsewhere.makeQueue("clock", QueuePriority::kUserInitiated)->repeat({.interval = 1ms}, [&] { elapsed.add(); });
  ASSERT_TRUE(elapsed.reaches(20));
  ASSERT_TRUE(runMainUntil([&] { return events > 0; }));
  EXPECT_EQ(events, 1);
}

TEST(QtMainQueue, DestructionDropsTasksAndTimersAndLetsGoOfThem) {
  std::optional<QtMainQueue> queue(std::in_place);
  auto token = std::make_shared<int>();
  int ran = 0;
  queue->post([&ran, token] { ++ran; });
  queue->postAfter(0ms, [&ran, token] { ++ran; });
  queue->postAfter(1h, [&ran, token] { ++ran; });
  auto timer = queue->repeat({.interval = 1ms}, [&ran, token] { ++ran; });
  queue.reset();
  QCoreApplication::processEvents();
  timer.reset();
  EXPECT_EQ(ran, 0);
  EXPECT_EQ(token.use_count(), 1);
}

TEST(QtMainQueue, ATaskMayDestroyTheQueue) {
  std::optional<QtMainQueue> queue(std::in_place);
  auto timer = queue->repeat({.interval = 1ms}, [&] { queue.reset(); });
  EXPECT_TRUE(runMainUntil([&] { return !queue.has_value(); }));
}

TEST(QtMainQueueDeathTest, WaitingForItFromAnotherThreadEndsTheProgram) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_DEATH(
      {
        QtMainQueue queue;
        std::thread([&] { queue.runSync([] {}); }).join();
      },
      "SerialQueue: Tallyrig.Main was waited for from another thread");
}

TEST(QtMainQueueDeathTest, ATaskThatThrowsEndsTheProgramWithALine) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_DEATH(
      {
        QtMainQueue queue;
        queue.post([] { throw std::runtime_error("out of tape"); });
        QCoreApplication::processEvents();
      },
      "SerialQueue: a task on Tallyrig.Main threw: out of tape");
}

}  // namespace
}  // namespace tallyrig
