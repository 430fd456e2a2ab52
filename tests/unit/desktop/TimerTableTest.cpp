#include "platform/desktop/TimerTable.h"

#include "unit/desktop/Instants.h"

namespace tallyrig {
namespace {

using namespace std::chrono_literals;
using Instant = TimerTable::Instant;

std::shared_ptr<TimedEvent> event(TimerSchedule schedule, Instant start, bool repeats) {
  return std::make_shared<TimedEvent>(TimedEvent{.plan = TimerPlan(schedule, start), .repeats = repeats, .due = {}});
}

TEST(TimerTable, AnEmptyTableHasNoEarliest) {
  TimerTable table;
  EXPECT_EQ(table.earliest(), std::nullopt);
  EXPECT_TRUE(table.takeDue(at(1s)).empty());
}

TEST(TimerTable, GivesWhatIsDueInTheOrderOfDeadlines) {
  TimerTable table;
  const auto third = event({.interval = 1ms, .first = 3ms}, at(1s), false);
  const auto second = event({.interval = 1ms, .leeway = 2ms, .first = 1500us}, at(1s), false);
  const auto first = event({.interval = 1ms, .leeway = 2ms, .first = 1ms}, at(1s), false);
  const auto later = event({.interval = 1ms, .first = 4ms}, at(1s), false);
  for (const auto& each : {third, later, second, first}) table.add(each);
  EXPECT_EQ(table.earliest(), at(1s + 2ms));
  EXPECT_TRUE(table.takeDue(at(1s + 2ms - 1ns)).empty());
  EXPECT_EQ(table.takeDue(at(1s + 3ms)), (std::vector{first, second, third}));
  EXPECT_EQ(table.earliest(), at(1s + 4ms));
  EXPECT_EQ(table.size(), 1);
}

TEST(TimerTable, EqualDeadlinesKeepTheOrderOfAdding) {
  TimerTable table;
  std::vector<std::shared_ptr<TimedEvent>> added;
  for (int i = 0; i < 8; ++i) {
    added.push_back(event({.interval = 1ms, .first = 1ms}, at(1s), false));
    table.add(added.back());
  }
  EXPECT_EQ(table.takeDue(at(2s)), added);
}

TEST(TimerTable, ARepeatingEventStaysAndComesOnceHoweverLate) {
  TimerTable table;
  const auto repeating = event({.interval = 2ms}, at(1s), true);
  table.add(repeating);
  EXPECT_EQ(table.takeDue(at(1s + 9ms)), std::vector{repeating});
  EXPECT_EQ(table.earliest(), at(1s + 10ms));
}

TEST(TimerTable, ARemovedEventDoesNotCome) {
  TimerTable table;
  const auto kept = event({.interval = 2ms}, at(1s), true);
  const auto removed = event({.interval = 2ms}, at(1s), true);
  table.add(kept);
  table.add(removed);
  EXPECT_EQ(table.takeDue(at(1s)).size(), 2);
  table.remove(*removed);
  table.remove(*removed);
  EXPECT_EQ(table.takeDue(at(2s)), std::vector{kept});
}

TEST(TimerTable, TakeAllEmptiesIt) {
  TimerTable table;
  table.add(event({.interval = 2ms}, at(1s), true));
  table.add(event({.interval = 2ms}, at(1s), false));
  EXPECT_EQ(table.takeAll().size(), 2);
  EXPECT_EQ(table.size(), 0);
}

/// Ten seconds of a full wall: sixty-four 2 ms timers, started at sixty-four different instants.
TEST(TimerTable, SixtyFourTwoMillisecondTimersCostAThousandWakeUpsASecond) {
  TimerTable table;
  for (int i = 0; i < 64; ++i) {
    table.add(event({.interval = 2ms, .leeway = 1ms, .first = i * 31us}, at(1s), true));
  }
  int wakeUps = 0;
  int events = 0;
  while (*table.earliest() < at(11s)) {
    ++wakeUps;
    events += static_cast<int>(table.takeDue(*table.earliest() + 40us).size());
  }
  EXPECT_EQ(wakeUps, 10'000);
  EXPECT_NEAR(events, 64 * 5000, 64);
}

}  // namespace
}  // namespace tallyrig
