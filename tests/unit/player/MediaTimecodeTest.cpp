#include "player/MediaTimecode.h"

#include <gtest/gtest.h>

#include <limits>

namespace tallyrig {
namespace {

TEST(PositionText, ShowsHoursFromOneHourOn) {
  EXPECT_EQ(positionText(0), "00:00.000");
  EXPECT_EQ(positionText(61.25), "01:01.250");
  EXPECT_EQ(positionText(3599.9996), "59:59.999");
  EXPECT_EQ(positionText(3600), "01:00:00.000");
  EXPECT_EQ(positionText(360'000.5), "100:00:00.500");
}

TEST(PositionText, WhatIsNoNumberIsZero) {
  EXPECT_EQ(positionText(std::numeric_limits<double>::quiet_NaN()), "00:00.000");
  EXPECT_EQ(positionText(std::numeric_limits<double>::infinity()), "00:00.000");
}

TEST(RunningTimecode, MovesOnFromTheStart) {
  const Timecode start{10, 0, 0, 0, MTCFrameRate::fps25};
  EXPECT_EQ(runningTimecodeText(start, 0), "10:00:00:00");
  EXPECT_EQ(runningTimecodeText(start, 0.0399), "10:00:00:00");
  EXPECT_EQ(runningTimecodeText(start, 0.04), "10:00:00:01");
  EXPECT_EQ(runningTimecodeText(start, 61), "10:01:01:00");
  EXPECT_EQ(runningTimecodeText(Timecode{23, 59, 59, 24, MTCFrameRate::fps25}, 0.04), "00:00:00:00");
  EXPECT_EQ(runningTimecodeText(std::nullopt, 5), "--:--:--:--");
}

TEST(RunningTimecode, EveryFrameOfAMinuteStandsAtItsOwnTime) {
  for (const MTCFrameRate rate :
       {MTCFrameRate::fps24, MTCFrameRate::fps25, MTCFrameRate::fps2997, MTCFrameRate::fps30}) {
    const Timecode start{0, 59, 30, 0, rate};
    for (int frame = 0; frame < 1800; ++frame) {
      ASSERT_EQ(runningTimecodeText(start, frame / exactFrameRate(rate)), start.advanced(frame).text()) << frame;
    }
  }
}

TEST(PositionOfTimecode, IsTheDistanceFromTheStart) {
  const Timecode start{1, 0, 0, 0, MTCFrameRate::fps25};
  EXPECT_EQ(positionOfTimecode(start, "01:00:10:05"), 10.2);
  EXPECT_EQ(positionOfTimecode(start, "1;0;10;5"), 10.2);
  EXPECT_EQ(positionOfTimecode(start, "00:59:59:00"), -1.0);
  EXPECT_DOUBLE_EQ(*positionOfTimecode({0, 0, 0, 0, MTCFrameRate::fps2997}, "00:01:00:02"), 1800 * 1001 / 30000.0);
}

TEST(PositionOfTimecode, GoesRoundMidnight) {
  const Timecode start{23, 59, 50, 0, MTCFrameRate::fps25};
  EXPECT_EQ(positionOfTimecode(start, "00:00:05:00"), 15.0);
  EXPECT_EQ(positionOfTimecode(start, "23:59:49:00"), -1.0);
}

TEST(PositionOfTimecode, WhatIsNoTimecodeHasNoPlace) {
  const Timecode start{1, 0, 0, 0, MTCFrameRate::fps24};
  for (const char* text : {"", "1:0:0", "1:0:0:0:0", "1:0:0:a", "1:0::0", "24:00:00:00", "01:60:00:00", "01:00:60:00",
                           "01:00:00:24", "01:00:00:-1", "01:00:00:99999999999999999999", " 01:00:00:00"}) {
    EXPECT_EQ(positionOfTimecode(start, text), std::nullopt) << text;
  }
}

}  // namespace
}  // namespace tallyrig
