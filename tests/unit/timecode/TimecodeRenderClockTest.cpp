#include "timecode/TimecodeRenderClock.h"

#include <gtest/gtest.h>

#include "support/ManualScheduler.h"
#include "support/RationalHostClock.h"
#include "support/RecordedLog.h"

namespace tallyrig {
namespace {

using namespace std::chrono_literals;

class TimecodeRenderClockTest : public testing::Test {
 protected:
  void start(HostTime now) {
    hostClock.set(now);
    recorded = std::make_unique<RecordedLog>(hostClock);
    renderClock = std::make_unique<TimecodeRenderClock>(hostClock, scheduler, recorded->log());
    QObject::connect(renderClock.get(), &TimecodeRenderClock::ticked, renderClock.get(),
                     [this] { published.push_back(renderClock->hostTime()); });
  }
  ManualQueue& timerQueue() { return *scheduler.queues.at(0); }
  void tick(std::uint64_t nanosLater) {
    hostClock.advanceNanos(nanosLater);
    timerQueue().fireTimers();
    scheduler.main.runTasks();
  }

  RationalHostClock hostClock;
  ManualScheduler scheduler;
  std::unique_ptr<RecordedLog> recorded;
  std::unique_ptr<TimecodeRenderClock> renderClock;
  std::vector<HostTime> published;
};

TEST_F(TimecodeRenderClockTest, TicksEvery16MillisecondsFromTheStartOnItsOwnQueue) {
  start({1000});
  EXPECT_EQ(timerQueue().label(), "Tallyrig.RenderClock");
  EXPECT_EQ(scheduler.priorities.at(0), QueuePriority::kUserInteractive);
  ASSERT_EQ(timerQueue().schedules().size(), 1U);
  EXPECT_EQ(timerQueue().schedules()[0].interval, 16ms);
  EXPECT_EQ(timerQueue().schedules()[0].leeway, 1ms);
  EXPECT_EQ(timerQueue().schedules()[0].first, 0ns);
}

TEST_F(TimecodeRenderClockTest, ShowsTheTimeOfItsMakingUntilTheFirstTick) {
  start({1000});
  EXPECT_EQ(renderClock->hostTime(), HostTime{1000});
  tick(16000000);
  EXPECT_EQ(renderClock->hostTime(), HostTime{16001000});
  EXPECT_EQ(published, (std::vector<HostTime>{{16001000}}));
}

TEST_F(TimecodeRenderClockTest, CarriesTheTimeOfTheTimerNotOfTheMainThread) {
  start({1000});
  timerQueue().fireTimers();
  hostClock.advanceNanos(500000000);
  scheduler.main.runTasks();
  EXPECT_EQ(renderClock->hostTime(), HostTime{1000});
}

TEST_F(TimecodeRenderClockTest, EveryTickIsPublishedEvenAfterABusyMainThread) {
  start({1000});
  for (int index = 0; index < 3; ++index) {
    hostClock.advanceNanos(16000000);
    timerQueue().fireTimers();
  }
  scheduler.main.runTasks();
  EXPECT_EQ(published, (std::vector<HostTime>{{16001000}, {32001000}, {48001000}}));
}

TEST_F(TimecodeRenderClockTest, AGapAbove80MillisecondsIsLogged) {
  start({1000});
  tick(16000000);
  tick(80000000);
  EXPECT_TRUE(recorded->lines.empty()) << "exactly 80 ms is no gap";
  tick(80000001);
  ASSERT_EQ(recorded->lines.size(), 1U);
  EXPECT_EQ(recorded->lines[0],
            std::string(RecordedLog::kTimedPrefix) + "TimecodeRenderClock: UI display update gap 80.0ms");
  tick(1234567890);
  ASSERT_EQ(recorded->lines.size(), 2U);
  EXPECT_TRUE(recorded->lines[1].ends_with("TimecodeRenderClock: UI display update gap 1234.6ms"));
}

TEST_F(TimecodeRenderClockTest, TheFirstTickIsComparedWithTheTimeOfTheMaking) {
  start({1000});
  tick(90000000);
  ASSERT_EQ(recorded->lines.size(), 1U);
  EXPECT_TRUE(recorded->lines[0].ends_with("UI display update gap 90.0ms"));
}

TEST_F(TimecodeRenderClockTest, NothingIsComparedWithInstantZero) {
  start({0});
  tick(500000000);
  EXPECT_TRUE(recorded->lines.empty());
  EXPECT_EQ(published.size(), 1U);
}

TEST_F(TimecodeRenderClockTest, ATickThatCameOutOfOrderIsPublishedWithoutALine) {
  start({1000});
  hostClock.set({1016000});
  timerQueue().fireTimers();
  hostClock.set({500016000});
  timerQueue().fireTimers();
  std::swap(scheduler.main.tasks[0], scheduler.main.tasks[1]);
  scheduler.main.tasks.push_front([this] { recorded->lines.clear(); });
  scheduler.main.runTasks();
  EXPECT_EQ(published, (std::vector<HostTime>{{500016000}, {1016000}}));
  EXPECT_EQ(recorded->lines.size(), 1U) << "only the later one is a gap";
  EXPECT_EQ(renderClock->hostTime(), HostTime{1016000});
}

TEST_F(TimecodeRenderClockTest, ATickInFlightDoesNotOutliveTheClock) {
  start({1000});
  timerQueue().fireTimers();
  renderClock.reset();
  EXPECT_TRUE(timerQueue().schedules().empty());
  scheduler.main.runTasks();
  EXPECT_TRUE(published.empty());
}

}  // namespace
}  // namespace tallyrig
