#include "platform/simulated/DeviceTimeline.h"

using namespace std::chrono_literals;

namespace tallyrig {
namespace {

TEST(DeviceTimeline, CountsFromItsOriginAtItsRate) {
  const DeviceTimeline timeline(5s, 48000);
  EXPECT_EQ(timeline.timeAt(0).rounded(), 5s);
  EXPECT_EQ(timeline.timeAt(48000).rounded(), 6s);
  EXPECT_EQ(timeline.timeAt(-48000).rounded(), 4s);
  EXPECT_EQ(timeline.timeAt(1).rounded(), 5s + 20833ns);
  EXPECT_EQ(timeline.timeAt(1).roundedUp(), 5s + 20834ns);
}

TEST(DeviceTimeline, DoesNotDriftFromItsRateInAYear) {
  const DeviceTimeline timeline(0s, 44100);
  constexpr std::int64_t kYear = 365 * 24 * 3600;
  EXPECT_EQ(timeline.timeAt(44100 * kYear).rounded(), std::chrono::seconds{kYear});
}

TEST(DeviceTimeline, FindsThePlaceOfAnInstant) {
  const DeviceTimeline timeline(1s, 1000);
  EXPECT_EQ(timeline.placeAt(FineTime::fromNanos(1s)).position, 0);
  const auto between = timeline.placeAt(FineTime::fromNanos(1s + 2250us));
  EXPECT_EQ(between.position, 2);
  EXPECT_NEAR(between.fraction, 0.25, 1e-9);
  const auto before = timeline.placeAt(FineTime::fromNanos(1s - 1750us));
  EXPECT_EQ(before.position, -2);
  EXPECT_NEAR(before.fraction, 0.25, 1e-9);
}

TEST(DeviceTimeline, ChangesRateFromAPositionOn) {
  DeviceTimeline timeline(0s, 1000);
  timeline.changeRate(100, 2000);
  EXPECT_EQ(timeline.timeAt(50).rounded(), 50ms);
  EXPECT_EQ(timeline.timeAt(100).rounded(), 100ms);
  EXPECT_EQ(timeline.timeAt(200).rounded(), 150ms);
  EXPECT_EQ(timeline.placeAt(FineTime::fromNanos(50ms)).position, 50);
  EXPECT_EQ(timeline.placeAt(FineTime::fromNanos(150ms)).position, 200);
  timeline.changeRate(90, 500);
  EXPECT_EQ(timeline.timeAt(101).rounded(), 102ms) << "a change before the last one counts from that one on";
}

TEST(DeviceTimeline, SurvivesManyChanges) {
  DeviceTimeline timeline(0s, 1000);
  for (int i = 1; i <= 100; ++i) timeline.changeRate(i * 1000, i % 2 == 0 ? 1000 : 2000);
  EXPECT_EQ(timeline.timeAt(101'000).rounded(), 1s + 50 * 500ms + 50 * 1s);
}

}  // namespace
}  // namespace tallyrig
