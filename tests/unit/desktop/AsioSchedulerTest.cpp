#include "platform/desktop/AsioScheduler.h"

#include <pthread.h>

#include <array>
#include <fstream>
#include <future>
#include <mutex>
#include <optional>
#include <set>
#include <thread>
#include <utility>

#include "Await.h"
#include "support/NoRightToRaise.h"

namespace tallyrig {
namespace {

using namespace std::chrono_literals;
using test::EventCount;

std::string currentThreadName() {
  std::array<char, 16> name{};
  pthread_getname_np(pthread_self(), name.data(), name.size());
  return name.data();
}

TEST(AsioScheduler, EachPriorityHasItsOwnNamedThreads) {
  AsioScheduler scheduler;
  std::string initiated;
  std::string interactive;
  scheduler.makeQueue("a", QueuePriority::kUserInitiated)->runSync([&] { initiated = currentThreadName(); });
  scheduler.makeQueue("b", QueuePriority::kUserInteractive)->runSync([&] { interactive = currentThreadName(); });
  EXPECT_THAT(initiated, testing::MatchesRegex("initiated-[12]"));
  EXPECT_THAT(interactive, testing::MatchesRegex("interactive-[12]"));
}

TEST(AsioScheduler, SixtyFourQueuesShareTwoThreads) {
  std::mutex mutex;
  std::set<std::string> names;
  EventCount done;
  AsioScheduler scheduler;
  for (int i = 0; i < 64; ++i) {
    scheduler.makeQueue("card", QueuePriority::kUserInitiated)->post([&] {
      {
        const std::lock_guard lock(mutex);
        names.insert(currentThreadName());
      }
      done.add();
    });
  }
  ASSERT_TRUE(done.reaches(64));
  EXPECT_LE(names.size(), 2);
}

TEST(AsioScheduler, SixtyFourTwoMillisecondTimersShareTheirWakeUps) {
  // The counter must outlive the scheduler: an event that has begun may outlast its timer.
  EventCount events;
  AsioScheduler scheduler;
  std::vector<std::shared_ptr<SerialQueue>> queues;
  std::vector<std::unique_ptr<RepeatingTimer>> timers;
  for (int i = 0; i < 64; ++i) {
    queues.push_back(scheduler.makeQueue("Tallyrig.LTCDecoder", QueuePriority::kUserInitiated));
    timers.push_back(queues.back()->repeat({.interval = 2ms, .leeway = 1ms, .first = i * 31us}, [&] { events.add(); }));
  }
  ASSERT_TRUE(events.reaches(64));
  const auto start = std::chrono::steady_clock::now();
  const std::uint64_t before = scheduler.timerWakeUps();
  ASSERT_TRUE(events.reaches(events.value() + 64 * 50));
  const std::uint64_t wakeUps = scheduler.timerWakeUps() - before;
  const auto elapsed = std::chrono::ceil<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start);
  // One a millisecond, and one for the part of a millisecond at either end.
  EXPECT_LE(wakeUps, elapsed.count() + 1);
  EXPECT_GT(wakeUps, 0);
}

TEST(AsioScheduler, AsksElsewhereForThePriorityOfEachInteractiveThread) {
  std::mutex mutex;
  std::vector<std::pair<std::string, int>> asked;
  std::set<std::string> askers;
  EventCount answers;
  const NoRightToRaise ordinaryUser;
  AsioScheduler scheduler([&](pid_t thread, int niceValue) {
    std::ifstream file("/proc/self/task/" + std::to_string(thread) + "/comm");
    std::string name;
    std::getline(file, name);
    {
      const std::lock_guard lock(mutex);
      asked.emplace_back(name, niceValue);
      askers.insert(currentThreadName().substr(0, 9));
    }
    answers.add();
  });
  ASSERT_TRUE(answers.reaches(2));
  const std::lock_guard lock(mutex);
  EXPECT_THAT(asked, testing::UnorderedElementsAre(std::pair("interactive-1", -10), std::pair("interactive-2", -10)));
  EXPECT_EQ(askers, std::set<std::string>{"initiated"});
}

TEST(AsioScheduler, AnAnswerThatIsLongInComingHoldsUpNoQueue) {
  std::promise<void> answer;
  EventCount asked;
  const NoRightToRaise ordinaryUser;
  AsioScheduler scheduler([&, answered = answer.get_future().share()](pid_t, int) {
    asked.add();
    answered.wait();
  });
  ASSERT_TRUE(asked.reaches(1));
  for (const auto priority : {QueuePriority::kUserInitiated, QueuePriority::kUserInteractive}) {
    // Both of the pool's own threads must be free: one queue's task waits for the other's.
    std::promise<void> release;
    EventCount done;
    scheduler.makeQueue("one", priority)->post([&, released = release.get_future().share()] {
      released.wait();
      done.add();
    });
    scheduler.makeQueue("other", priority)->post([&] { release.set_value(); });
    EXPECT_TRUE(done.reaches(1));
  }
  EXPECT_EQ(asked.value(), 1);
  answer.set_value();
  EXPECT_TRUE(asked.reaches(2));
}

TEST(AsioScheduler, DestructionDropsWhatHasNotRunAndLetsGoOfIt) {
  std::optional<AsioScheduler> scheduler(std::in_place);
  auto queue = scheduler->makeQueue("Tallyrig.Test", QueuePriority::kUserInitiated);
  auto token = std::make_shared<int>();
  EventCount begun;
  std::promise<void> release;
  int ranAfter = 0;
  queue->post([&, queue, token, released = release.get_future().share()] {
    begun.add();
    released.wait();
    queue->post([&ranAfter, token] { ++ranAfter; });
  });
  for (int i = 0; i < 10; ++i) queue->post([&ranAfter, queue, token] { ++ranAfter; });
  queue->postAfter(std::chrono::hours{1}, [&ranAfter, queue, token] { ++ranAfter; });
  auto timer = queue->repeat({.interval = 1h, .first = 1h}, [&ranAfter, queue, token] { ++ranAfter; });
  ASSERT_TRUE(begun.reaches(1));
  std::weak_ptr<int> held = token;
  token.reset();
  // The destructor waits for the running task, which ends once the destructor has begun or a little before.
  std::thread releaser([&] { release.set_value(); });
  queue.reset();
  scheduler.reset();
  releaser.join();
  timer.reset();
  EXPECT_TRUE(held.expired());
  EXPECT_LE(ranAfter, 11);
}

TEST(AsioScheduler, DestructionEndsAWaitBetweenTwoQueues) {
  for (int round = 0; round < 50; ++round) {
    std::optional<AsioScheduler> scheduler(std::in_place);
    auto one = scheduler->makeQueue("one", QueuePriority::kUserInitiated);
    auto other = scheduler->makeQueue("other", QueuePriority::kUserInteractive);
    for (int i = 0; i < 4; ++i) {
      one->post([other] { other->runSync([] {}); });
      other->post([] {});
    }
    one.reset();
    other.reset();
    scheduler.reset();
  }
}

TEST(AsioScheduler, ATimerMayOutliveTheScheduler) {
  std::optional<AsioScheduler> scheduler(std::in_place);
  EventCount events;
  auto timer = scheduler->makeQueue("Tallyrig.Test", QueuePriority::kUserInteractive)->repeat({.interval = 1ms}, [&] {
    events.add();
  });
  auto mainTimer = scheduler->mainQueue().repeat({.interval = 1ms}, [&] { events.add(); });
  ASSERT_TRUE(events.reaches(1));
  scheduler.reset();
  const int count = events.value();
  timer.reset();
  mainTimer.reset();
  EXPECT_EQ(events.value(), count);
}

}  // namespace
}  // namespace tallyrig
