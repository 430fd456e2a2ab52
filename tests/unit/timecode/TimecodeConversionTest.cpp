#include <gtest/gtest.h>

#include <tuple>

#include "support/FrameRates.h"

#include "timecode/Timecode.h"

namespace tallyrig {
namespace {

/// A rate as a fraction of whole numbers.
struct Fraction {
  std::int64_t numerator;
  std::int64_t denominator;
};

Fraction fraction(MTCFrameRate rate) {
  switch (rate) {
    case MTCFrameRate::fps24:
      return {24, 1};
    case MTCFrameRate::fps25:
      return {25, 1};
    case MTCFrameRate::fps2997:
      return {30000, 1001};
    default:
      return {30, 1};
  }
}

class TimecodeConversion : public testing::TestWithParam<std::tuple<MTCFrameRate, MTCFrameRate>> {};

// In whole numbers the floor is exact. The floating quotient may only differ where the exact value is a whole number,
// and there only by falling short of it.
TEST_P(TimecodeConversion, LandsOnTheExactFrameOrOneShortOfAWholeOne) {
  const auto [source, target] = GetParam();
  const std::int64_t above = fraction(target).numerator * fraction(source).denominator;
  const std::int64_t below = fraction(target).denominator * fraction(source).numerator;
  std::int64_t shortOfWhole = 0;
  for (std::int64_t count = 0; count < framesPerDay(source); ++count) {
    const Timecode converted = Timecode::fromTotalFrames(count, source).converted(target);
    const std::int64_t exact = count * above / below;
    const bool isWhole = count * above % below == 0;
    // A day of drop-frame labels is 86.4 ms short of 24 hours, so that the last frames of one day reach into the next.
    const std::int64_t expected = exact % framesPerDay(target);
    const std::int64_t landed = converted.totalFrames();
    if (landed == expected) continue;
    if (!isWhole || landed != expected - 1) {
      FAIL() << "frame " << count << " lands on " << landed << " of " << expected;
    }
    ++shortOfWhole;
  }
  RecordProperty("shortOfWhole", std::to_string(shortOfWhole));
}

std::string pairName(const testing::TestParamInfo<TimecodeConversion::ParamType>& pair) {
  static const std::vector<std::string> kNames{"24", "25", "2997", "30"};
  return kNames[static_cast<std::size_t>(std::get<0>(pair.param))] + "To" +
         kNames[static_cast<std::size_t>(std::get<1>(pair.param))];
}
INSTANTIATE_TEST_SUITE_P(EveryPair, TimecodeConversion,
                         testing::Combine(testing::ValuesIn(kFrameRates), testing::ValuesIn(kFrameRates)), pairName);

struct SameRate {
  MTCFrameRate rate;
  std::int64_t framesThatLandOneLower;
  std::vector<std::int64_t> first;
  std::int64_t last;
};

// The figures come from the same two steps carried out in another language's IEEE arithmetic. A product taken before
// the quotient, or a short cut for equal rates, would lose nothing and fail here.
TEST(TimecodeConversionToTheSameRate, FallsShortExactlyWhereTheQuotientDoes) {
  const std::vector<SameRate> all{{MTCFrameRate::fps24, 0, {}, -1},
                                  {MTCFrameRate::fps25, 146797, {29, 57, 58, 113, 114}, 2097151},
                                  {MTCFrameRate::fps2997, 62004, {61, 121, 122, 242, 244}, 2097149},
                                  {MTCFrameRate::fps30, 52420, {123, 245, 246, 247, 490}, 2097149}};
  for (const SameRate& expected : all) {
    std::vector<std::int64_t> lower;
    for (std::int64_t count = 0; count < framesPerDay(expected.rate); ++count) {
      const std::int64_t landed =
          Timecode::fromTotalFrames(count, expected.rate).converted(expected.rate).totalFrames();
      if (landed == count) continue;
      ASSERT_EQ(landed, count - 1);
      lower.push_back(count);
    }
    ASSERT_EQ(static_cast<std::int64_t>(lower.size()), expected.framesThatLandOneLower) << rateText(expected.rate);
    for (std::size_t index = 0; index < expected.first.size(); ++index) {
      EXPECT_EQ(lower[index], expected.first[index]) << rateText(expected.rate);
    }
    EXPECT_EQ(lower.empty() ? -1 : lower.back(), expected.last) << rateText(expected.rate);
  }
}

TEST(TimecodeConversion, KnownInstants) {
  const Timecode hour25{1, 0, 0, 0, MTCFrameRate::fps25};
  EXPECT_EQ(hour25.converted(MTCFrameRate::fps24), (Timecode{1, 0, 0, 0, MTCFrameRate::fps24}));
  EXPECT_EQ(hour25.converted(MTCFrameRate::fps30), (Timecode{1, 0, 0, 0, MTCFrameRate::fps30}));
  // 3600 s hold 107892.1 frames of 30000/1001 each second: the label of frame 107892 is the full hour.
  EXPECT_EQ(hour25.converted(MTCFrameRate::fps2997), (Timecode{1, 0, 0, 0, MTCFrameRate::fps2997}));
  EXPECT_EQ((Timecode{0, 0, 0, 1, MTCFrameRate::fps30}.converted(MTCFrameRate::fps24)),
            (Timecode{0, 0, 0, 0, MTCFrameRate::fps24}));
}

}  // namespace
}  // namespace tallyrig
