#include "timecode/TimecodeAnchor.h"

#include <gtest/gtest.h>

#include "platform/simulated/SimulatedClock.h"

namespace tallyrig {
namespace {

/// Both kinds of clock: a tick of 1 ns, and one of 125/3 ns, where a nanosecond is no whole number of ticks.
class TimecodeAnchorOnClock : public testing::TestWithParam<TickRatio> {
 protected:
  SimulatedClock clock{GetParam()};
};

TEST_P(TimecodeAnchorOnClock, NeverRunsBackwards) {
  const TimecodeAnchor anchor{{1, 0, 0, 0, MTCFrameRate::fps25}, {1000000}};
  EXPECT_EQ(anchor.extrapolated({1000000}, clock), anchor.timecode);
  EXPECT_EQ(anchor.extrapolated({999999}, clock), anchor.timecode);
  EXPECT_EQ(anchor.extrapolated({0}, clock), anchor.timecode);
}

TEST_P(TimecodeAnchorOnClock, AValueOutOfRangeIsReturnedAsItStandsUntilTimePasses) {
  const TimecodeAnchor anchor{{0, 1, 0, 0, MTCFrameRate::fps2997}, {50}};
  EXPECT_EQ(anchor.extrapolated({50}, clock).text(), "00:01:00:00");
}

// The tick at which a frame begins is the first whose nanoseconds reach the frame's share of a second.
TEST_P(TimecodeAnchorOnClock, MovesOnAtTheFirstTickOfEachFrame) {
  for (const MTCFrameRate rate :
       {MTCFrameRate::fps24, MTCFrameRate::fps25, MTCFrameRate::fps2997, MTCFrameRate::fps30}) {
    const std::uint64_t above = rate == MTCFrameRate::fps2997 ? 30000 : nominalFrameRate(rate);
    const std::uint64_t below = rate == MTCFrameRate::fps2997 ? 1001 : 1;
    const TimecodeAnchor anchor{{0, 0, 59, 0, rate}, {777}};
    for (std::uint64_t frame = 1; frame < 3000; ++frame) {
      // Only the frames whose begin is no whole nanosecond, where no rounding can hide which side a tick is on.
      if (frame * below * 1000000000 % above == 0) continue;
      const std::uint64_t nanosBefore = frame * below * 1000000000 / above;
      const auto [numerator, denominator] = GetParam();
      // The last tick whose whole nanoseconds are not above `nanosBefore`.
      const std::uint64_t lastTick = ((nanosBefore + 1) * denominator - 1) / numerator;
      const Timecode expected = anchor.timecode.advanced(static_cast<std::int64_t>(frame));
      ASSERT_EQ(anchor.extrapolated({777 + lastTick}, clock), expected.advanced(-1)) << rateText(rate) << " " << frame;
      ASSERT_EQ(anchor.extrapolated({777 + lastTick + 1}, clock), expected) << rateText(rate) << " " << frame;
    }
  }
}

TEST_P(TimecodeAnchorOnClock, DropFrameFollowsTheExactRateAndSkipsLabels) {
  const TimecodeAnchor anchor{{0, 0, 0, 0, MTCFrameRate::fps2997}, {0}};
  // 1001 s are 30000 frames; half a frame on keeps clear of the boundary.
  const HostTime later = HostTime{} + clock.ticksFromNanos(1001000000000 + 16000000);
  EXPECT_EQ(anchor.extrapolated(later, clock).totalFrames(), 30000);
  EXPECT_EQ(anchor.extrapolated(later, clock).text(), "00:16:41:00");
}

TEST_P(TimecodeAnchorOnClock, RunsRoundMidnight) {
  const TimecodeAnchor anchor{{23, 59, 59, 24, MTCFrameRate::fps25}, {0}};
  EXPECT_EQ(anchor.extrapolated(HostTime{} + clock.ticksFromNanos(41000000), clock),
            (Timecode{0, 0, 0, 0, MTCFrameRate::fps25}));
  const std::uint64_t threeDays = 3 * 86400ULL * 1000000000;
  EXPECT_EQ(anchor.extrapolated(HostTime{} + clock.ticksFromNanos(threeDays + 20000000), clock), anchor.timecode);
}

TEST_P(TimecodeAnchorOnClock, AnOffsetOfWholeMillisecondsIsExact) {
  const HostTime base{1000000000};
  const HostDuration second = clock.ticksFromNanos(1000000000);
  EXPECT_EQ(offsetBySamples(base, 48000, 48000, clock), base + second);
  EXPECT_EQ(offsetBySamples(base, -48000, 48000, clock), base - second);
  EXPECT_EQ(offsetBySamples(base, 0, 48000, clock), base);
}

TEST_P(TimecodeAnchorOnClock, AnOffsetNeverGoesBeforeInstantZero) {
  EXPECT_EQ(offsetBySamples({5}, -48000, 48000, clock), HostTime{0});
  EXPECT_EQ(offsetBySamples({0}, -1, 8000, clock), HostTime{0});
  const HostDuration second = clock.ticksFromNanos(1000000000);
  EXPECT_EQ(offsetBySamples({second.ticks}, -48000, 48000, clock), HostTime{0});
  EXPECT_EQ(offsetBySamples({second.ticks + 1}, -48000, 48000, clock), HostTime{1});
}

INSTANTIATE_TEST_SUITE_P(Ticks, TimecodeAnchorOnClock, testing::Values(TickRatio{1, 1}, TickRatio{125, 3}),
                         [](const auto& tick) { return tick.index == 0 ? "OneNano" : "Of125ThirdsNanos"; });

TEST(OffsetBySamples, RoundsHalfANanosecondAwayFromZero) {
  const SimulatedClock clock;
  // At 400 MHz a sample is 2.5 ns.
  EXPECT_EQ(offsetBySamples({100}, 1, 4e8, clock), HostTime{103});
  EXPECT_EQ(offsetBySamples({100}, -1, 4e8, clock), HostTime{97});
  EXPECT_EQ(offsetBySamples({100}, 2, 4e8, clock), HostTime{105});
  // The quotient comes first: 3 / 4e8 falls short of 7.5 ns by its last bit.
  EXPECT_EQ(offsetBySamples({100}, 3, 4e8, clock), HostTime{107});
  EXPECT_EQ(offsetBySamples({100}, -3, 4e8, clock), HostTime{93});
  // 1/44100 s is 22675.7 ns; 1/48000 s is 20833.3 ns.
  EXPECT_EQ(offsetBySamples({0}, 1, 44100, clock), HostTime{22676});
  EXPECT_EQ(offsetBySamples({0}, 1, 48000, clock), HostTime{20833});
}

TEST(OffsetBySamples, GoesToTicksThroughWholeNanoseconds) {
  const SimulatedClock clock({125, 3});
  // 20833 ns are 499.99 ticks of 125/3 ns, 20834 ns would be 500.01.
  EXPECT_EQ(offsetBySamples({1000}, 1, 48000, clock), HostTime{1499});
  EXPECT_EQ(offsetBySamples({1000}, -1, 48000, clock), HostTime{501});
}

TEST(TimecodeAnchor, EqualityAndHashTakeBothParts) {
  const TimecodeAnchor anchor{{1, 2, 3, 4, MTCFrameRate::fps25}, {5}};
  EXPECT_EQ(anchor, (TimecodeAnchor{{1, 2, 3, 4, MTCFrameRate::fps25}, {5}}));
  const TimecodeAnchor otherTime{{1, 2, 3, 4, MTCFrameRate::fps25}, {6}};
  const TimecodeAnchor otherCode{{1, 2, 3, 4, MTCFrameRate::fps30}, {5}};
  EXPECT_NE(anchor, otherTime);
  EXPECT_NE(anchor, otherCode);
  const std::hash<TimecodeAnchor> hash;
  EXPECT_NE(hash(anchor), hash(otherTime));
  EXPECT_NE(hash(anchor), hash(otherCode));
}

}  // namespace
}  // namespace tallyrig
