#include "platform/simulated/SimulatedClock.h"

#include <limits>

#include "platform/simulated/SimulatedWallClock.h"

using namespace std::chrono_literals;

namespace tallyrig {
namespace {

constexpr std::uint64_t kLargest = std::numeric_limits<std::uint64_t>::max();

TEST(SimulatedClock, CountsOneTickPerNanosecondByDefault) {
  SimulatedClock clock({}, 5s);
  EXPECT_EQ(clock.now().ticks, 5'000'000'000u);
  EXPECT_EQ(clock.nanosFromTicks({123}), 123u);
  EXPECT_EQ(clock.ticksFromNanos(123).ticks, 123u);
}

TEST(SimulatedClock, ConvertsATickThatIsNotAWholeNumberOfNanoseconds) {
  const SimulatedClock clock({125, 3}, 1s);
  EXPECT_EQ(clock.now().ticks, 24'000'000u);
  EXPECT_EQ(clock.nanosFromTicks({3}), 125u);
  EXPECT_EQ(clock.nanosFromTicks({1}), 41u);
  EXPECT_EQ(clock.ticksFromNanos(124).ticks, 2u);
  EXPECT_EQ(clock.ticksFromNanos(125).ticks, 3u);
}

TEST(SimulatedClock, StaysExactWhereSixtyFourBitsWouldOverflow) {
  const SimulatedClock clock({125, 3});
  EXPECT_EQ(clock.ticksFromNanos(kLargest).ticks, kLargest / 125 * 3 + (kLargest % 125) * 3 / 125);
  EXPECT_EQ(clock.nanosFromTicks({3'000'000'000'000'000'000 / 25}), 5'000'000'000'000'000'000u);
}

TEST(SimulatedClock, StopsAtTheLargestValueOfAConversion) {
  const SimulatedClock clock({125, 3});
  EXPECT_EQ(clock.nanosFromTicks({kLargest}), kLargest);
}

TEST(SimulatedClock, StandsStillUntilItIsMoved) {
  SimulatedClock clock({1, 1}, 10s);
  EXPECT_EQ(clock.now(), clock.now());
  clock.advance(1ms);
  EXPECT_EQ(clock.now().ticks, 10'001'000'000u);
  clock.set(2s);
  EXPECT_EQ(clock.now().ticks, 2'000'000'000u);
}

TEST(SimulatedWallClock, MovesWithTheHostClockAndCanBeSet) {
  SimulatedClock clock;
  const SimulatedWallClock::TimePoint noon{std::chrono::sys_days{std::chrono::year{2026} / 7 / 1} + 12h};
  SimulatedWallClock wall(clock, noon);
  clock.advance(1500ms);
  EXPECT_EQ(wall.now(), noon + 1500ms);
  wall.set(noon - 24h);
  clock.advance(1s);
  EXPECT_EQ(wall.now(), noon - 24h + 1s);
  EXPECT_EQ(wall.utcOffset(noon), 0s);
  wall.setUtcOffset(-3h - 30min);
  EXPECT_EQ(wall.utcOffset(noon), -12600s);
}

}  // namespace
}  // namespace tallyrig
