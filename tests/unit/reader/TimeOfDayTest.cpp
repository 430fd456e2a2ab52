#include "reader/TimeOfDay.h"

#include <gtest/gtest.h>

namespace tallyrig {
namespace {

using namespace std::chrono_literals;
using namespace std::chrono;

constexpr sys_days kDay = sys_days(2026y / March / 5);

TEST(TimeOfDay, NamesTheFrameInProgress) {
  EXPECT_EQ(timeOfDay(kDay + 12h + 999ms, 0s, MTCFrameRate::fps24), (Timecode{12, 0, 0, 23, MTCFrameRate::fps24}));
  EXPECT_EQ(timeOfDay(kDay + 12h + 40ms, 0s, MTCFrameRate::fps25), (Timecode{12, 0, 0, 1, MTCFrameRate::fps25}));
  EXPECT_EQ(timeOfDay(kDay + 12h + 39ms, 0s, MTCFrameRate::fps25), (Timecode{12, 0, 0, 0, MTCFrameRate::fps25}));
  EXPECT_EQ(timeOfDay(kDay + 23h + 59min + 59s + 999'999us, 0s, MTCFrameRate::fps30),
            (Timecode{23, 59, 59, 29, MTCFrameRate::fps30}));
}

TEST(TimeOfDay, CountsDropFrameByItsTrueRateWithNoLabelLeftOut) {
  EXPECT_EQ(timeOfDay(kDay + 1min + 33ms, 0s, MTCFrameRate::fps2997).frames, 0);
  EXPECT_EQ(timeOfDay(kDay + 1min + 34ms, 0s, MTCFrameRate::fps2997).frames, 1);
  EXPECT_EQ(timeOfDay(kDay + 1min + 999ms, 0s, MTCFrameRate::fps2997).frames, 29);
}

TEST(TimeOfDay, FollowsTheTimeZoneAcrossMidnight) {
  EXPECT_EQ(timeOfDay(kDay + 23h, 2h, MTCFrameRate::fps25).hours, 1);
  EXPECT_EQ(timeOfDay(kDay + 1h, -5h, MTCFrameRate::fps25).hours, 20);
  EXPECT_EQ(timeOfDay(kDay + 1h, 5h + 30min, MTCFrameRate::fps25), (Timecode{6, 30, 0, 0, MTCFrameRate::fps25}));
}

TEST(TimeOfDay, HoldsBeforeTheEpochToo) {
  EXPECT_EQ(timeOfDay(sys_days(1969y / December / 31) + 23h + 500ms, 0s, MTCFrameRate::fps24),
            (Timecode{23, 0, 0, 12, MTCFrameRate::fps24}));
}

}  // namespace
}  // namespace tallyrig
