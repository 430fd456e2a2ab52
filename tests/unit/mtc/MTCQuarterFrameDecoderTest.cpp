#include "mtc/MTCQuarterFrameDecoder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

#include "platform/simulated/SimulatedWorld.h"
#include "support/MTCSignal.h"
#include "unit/mtc/Cues.h"

namespace tallyrig {
namespace {

using namespace std::chrono_literals;
using enum MTCFrameRate;
using testing::ElementsAre;
using testing::IsEmpty;

/// Of 25 frames a second, in ticks of 1 ns.
constexpr std::uint64_t kPeriod = 10'000'000;
constexpr HostTime kBegin{5'000'000'000};

struct DecodedAnchor {
  TimecodeAnchor anchor;
  double spanMilliseconds;
  double delayMilliseconds;
};

class MTCQuarterFrameDecoderTest : public testing::Test {
 protected:
  void SetUp() override {
    decoder.onAnchor = [this](const TimecodeAnchor& anchor, double span, double delay) {
      results.push_back({anchor, span, delay});
    };
  }

  void piece(int number, HostTime time, const Timecode& timecode = kStart) {
    decoder.process(quarterFrameData(timecode, number), time);
  }
  /// Pieces `first` to `last`, the first at `time` and each `spacing` ticks after the one before. Returns the time of
  /// the piece that would follow.
  HostTime pieces(int first, int last, HostTime time, const Timecode& timecode = kStart,
                  std::uint64_t spacing = kPeriod) {
    for (int number = first; number <= last; ++number) {
      piece(number, time, timecode);
      time = time + HostDuration{spacing};
    }
    return time;
  }

  SimulatedWorld world;
  MTCQuarterFrameDecoder decoder{world.clock(), world.log()};
  std::vector<DecodedAnchor> results;
};

TEST_F(MTCQuarterFrameDecoderTest, EightPiecesGiveOneAnchorAtTheTimeOfTheFirst) {
  pieces(0, 7, kBegin);
  ASSERT_EQ(results.size(), 1U);
  EXPECT_EQ(results[0].anchor, (TimecodeAnchor{kStart, kBegin}));
  EXPECT_THAT(world.logLines(), IsEmpty());
}

TEST_F(MTCQuarterFrameDecoderTest, AFollowingRunGivesAnotherAnchorWithNoGap) {
  const HostTime second = pieces(0, 7, kBegin);
  pieces(0, 7, second, kStart.advanced(2));
  ASSERT_EQ(results.size(), 2U);
  EXPECT_EQ(results[1].anchor, (TimecodeAnchor{kStart.advanced(2), kBegin + HostDuration{8 * kPeriod}}));
  EXPECT_THAT(world.logLines(), IsEmpty());
}

TEST_F(MTCQuarterFrameDecoderTest, EveryRateIsReadAtItsOwnPace) {
  for (const MTCFrameRate rate : kMTCRates) {
    results.clear();
    const Timecode timecode{23, 59, 59, maxFrameField(rate), rate};
    pieces(0, 7, kBegin, timecode, quarterFrameNanos(rate));
    ASSERT_EQ(results.size(), 1U) << rateText(rate);
    EXPECT_EQ(results[0].anchor, (TimecodeAnchor{timecode, kBegin}));
  }
  EXPECT_THAT(world.logLines(), IsEmpty());
}

TEST_F(MTCQuarterFrameDecoderTest, SpanAndDelayAreMeasuredFromTheStamps) {
  world.clock().set(std::chrono::nanoseconds(kBegin.ticks + 7 * kPeriod + 1'500'000));
  pieces(0, 7, kBegin);
  ASSERT_EQ(results.size(), 1U);
  EXPECT_EQ(results[0].spanMilliseconds, 70.0);
  EXPECT_EQ(results[0].delayMilliseconds, 1.5);
}

TEST_F(MTCQuarterFrameDecoderTest, StampsOfTheFutureHaveNoDelay) {
  world.clock().set(1ns);
  pieces(0, 7, kBegin);
  ASSERT_EQ(results.size(), 1U);
  EXPECT_EQ(results[0].delayMilliseconds, 0.0);
}

TEST_F(MTCQuarterFrameDecoderTest, AnEndWithoutABeginningIsPassedOverInSilence) {
  const HostTime begin = pieces(1, 7, kBegin);
  EXPECT_THAT(results, IsEmpty());
  EXPECT_THAT(world.logLines(), IsEmpty());
  pieces(0, 7, begin);
  EXPECT_EQ(results.size(), 1U);
}

TEST_F(MTCQuarterFrameDecoderTest, PieceZeroStartsAnewInSilence) {
  const HostTime begin = pieces(0, 4, kBegin);
  pieces(0, 7, begin, kStart.advanced(50));
  ASSERT_EQ(results.size(), 1U);
  EXPECT_EQ(results[0].anchor, (TimecodeAnchor{kStart.advanced(50), begin}));
  EXPECT_THAT(world.logLines(), IsEmpty());
}

TEST_F(MTCQuarterFrameDecoderTest, ALostPieceLosesTheSequenceInSilence) {
  for (int lost = 0; lost < kQuarterFramePieces; ++lost) {
    HostTime time = pieces(0, lost - 1, kBegin);
    time = pieces(lost + 1, 7, time + HostDuration{kPeriod});
    EXPECT_THAT(results, IsEmpty()) << lost;
    pieces(0, 7, time);
    EXPECT_EQ(results.size(), 1U) << lost;
    results.clear();
  }
  EXPECT_THAT(world.logLines(), IsEmpty());
}

TEST_F(MTCQuarterFrameDecoderTest, ARepeatedPieceLosesTheSequence) {
  const HostTime time = pieces(0, 3, kBegin);
  pieces(3, 7, time);
  EXPECT_THAT(results, IsEmpty());
}

TEST_F(MTCQuarterFrameDecoderTest, AStreamThatRunsBackwardsYieldsNothing) {
  HostTime time = kBegin;
  for (int sequence = 0; sequence < 20; ++sequence) {
    for (int number = 7; number >= 0; --number) {
      piece(number, time, kStart.advanced(-2 * sequence));
      time = time + HostDuration{kPeriod};
    }
  }
  EXPECT_THAT(results, IsEmpty());
  EXPECT_THAT(world.logLines(), IsEmpty());
}

TEST_F(MTCQuarterFrameDecoderTest, ATurnToForwardsIsFoundAtTheNextPieceZero) {
  HostTime time = kBegin;
  for (int number = 7; number >= 3; --number) {
    piece(number, time);
    time = time + HostDuration{kPeriod};
  }
  time = pieces(4, 7, time);
  EXPECT_THAT(results, IsEmpty());
  pieces(0, 7, time);
  EXPECT_EQ(results.size(), 1U);
}

TEST_F(MTCQuarterFrameDecoderTest, TwoPiecesWithOneStampMakeAnUnsteadySequence) {
  for (int number = 0; number < kQuarterFramePieces; ++number) {
    piece(number, kBegin + HostDuration{static_cast<std::uint64_t>(number / 2) * 2 * kPeriod});
  }
  EXPECT_THAT(results, IsEmpty());
  EXPECT_THAT(world.logLines(),
              ElementsAre("MTCReceiver: rejecting invalid quarter-frame cadence [20.0, 20.0, 20.0]ms at 25 fps"));
}

TEST_F(MTCQuarterFrameDecoderTest, ASequenceInOneInstantIsUnsteady) {
  pieces(0, 7, kBegin, {1, 2, 3, 4, fps2997}, 0);
  EXPECT_THAT(results, IsEmpty());
  EXPECT_THAT(world.logLines(),
              ElementsAre("MTCReceiver: rejecting invalid quarter-frame cadence []ms at 29.97 DF fps"));
}

TEST_F(MTCQuarterFrameDecoderTest, AStampThatRunsBackAddsNoInterval) {
  const HostTime time = pieces(0, 3, kBegin);
  pieces(4, 7, time - HostDuration{2 * kPeriod});
  EXPECT_THAT(results, IsEmpty());
  EXPECT_THAT(world.logLines(), ElementsAre("MTCReceiver: rejecting invalid quarter-frame cadence "
                                            "[10.0, 10.0, 10.0, 10.0, 10.0, 10.0]ms at 25 fps"));
}

TEST_F(MTCQuarterFrameDecoderTest, AGapOfMoreThanTwoAndAHalfPeriodsIsRefusedWithEveryInterval) {
  const HostTime time = pieces(0, 5, kBegin, {1, 2, 3, 4, fps24}, 10'416'667);
  pieces(6, 7, time + HostDuration{16'666'667}, {1, 2, 3, 4, fps24}, 10'416'667);
  EXPECT_THAT(results, IsEmpty());
  EXPECT_THAT(world.logLines(), ElementsAre("MTCReceiver: rejecting invalid quarter-frame cadence "
                                            "[10.4, 10.4, 10.4, 10.4, 10.4, 27.1, 10.4]ms at 24 fps"));
}

TEST_F(MTCQuarterFrameDecoderTest, ARefusedSequenceDoesNotHarmTheNext) {
  const HostTime time = pieces(0, 7, kBegin, kStart, 3 * kPeriod);
  pieces(0, 7, time);
  ASSERT_EQ(results.size(), 1U);
  EXPECT_EQ(results[0].anchor.hostTime, time);
  EXPECT_EQ(world.logLines().size(), 1U);
}

TEST_F(MTCQuarterFrameDecoderTest, TheGapBetweenTwoSequencesIsNotPartOfEither) {
  const HostTime time = pieces(0, 7, kBegin);
  pieces(0, 7, time + HostDuration{60'000'000'000});
  EXPECT_EQ(results.size(), 2U);
  EXPECT_THAT(world.logLines(), IsEmpty());
}

TEST_F(MTCQuarterFrameDecoderTest, AResetDropsTheSequenceUnderAssembly) {
  const HostTime time = pieces(0, 3, kBegin);
  decoder.reset();
  const HostTime begin = pieces(4, 7, time);
  EXPECT_THAT(results, IsEmpty());
  pieces(0, 7, begin);
  EXPECT_EQ(results.size(), 1U);
  EXPECT_THAT(world.logLines(), IsEmpty());
}

TEST_F(MTCQuarterFrameDecoderTest, TheTopBitOfADataByteIsNotLookedAt) {
  for (int number = 0; number < kQuarterFramePieces; ++number) {
    decoder.process(quarterFrameData(kStart, number) | 0x80,
                    kBegin + HostDuration{static_cast<std::uint64_t>(number) * kPeriod});
  }
  ASSERT_EQ(results.size(), 1U);
  EXPECT_EQ(results[0].anchor.timecode, kStart);
}

TEST_F(MTCQuarterFrameDecoderTest, FieldsOutOfRangeAreNotExamined) {
  for (int number = 0; number < kQuarterFramePieces; ++number) {
    decoder.process(static_cast<std::uint8_t>(number << 4 | 15),
                    kBegin + HostDuration{static_cast<std::uint64_t>(number) * 8'333'333});
  }
  ASSERT_EQ(results.size(), 1U);
  EXPECT_EQ(results[0].anchor.timecode, (Timecode{31, 255, 255, 255, fps30}));
}

TEST_F(MTCQuarterFrameDecoderTest, WithoutAListenerNothingHappens) {
  decoder.onAnchor = nullptr;
  pieces(0, 7, kBegin);
  EXPECT_THAT(world.logLines(), IsEmpty());
}

/// The longest gap that is steady, in ticks: two and a half periods.
struct Limit {
  MTCFrameRate rate;
  TickRatio tick;
  std::uint64_t longestTicks;
};

class CadenceLimitTest : public testing::TestWithParam<Limit> {
 protected:
  /// Whether eight pieces make an anchor whose gap before piece `late` is `gap` ticks and whose others are one period.
  bool isSteady(int late, std::uint64_t gap) const {
    const auto [rate, tick, longestTicks] = GetParam();
    SimulatedWorld world({.tick = tick});
    MTCQuarterFrameDecoder decoder(world.clock(), world.log());
    bool isFound = false;
    decoder.onAnchor = [&](const TimecodeAnchor&, double, double) { isFound = true; };
    const HostDuration period = world.clock().ticksFromNanos(quarterFrameNanos(rate));
    HostTime time = world.clock().now();
    for (int piece = 0; piece < kQuarterFramePieces; ++piece) {
      if (piece > 0) time = time + (piece == late ? HostDuration{gap} : period);
      decoder.process(quarterFrameData({0, 0, 0, 0, rate}, piece), time);
    }
    EXPECT_EQ(isFound, !world.hasLogged("rejecting invalid"));
    return isFound;
  }
};

TEST_P(CadenceLimitTest, TwoAndAHalfPeriodsPassAndOneTickMoreDoesNot) {
  for (int late = 1; late < kQuarterFramePieces; ++late) {
    EXPECT_TRUE(isSteady(late, GetParam().longestTicks)) << late;
    EXPECT_FALSE(isSteady(late, GetParam().longestTicks + 1)) << late;
  }
}

TEST_P(CadenceLimitTest, OneTickIsEnoughOfAGapAndNoneIsNot) {
  EXPECT_TRUE(isSteady(3, 1));
  EXPECT_FALSE(isSteady(3, 0));
}

constexpr TickRatio kNano{1, 1};
constexpr TickRatio kCoarse{125, 3};

INSTANTIATE_TEST_SUITE_P(AllRates, CadenceLimitTest,
                         testing::Values(Limit{fps24, kNano, 26'041'666}, Limit{fps25, kNano, 25'000'000},
                                         Limit{fps2997, kNano, 20'854'166}, Limit{fps30, kNano, 20'833'333},
                                         Limit{fps24, kCoarse, 625'000}, Limit{fps25, kCoarse, 600'000},
                                         Limit{fps2997, kCoarse, 500'500}, Limit{fps30, kCoarse, 500'000}),
                         [](const auto& each) {
                           return "Rate" + std::to_string(static_cast<int>(each.param.rate)) + "Tick" +
                                  std::to_string(each.param.tick.numerator);
                         });

}  // namespace
}  // namespace tallyrig
