#include "timecode/Timecode.h"

#include <gtest/gtest.h>

#include <limits>
#include <random>
#include <unordered_set>

#include "support/FrameRates.h"

namespace tallyrig {
namespace {

TEST(FrameRate, OnlyFourRawValuesExist) {
  EXPECT_EQ(frameRateFromRawValue(0), MTCFrameRate::fps24);
  EXPECT_EQ(frameRateFromRawValue(1), MTCFrameRate::fps25);
  EXPECT_EQ(frameRateFromRawValue(2), MTCFrameRate::fps2997);
  EXPECT_EQ(frameRateFromRawValue(3), MTCFrameRate::fps30);
  EXPECT_EQ(frameRateFromRawValue(4), std::nullopt);
  EXPECT_EQ(frameRateFromRawValue(-1), std::nullopt);
  EXPECT_EQ(frameRateFromRawValue(std::int64_t{1} << 32), std::nullopt);
  EXPECT_EQ(frameRateFromRawValue(std::numeric_limits<std::int64_t>::min()), std::nullopt);
}

TEST(FrameRate, EachHasItsNumbersAndItsText) {
  struct Facts {
    MTCFrameRate rate;
    int nominal;
    double exact;
    std::int64_t perDay;
    int maxFrame;
    std::string text;
  };
  const Facts all[] = {{MTCFrameRate::fps24, 24, 24.0, 2073600, 23, "24"},
                       {MTCFrameRate::fps25, 25, 25.0, 2160000, 24, "25"},
                       {MTCFrameRate::fps2997, 30, 29.97002997002997, 2589408, 29, "29.97 DF"},
                       {MTCFrameRate::fps30, 30, 30.0, 2592000, 29, "30"}};
  for (const Facts& facts : all) {
    EXPECT_EQ(nominalFrameRate(facts.rate), facts.nominal);
    EXPECT_EQ(exactFrameRate(facts.rate), facts.exact);
    EXPECT_EQ(framesPerDay(facts.rate), facts.perDay);
    EXPECT_EQ(maxFrameField(facts.rate), facts.maxFrame);
    EXPECT_EQ(rateText(facts.rate), facts.text);
  }
}

TEST(Timecode, DropFrameCountsOfKnownLabels) {
  EXPECT_EQ((Timecode{0, 1, 0, 2, MTCFrameRate::fps2997}.totalFrames()), 1800);
  EXPECT_EQ((Timecode{0, 10, 0, 0, MTCFrameRate::fps2997}.totalFrames()), 17982);
  EXPECT_EQ((Timecode{1, 0, 0, 0, MTCFrameRate::fps2997}.totalFrames()), 107892);
  EXPECT_EQ((Timecode{23, 59, 59, 29, MTCFrameRate::fps2997}.totalFrames()), 2589407);
}

TEST(Timecode, ADroppedLabelIsTakenAsItStands) {
  const Timecode dropped{0, 1, 0, 0, MTCFrameRate::fps2997};
  EXPECT_EQ(dropped.totalFrames(), 1798);
  EXPECT_EQ(dropped.advanced(0), (Timecode{0, 0, 59, 28, MTCFrameRate::fps2997}));
  EXPECT_EQ(dropped.text(), "00:01:00:00");
}

TEST(Timecode, AdvancingSkipsTheDroppedLabelsOnly) {
  const auto drop = MTCFrameRate::fps2997;
  EXPECT_EQ((Timecode{0, 0, 59, 29, drop}.advanced(1)), (Timecode{0, 1, 0, 2, drop}));
  EXPECT_EQ((Timecode{0, 1, 0, 2, drop}.advanced(-1)), (Timecode{0, 0, 59, 29, drop}));
  EXPECT_EQ((Timecode{0, 9, 59, 29, drop}.advanced(1)), (Timecode{0, 10, 0, 0, drop}));
  EXPECT_EQ((Timecode{0, 10, 0, 0, drop}.advanced(-1)), (Timecode{0, 9, 59, 29, drop}));
}

TEST(Timecode, AdvancingWrapsAtMidnightBothWays) {
  for (const MTCFrameRate rate : kFrameRates) {
    const Timecode last{23, 59, 59, maxFrameField(rate), rate};
    const Timecode first{0, 0, 0, 0, rate};
    EXPECT_EQ(last.advanced(1), first) << rateText(rate);
    EXPECT_EQ(first.advanced(-1), last) << rateText(rate);
  }
}

TEST(Timecode, AdvancingByDaysIsAdvancingByTheRemainder) {
  constexpr unsigned kSeed = 20261121;
  SCOPED_TRACE("seed " + std::to_string(kSeed));
  std::mt19937_64 random(kSeed);
  for (const MTCFrameRate rate : kFrameRates) {
    const std::int64_t perDay = framesPerDay(rate);
    std::uniform_int_distribution<std::int64_t> anyFrame(0, perDay - 1);
    for (int round = 0; round < 1000; ++round) {
      const Timecode start = Timecode::fromTotalFrames(anyFrame(random), rate);
      const std::int64_t delta = anyFrame(random);
      const std::int64_t days = static_cast<std::int64_t>(random() % 7) - 3;
      ASSERT_EQ(start.advanced(delta + days * perDay), start.advanced(delta)) << start.text() << " " << delta;
      ASSERT_EQ(start.advanced(delta).totalFrames(), (start.totalFrames() + delta) % perDay);
    }
    constexpr auto kFarthest = std::numeric_limits<std::int64_t>::max();
    EXPECT_EQ((Timecode{0, 0, 0, 0, rate}.advanced(kFarthest).totalFrames()), kFarthest % perDay);
  }
}

TEST(Timecode, FieldsOutOfRangeGiveANormalisedValue) {
  const auto rate = MTCFrameRate::fps25;
  EXPECT_EQ((Timecode{0, 0, 0, 25, rate}.advanced(0)), (Timecode{0, 0, 1, 0, rate}));
  EXPECT_EQ((Timecode{25, 61, 61, 30, rate}.advanced(0)), (Timecode{2, 2, 2, 5, rate}));
  EXPECT_EQ((Timecode{0, 0, -1, 0, rate}.advanced(0)), (Timecode{23, 59, 59, 0, rate}));
  EXPECT_EQ((Timecode{-49, 0, 0, 0, rate}.advanced(0)), (Timecode{23, 0, 0, 0, rate}));
  EXPECT_EQ((Timecode{-49, 0, 0, 0, rate}.converted(MTCFrameRate::fps24)),
            (Timecode{23, 0, 0, 0, MTCFrameRate::fps24}));
}

TEST(Timecode, AnyNumbersInTheFieldsGiveALabelOfTheDay) {
  constexpr auto kLeast = std::numeric_limits<std::int64_t>::min();
  constexpr auto kMost = std::numeric_limits<std::int64_t>::max();
  for (const MTCFrameRate rate : kFrameRates) {
    for (const Timecode& extreme : {Timecode{kMost, kMost, kMost, kMost, rate}, Timecode{kLeast, 0, 0, 0, rate},
                                    Timecode{0, 0, 0, kMost, rate}, Timecode{kLeast, kLeast, kLeast, kLeast, rate}}) {
      for (const MTCFrameRate target : kFrameRates) {
        for (const Timecode& result : {extreme.advanced(kMost), extreme.advanced(kLeast), extreme.converted(target)}) {
          EXPECT_GE(result.totalFrames(), 0);
          EXPECT_LT(result.totalFrames(), framesPerDay(result.frameRate));
          EXPECT_EQ(Timecode::fromTotalFrames(result.totalFrames(), result.frameRate), result);
        }
      }
      EXPECT_TRUE((Timecode{0, 0, 0, 1, rate}.signedFrameDistance(extreme).has_value()));
    }
  }
}

TEST(Timecode, DistanceGoesTheShortestWayRound) {
  const auto rate = MTCFrameRate::fps25;
  const Timecode midnight{0, 0, 0, 0, rate};
  const Timecode last{23, 59, 59, 24, rate};
  EXPECT_EQ(midnight.signedFrameDistance(last), -1);
  EXPECT_EQ(last.signedFrameDistance(midnight), 1);
  EXPECT_EQ(midnight.signedFrameDistance(midnight), 0);
  const Timecode noon{12, 0, 0, 0, rate};
  EXPECT_EQ(midnight.signedFrameDistance(noon), 1080000);
  EXPECT_EQ(noon.signedFrameDistance(midnight), -1080000);
  EXPECT_EQ(midnight.signedFrameDistance(noon.advanced(1)), -1079999);
  EXPECT_EQ(noon.advanced(1).signedFrameDistance(midnight), 1079999);
}

TEST(Timecode, DistanceBetweenRatesIsAbsent) {
  for (const MTCFrameRate one : kFrameRates) {
    for (const MTCFrameRate other : kFrameRates) {
      EXPECT_EQ((Timecode{1, 0, 0, 0, one}.signedFrameDistance({1, 0, 0, 0, other}).has_value()), one == other);
    }
  }
}

TEST(Timecode, TextHasColonsAtEveryRate) {
  EXPECT_EQ((Timecode{1, 2, 3, 4, MTCFrameRate::fps25}.text()), "01:02:03:04");
  EXPECT_EQ((Timecode{23, 59, 59, 29, MTCFrameRate::fps2997}.text()), "23:59:59:29");
  EXPECT_EQ((Timecode{100, 0, 0, 0, MTCFrameRate::fps24}.text()), "100:00:00:00");
  EXPECT_EQ(textOrNone(std::nullopt), "none");
  EXPECT_EQ(textOrNone(Timecode{10, 20, 30, 5, MTCFrameRate::fps30}), "10:20:30:05");
}

TEST(Timecode, EqualityAndHashTakeEveryFieldAndTheRate) {
  const Timecode value{1, 2, 3, 4, MTCFrameRate::fps25};
  const std::vector<Timecode> all{value,
                                  {2, 2, 3, 4, MTCFrameRate::fps25},
                                  {1, 3, 3, 4, MTCFrameRate::fps25},
                                  {1, 2, 4, 4, MTCFrameRate::fps25},
                                  {1, 2, 3, 5, MTCFrameRate::fps25},
                                  {1, 2, 3, 4, MTCFrameRate::fps30}};
  std::unordered_set<Timecode> set(all.begin(), all.end());
  EXPECT_EQ(set.size(), all.size());
  std::unordered_set<std::size_t> hashes;
  for (const Timecode& timecode : all) hashes.insert(std::hash<Timecode>{}(timecode));
  EXPECT_EQ(hashes.size(), all.size());
  EXPECT_TRUE(set.contains(Timecode{1, 2, 3, 4, MTCFrameRate::fps25}));
}

}  // namespace
}  // namespace tallyrig
