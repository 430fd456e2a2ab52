#include "timecode/TimecodeRenderClock.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "platform/simulated/SimulatedWorld.h"
#include "support/ManualScheduler.h"

namespace tallyrig {
namespace {

using namespace std::chrono_literals;

class TimecodeRenderClockTest : public testing::Test {
 protected:
  void start(std::chrono::nanoseconds now) {
    world.clock().set(now);
    renderClock = std::make_unique<TimecodeRenderClock>(world.clock(), scheduler, world.log());
    QObject::connect(renderClock.get(), &TimecodeRenderClock::ticked, renderClock.get(),
                     [this] { published.push_back(renderClock->hostTime()); });
  }
  ManualQueue& timerQueue() { return *scheduler.queues.at(0); }
  void tick(std::chrono::nanoseconds later) {
    world.clock().advance(later);
    timerQueue().fireTimers();
    scheduler.main.runTasks();
  }

  SimulatedWorld world;
  ManualScheduler scheduler;
  std::unique_ptr<TimecodeRenderClock> renderClock;
  std::vector<HostTime> published;
};

TEST_F(TimecodeRenderClockTest, TicksEvery16MillisecondsFromTheStartOnItsOwnQueue) {
  start(1000ns);
  EXPECT_EQ(timerQueue().label(), "Tallyrig.RenderClock");
  EXPECT_EQ(scheduler.priorities.at(0), QueuePriority::kUserInteractive);
  ASSERT_EQ(timerQueue().schedules().size(), 1U);
  EXPECT_EQ(timerQueue().schedules()[0].interval, 16ms);
  EXPECT_EQ(timerQueue().schedules()[0].leeway, 1ms);
  EXPECT_EQ(timerQueue().schedules()[0].first, 0ns);
}

TEST_F(TimecodeRenderClockTest, ShowsTheTimeOfItsMakingUntilTheFirstTick) {
  start(1000ns);
  EXPECT_EQ(renderClock->hostTime(), HostTime{1000});
  tick(16ms);
  EXPECT_EQ(renderClock->hostTime(), HostTime{16001000});
  EXPECT_EQ(published, (std::vector<HostTime>{{16001000}}));
}

TEST_F(TimecodeRenderClockTest, CarriesTheTimeOfTheTimerNotOfTheMainThread) {
  start(1000ns);
  timerQueue().fireTimers();
  world.clock().advance(500ms);
  scheduler.main.runTasks();
  EXPECT_EQ(renderClock->hostTime(), HostTime{1000});
}

TEST_F(TimecodeRenderClockTest, EveryTickIsPublishedEvenAfterABusyMainThread) {
  start(1000ns);
  for (int index = 0; index < 3; ++index) {
    world.clock().advance(16ms);
    timerQueue().fireTimers();
  }
  scheduler.main.runTasks();
  EXPECT_EQ(published, (std::vector<HostTime>{{16001000}, {32001000}, {48001000}}));
}

TEST_F(TimecodeRenderClockTest, AGapAbove80MillisecondsIsLogged) {
  start(1000ns);
  tick(16ms);
  tick(80ms);
  EXPECT_TRUE(world.logLines().empty()) << "exactly 80 ms is no gap";
  tick(80000001ns);
  ASSERT_EQ(world.logLines().size(), 1U);
  EXPECT_THAT(
      world.logLines()[0],
      testing::MatchesRegex(R"(\[..:..:..\.... \+0\.000ms\] TimecodeRenderClock: UI display update gap 80\.0ms)"));
  tick(1234567890ns);
  ASSERT_EQ(world.logLines().size(), 2U);
  EXPECT_TRUE(world.logLines()[1].ends_with("TimecodeRenderClock: UI display update gap 1234.6ms"));
}

TEST_F(TimecodeRenderClockTest, TheFirstTickIsComparedWithTheTimeOfTheMaking) {
  start(1000ns);
  tick(90ms);
  ASSERT_EQ(world.logLines().size(), 1U);
  EXPECT_TRUE(world.logLines()[0].ends_with("UI display update gap 90.0ms"));
}

TEST_F(TimecodeRenderClockTest, NothingIsComparedWithInstantZero) {
  start(0ns);
  tick(500ms);
  EXPECT_TRUE(world.logLines().empty());
  EXPECT_EQ(published.size(), 1U);
}

TEST_F(TimecodeRenderClockTest, ATickThatCameOutOfOrderIsPublishedWithoutALine) {
  start(1000ns);
  world.clock().set(1016000ns);
  timerQueue().fireTimers();
  world.clock().set(500016000ns);
  timerQueue().fireTimers();
  std::swap(scheduler.main.tasks[0], scheduler.main.tasks[1]);
  scheduler.main.tasks.push_front([this] { world.clearLog(); });
  scheduler.main.runTasks();
  EXPECT_EQ(published, (std::vector<HostTime>{{500016000}, {1016000}}));
  EXPECT_EQ(world.logLines().size(), 1U) << "only the later one is a gap";
  EXPECT_EQ(renderClock->hostTime(), HostTime{1016000});
}

TEST_F(TimecodeRenderClockTest, ATickInFlightDoesNotOutliveTheClock) {
  start(1000ns);
  timerQueue().fireTimers();
  renderClock.reset();
  EXPECT_TRUE(timerQueue().schedules().empty());
  scheduler.main.runTasks();
  EXPECT_TRUE(published.empty());
}

TEST(TimecodeRenderClockInTime, TicksSixtyTimesASecondWithoutAGap) {
  SimulatedWorld world;
  TimecodeRenderClock clock(world.clock(), world.scheduler(), world.log());
  std::vector<HostTime> ticks;
  QObject::connect(&clock, &TimecodeRenderClock::ticked, &clock, [&] { ticks.push_back(clock.hostTime()); });
  world.runFor(10s);
  // One at the start and 625 intervals of 16 ms, of which the last may still be within its leeway.
  EXPECT_GE(ticks.size(), 625U);
  EXPECT_LE(ticks.size(), 626U);
  EXPECT_TRUE(std::is_sorted(ticks.begin(), ticks.end()));
  EXPECT_FALSE(world.hasLogged("TimecodeRenderClock"));
}

}  // namespace
}  // namespace tallyrig
