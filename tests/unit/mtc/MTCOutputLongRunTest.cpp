#include <cstdint>
#include <optional>

#include "OutputWorkerFixture.h"

namespace tallyrig {
namespace {

using namespace std::chrono_literals;

struct LongRun {
  MTCFrameRate rate;
  std::uint64_t periodNanos;
};

class MTCOutputLongRun : public testing::TestWithParam<LongRun>, public OutputWorkerFixture {
 protected:
  /// Frames that have passed `nanos` after the anchor, in whole numbers.
  std::int64_t framesIn(std::uint64_t nanos) const {
    if (GetParam().rate == MTCFrameRate::fps2997) return static_cast<std::int64_t>(nanos * 30 / 1'001'000'000);
    return static_cast<std::int64_t>(nanos * static_cast<std::uint64_t>(nominalFrameRate(GetParam().rate)) /
                                     1'000'000'000);
  }
};

INSTANTIATE_TEST_SUITE_P(Rates, MTCOutputLongRun,
                         testing::Values(LongRun{MTCFrameRate::fps24, 10416667}, LongRun{MTCFrameRate::fps25, 10000000},
                                         LongRun{MTCFrameRate::fps2997, 8341667},
                                         LongRun{MTCFrameRate::fps30, 8333333}),
                         [](const auto& test) { return "code" + std::to_string(static_cast<int>(test.param.rate)); });

TEST_P(MTCOutputLongRun, KeepsToItsAnchorForAnHourAcrossMidnight) {
  const HostDuration period = ticks(GetParam().periodNanos);
  const TimecodeAnchor anchor = anchorNow(23, 29, 59, 13, GetParam().rate);
  start(anchor);
  std::uint64_t count = 0;
  std::vector<SentMessage> sequence;
  std::optional<Timecode> previous;
  int unevenSteps = 0;
  // So that no slice ends where a quarter frame falls due.
  world.runFor(1ms);
  for (int slice = 0; slice < 360; ++slice) {
    world.runFor(10s);
    for (const SentMessage& message : desk.received()) {
      if (isLocate(message)) continue;
      ++count;
      ASSERT_EQ(message.at, anchor.hostTime + HostDuration{period.ticks * count}) << "quarter frame " << count;
      sequence.push_back(message);
      if (sequence.size() < 8) continue;
      const Timecode carried = assembled(sequence, 0);
      const std::uint64_t nanos = world.clock().nanosFromTicks(sequence[0].at - anchor.hostTime);
      ASSERT_EQ(carried, anchor.timecode.advanced(framesIn(nanos))) << "quarter frame " << count;
      if (previous && previous->signedFrameDistance(carried) != 2) ++unevenSteps;
      previous = carried;
      sequence.clear();
    }
    desk.clearReceived();
  }
  const std::uint64_t expected = 3'600'001'000'000ull * 3 / 125 / period.ticks;
  EXPECT_EQ(count, expected);
  EXPECT_LE(unevenSteps, 1) << "two frames a sequence, but for the rounding of the period";
  EXPECT_EQ(world.logLines().size(), 1u);
}

}  // namespace
}  // namespace tallyrig
