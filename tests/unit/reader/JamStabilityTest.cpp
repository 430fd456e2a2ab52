#include "reader/JamStability.h"

#include <gtest/gtest.h>

#include <chrono>

#include "platform/simulated/SimulatedClock.h"
#include "platform/simulated/SimulatedWorld.h"

namespace tallyrig {
namespace {

class JamStabilityTest : public testing::Test {
 protected:
  /// An anchor `frames` after 10:00:00:00, stamped `seconds` after the first.
  TimecodeAnchor anchor(std::int64_t frames, double seconds, MTCFrameRate rate = MTCFrameRate::fps25) const {
    const auto nanos = static_cast<std::uint64_t>(seconds * 1e9);
    return {Timecode{10, 0, 0, 0, rate}.advanced(frames), start + clock.ticksFromNanos(nanos)};
  }
  void add(const TimecodeAnchor& candidate) { stability.add(candidate, clock); }

  SimulatedWorld world;
  const HostClock& clock = world.clock();
  const HostTime start = clock.now();
  JamStability stability;
};

TEST_F(JamStabilityTest, CountsAnchorsThatFollowEachOther) {
  EXPECT_EQ(stability.count(), 0);
  for (int frame = 0; frame < 5; ++frame) {
    add(anchor(frame, frame / 25.0));
    EXPECT_EQ(stability.count(), frame + 1);
  }
}

TEST_F(JamStabilityTest, OneFrameOffEitherWayStillAgrees) {
  add(anchor(0, 0));
  add(anchor(26, 1));
  EXPECT_EQ(stability.count(), 2);
  add(anchor(50, 2));
  EXPECT_EQ(stability.count(), 3) << "one frame early, counted from the last anchor";
}

TEST_F(JamStabilityTest, TwoFramesOffBeginAgainAtOneNotAtNone) {
  add(anchor(0, 0));
  add(anchor(25, 1));
  add(anchor(52, 2));
  EXPECT_EQ(stability.count(), 1);
  add(anchor(77, 3));
  EXPECT_EQ(stability.count(), 2) << "compared with the anchor that broke the count";
  add(anchor(100, 4));
  add(anchor(123, 5));
  EXPECT_EQ(stability.count(), 1) << "two frames early";
}

TEST_F(JamStabilityTest, TheDistanceGoesTheShortWayRoundMidnight) {
  const Timecode last{23, 59, 59, 24, MTCFrameRate::fps25};
  add({last, start});
  add({Timecode{0, 0, 0, 1, MTCFrameRate::fps25}, start + clock.ticksFromNanos(40'000'000)});
  EXPECT_EQ(stability.count(), 2) << "a jump of one frame across midnight";
}

TEST_F(JamStabilityTest, AnotherRateBeginsAgain) {
  add(anchor(0, 0));
  add(anchor(1, 0.04));
  add(anchor(2, 0.08, MTCFrameRate::fps30));
  EXPECT_EQ(stability.count(), 1);
}

TEST_F(JamStabilityTest, ALateDeliveryDoesNotMatterOnlyTheStampsDo) {
  add(anchor(0, 0));
  world.runFor(std::chrono::seconds(3));
  add(anchor(1, 0.04));
  EXPECT_EQ(stability.count(), 2);
}

TEST_F(JamStabilityTest, ARestartStillComparesWithTheLastAnchor) {
  add(anchor(0, 0));
  add(anchor(1, 0.04));
  stability.restart();
  EXPECT_EQ(stability.count(), 0);
  add(anchor(2, 0.08));
  EXPECT_EQ(stability.count(), 1);
  stability.restart();
  add(anchor(500, 0.12));
  EXPECT_EQ(stability.count(), 1) << "a jump counts as the first";
}

TEST_F(JamStabilityTest, AResetForgetsEverything) {
  add(anchor(0, 0));
  add(anchor(1, 0.04));
  stability.reset();
  EXPECT_EQ(stability.count(), 0);
  add(anchor(2, 0.08));
  EXPECT_EQ(stability.count(), 1);
}

}  // namespace
}  // namespace tallyrig
