#include "platform/desktop/TimerPlan.h"

#include <set>

#include "unit/desktop/Instants.h"

namespace tallyrig {
namespace {

using namespace std::chrono_literals;
using Instant = TimerPlan::Instant;

TEST(TimerPlan, WithoutLeewayAnEventComesAtItsDeadline) {
  const TimerPlan plan({.interval = 2ms, .first = 300ns}, at(1s + 7ns));
  EXPECT_EQ(plan.deadline(), at(1s + 307ns));
  EXPECT_EQ(plan.expiry(), plan.deadline());
}

TEST(TimerPlan, TheFirstEventIsDueAtOnceUnlessDelayed) {
  EXPECT_EQ(TimerPlan({.interval = 16ms}, at(5s)).deadline(), at(5s));
  EXPECT_EQ(TimerPlan({.interval = 16ms, .first = -1s}, at(5s)).deadline(), at(5s));
}

TEST(TimerPlan, ExpiryStaysBetweenDeadlineAndLeeway) {
  for (const auto leeway : {0us, 10us, 15us, 16us, 100us, 999us, 1000us, 1001us, 7000us, 100000us}) {
    for (std::chrono::nanoseconds start = 1s; start < 1s + 3ms; start += 7919ns) {
      const TimerPlan plan({.interval = 2ms, .leeway = leeway}, at(start));
      EXPECT_GE(plan.expiry(), plan.deadline());
      EXPECT_LE(plan.expiry(), plan.deadline() + leeway);
    }
  }
}

TEST(TimerPlan, TimersWithinOneLeewayMeetOnFewInstants) {
  std::set<Instant> expiries;
  for (int i = 0; i < 64; ++i) {
    expiries.insert(TimerPlan({.interval = 2ms, .leeway = 1ms}, at(1s + i * 31us)).expiry());
  }
  EXPECT_EQ(expiries, (std::set{at(1000ms), at(1001ms), at(1002ms)}));
}

TEST(TimerPlan, ALongerLeewayMeetsOnInstantsOfAShorterOne) {
  const TimerPlan plan({.interval = 50ms, .leeway = 5ms}, at(1s + 1ns));
  EXPECT_EQ(plan.expiry(), at(1004ms));
  const TimerPlan shorter({.interval = 2ms, .leeway = 500us}, at(1s + 1003600us));
  EXPECT_EQ(shorter.expiry(), at(2004ms));
}

TEST(TimerPlan, TheScheduleDoesNotDriftWithLateEvents) {
  TimerPlan plan({.interval = 2ms, .leeway = 1ms}, at(1s));
  for (int i = 0; i < 1000; ++i) {
    EXPECT_EQ(plan.deadline(), at(1s + i * 2ms));
    plan.advance(plan.expiry() + 900us);
  }
}

TEST(TimerPlan, MissedDeadlinesMergeIntoOneEvent) {
  TimerPlan plan({.interval = 2ms}, at(1s));
  plan.advance(at(1s + 7ms));
  EXPECT_EQ(plan.deadline(), at(1s + 8ms));
  plan.advance(at(1s + 8ms));
  EXPECT_EQ(plan.deadline(), at(1s + 10ms));
}

TEST(TimerPlan, AnIntervalOfZeroStillGoesOn) {
  TimerPlan plan({.interval = 0ns}, at(1s));
  plan.advance(at(1s));
  EXPECT_EQ(plan.deadline(), at(1s + 1ns));
}

}  // namespace
}  // namespace tallyrig
