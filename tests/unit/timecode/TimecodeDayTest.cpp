// Every frame of the day, at every rate, against a counter that only knows how to add one.

#include <gtest/gtest.h>

#include <random>

#include "timecode/Timecode.h"

namespace tallyrig {
namespace {

/// SMPTE 12M counting, one label at a time.
class LabelCounter {
 public:
  explicit LabelCounter(MTCFrameRate rate)
      : rate_(rate),
        perSecond_(rate == MTCFrameRate::fps24   ? 24
                   : rate == MTCFrameRate::fps25 ? 25
                                                 : 30) {}

  Timecode label() const { return {hours_, minutes_, seconds_, frames_, rate_}; }

  void next() {
    if (++frames_ < perSecond_) return;
    frames_ = 0;
    if (++seconds_ < 60) return;
    seconds_ = 0;
    if (++minutes_ == 60) {
      minutes_ = 0;
      hours_ = (hours_ + 1) % 24;
    }
    if (rate_ == MTCFrameRate::fps2997 && minutes_ % 10 != 0) frames_ = 2;
  }

 private:
  MTCFrameRate rate_;
  int perSecond_;
  int hours_ = 0;
  int minutes_ = 0;
  int seconds_ = 0;
  int frames_ = 0;
};

class TimecodeDay : public testing::TestWithParam<MTCFrameRate> {};

TEST_P(TimecodeDay, EveryFrameHasItsLabelAndEveryLabelItsFrame) {
  LabelCounter counter(GetParam());
  for (std::int64_t count = 0; count < framesPerDay(GetParam()); ++count, counter.next()) {
    const Timecode label = counter.label();
    if (Timecode::fromTotalFrames(count, GetParam()) != label || label.totalFrames() != count) {
      FAIL() << "frame " << count << " is " << label.text() << ", not "
             << Timecode::fromTotalFrames(count, GetParam()).text() << "; label counts as " << label.totalFrames();
    }
  }
  EXPECT_EQ(counter.label(), (Timecode{0, 0, 0, 0, GetParam()})) << "the day is one frame count long";
}

TEST_P(TimecodeDay, OneFrameOnAndOneFrameBackAreNeighbours) {
  LabelCounter counter(GetParam());
  Timecode before = counter.label();
  for (std::int64_t count = 0; count < framesPerDay(GetParam()); ++count) {
    counter.next();
    const Timecode after = counter.label();
    if (before.advanced(1) != after || after.advanced(-1) != before || before.signedFrameDistance(after) != 1 ||
        after.signedFrameDistance(before) != -1) {
      FAIL() << before.text() << " and " << after.text() << " should be neighbours";
    }
    before = after;
  }
}

TEST_P(TimecodeDay, DistancesCloseTheCircle) {
  constexpr unsigned kSeed = 4711;
  SCOPED_TRACE("seed " + std::to_string(kSeed));
  std::mt19937_64 random(kSeed);
  const std::int64_t perDay = framesPerDay(GetParam());
  std::uniform_int_distribution<std::int64_t> anyFrame(0, perDay - 1);
  for (int round = 0; round < 100000; ++round) {
    const Timecode from = Timecode::fromTotalFrames(anyFrame(random), GetParam());
    const Timecode to = Timecode::fromTotalFrames(anyFrame(random), GetParam());
    const std::int64_t distance = from.signedFrameDistance(to).value();
    ASSERT_LE(std::abs(distance), perDay / 2);
    ASSERT_EQ(from.advanced(distance), to);
    // Both ways round are equally short at half a day only.
    const std::int64_t back = to.signedFrameDistance(from).value();
    ASSERT_EQ(back, -distance);
  }
}

std::string rateName(const testing::TestParamInfo<MTCFrameRate>& rate) {
  static const std::vector<std::string> kNames{"Fps24", "Fps25", "Fps2997", "Fps30"};
  return kNames[static_cast<std::size_t>(rate.param)];
}
INSTANTIATE_TEST_SUITE_P(EveryRate, TimecodeDay,
                         testing::Values(MTCFrameRate::fps24, MTCFrameRate::fps25, MTCFrameRate::fps2997,
                                         MTCFrameRate::fps30),
                         rateName);

}  // namespace
}  // namespace tallyrig
