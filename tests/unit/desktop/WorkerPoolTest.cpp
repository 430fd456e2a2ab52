#include "platform/desktop/WorkerPool.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <chrono>
#include <future>
#include <memory>
#include <mutex>
#include <set>

#include "Await.h"
#include "support/NoRightToRaise.h"

namespace tallyrig {
namespace {

using namespace std::chrono_literals;
using test::kDeadline;

/// What the threads of a pool with nice value -5 were told, and had; both are whole once the pool has been stopped.
struct Refusals {
  std::mutex mutex;
  std::set<pid_t> threads;
  bool onThemselves = true;

  WorkerPool::RefusalHandler handler() {
    return [this](pid_t thread) {
      const std::lock_guard lock(mutex);
      threads.insert(thread);
      onThemselves = onThemselves && thread == gettid();
    };
  }
};

TEST(WorkerPool, TellsEachThreadThatTheSystemRefusesItsNiceValue) {
  Refusals refusals;
  const NoRightToRaise ordinaryUser;
  WorkerPool pool("busy", -5, refusals.handler());
  pool.stop();
  EXPECT_EQ(refusals.threads.size(), 2);
  EXPECT_TRUE(refusals.onThemselves);
}

TEST(WorkerPool, GoesWithoutANiceValueThatNobodyHelpsItTo) {
  const NoRightToRaise ordinaryUser;
  WorkerPool pool("busy", -5);
  pool.stop();
}

TEST(WorkerPool, TellsNothingWhereNoNiceValueIsRefused) {
  Refusals refusals;
  const NoRightToRaise ordinaryUser;
  WorkerPool ordinary("ordinary", 0, refusals.handler());
  WorkerPool background("background", 19, refusals.handler());
  ordinary.stop();
  background.stop();
  EXPECT_TRUE(refusals.threads.empty());
}

TEST(WorkerPool, AnEventThatTakesLongHoldsUpNoOther) {
  std::promise<void> release;
  std::promise<bool> released;
  std::once_flag first;
  WorkerPool pool("busy", 0);
  // Both are due at one instant.
  const TimerPlan plan({.interval = 2ms, .first = 20ms}, std::chrono::steady_clock::now());
  pool.addTimer(std::make_shared<TimedEvent>(TimedEvent{
      .plan = plan, .repeats = true, .due = [&] {
        std::call_once(
            first, [&] { released.set_value(release.get_future().wait_for(kDeadline) == std::future_status::ready); });
      }}));
  pool.addTimer(std::make_shared<TimedEvent>(TimedEvent{.plan = plan, .due = [&] { release.set_value(); }}));
  EXPECT_TRUE(released.get_future().get());
  pool.stop();
}

}  // namespace
}  // namespace tallyrig
