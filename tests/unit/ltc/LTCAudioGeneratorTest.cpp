#include "ltc/LTCAudioGenerator.h"

#include <gtest/gtest.h>
#include <ltc.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <limits>

#include "support/EncodedLTC.h"

namespace tallyrig {
namespace {

constexpr MTCFrameRate kRates[] = {MTCFrameRate::fps24, MTCFrameRate::fps25, MTCFrameRate::fps2997,
                                   MTCFrameRate::fps30};

std::vector<float> tenFrames(double volumeDBFS) {
  return encodedLTC({0, 0, 0, 0, MTCFrameRate::fps25}, 10, 48000, volumeDBFS);
}

std::pair<float, float> range(double volumeDBFS) {
  const auto samples = tenFrames(volumeDBFS);
  const auto [least, most] = std::minmax_element(samples.begin(), samples.end());
  return {*least, *most};
}

TEST(LTCAudioGenerator, StartsAtTheGivenTimeAndMovesOnByOne) {
  const auto generator = LTCAudioGenerator::create(MTCFrameRate::fps25, 48000, -6);
  generator->setTimecode({1, 0, 0, 0, MTCFrameRate::fps25});
  EXPECT_EQ(generator->nextFrame().timecode, (Timecode{1, 0, 0, 0, MTCFrameRate::fps25}));
  EXPECT_EQ(generator->nextFrame().timecode, (Timecode{1, 0, 0, 1, MTCFrameRate::fps25}));
  generator->setTimecode({12, 34, 56, 7, MTCFrameRate::fps25});
  EXPECT_EQ(generator->nextFrame().timecode, (Timecode{12, 34, 56, 7, MTCFrameRate::fps25}));
}

TEST(LTCAudioGenerator, WithoutATimeItStartsAtMidnight) {
  for (const MTCFrameRate rate : kRates) {
    EXPECT_EQ(LTCAudioGenerator::create(rate, 48000, -6)->nextFrame().timecode, (Timecode{0, 0, 0, 0, rate}));
  }
}

TEST(LTCAudioGenerator, WrapsAtMidnight) {
  for (const MTCFrameRate rate : kRates) {
    const auto generator = LTCAudioGenerator::create(rate, 48000, -6);
    generator->setTimecode({23, 59, 59, maxFrameField(rate), rate});
    generator->nextFrame();
    EXPECT_EQ(generator->nextFrame().timecode, (Timecode{0, 0, 0, 0, rate}));
  }
}

TEST(LTCAudioGenerator, DropFrameSkipsTheTwoLabels) {
  const auto rate = MTCFrameRate::fps2997;
  const auto generator = LTCAudioGenerator::create(rate, 48000, -6);
  generator->setTimecode({0, 0, 59, 29, rate});
  generator->nextFrame();
  EXPECT_EQ(generator->nextFrame().timecode, (Timecode{0, 1, 0, 2, rate}));
  generator->setTimecode({0, 9, 59, 29, rate});
  generator->nextFrame();
  EXPECT_EQ(generator->nextFrame().timecode, (Timecode{0, 10, 0, 0, rate}));
}

TEST(LTCAudioGenerator, CountsAsTimecodeArithmeticDoes) {
  for (const MTCFrameRate rate : kRates) {
    const auto generator = LTCAudioGenerator::create(rate, 2400, -6);
    Timecode expected{23, 49, 30, 0, rate};
    generator->setTimecode(expected);
    const int thirtyMinutes = 30 * 60 * nominalFrameRate(rate);
    for (int frame = 0; frame < thirtyMinutes; ++frame) {
      ASSERT_EQ(generator->nextFrame().timecode, expected) << expected.text();
      expected = expected.advanced(1);
    }
  }
}

TEST(LTCAudioGenerator, WholeFramesHaveTheirWholeNumberOfSamples) {
  const std::pair<MTCFrameRate, std::size_t> all[] = {
      {MTCFrameRate::fps24, 2000}, {MTCFrameRate::fps25, 1920}, {MTCFrameRate::fps30, 1600}};
  for (const auto& [rate, count] : all) {
    const auto generator = LTCAudioGenerator::create(rate, 48000, -6);
    for (int frame = 0; frame < 100; ++frame) ASSERT_EQ(generator->nextFrame().samples.size(), count);
  }
}

TEST(LTCAudioGenerator, TheLongTermRateIsExactAtEverySampleRate) {
  for (const double sampleRate : {44100.0, 48000.0, 88200.0, 96000.0, 192000.0}) {
    for (const MTCFrameRate rate : kRates) {
      const auto generator = LTCAudioGenerator::create(rate, sampleRate, -6);
      const double exact = sampleRate / exactFrameRate(rate);
      double total = 0;
      for (int frame = 1; frame <= 1000; ++frame) {
        const auto count = static_cast<double>(generator->nextFrame().samples.size());
        ASSERT_LT(std::abs(count - exact), 1.0);
        total += count;
        ASSERT_LT(std::abs(total - frame * exact), 1.0) << sampleRate << " " << rateText(rate) << " " << frame;
      }
    }
  }
}

// The library rounds its rising edge down, so that the top ends one step of 256 below the mirror of the bottom.
TEST(LTCAudioGenerator, FullVolumeStaysJustBelowOne) {
  const auto [least, most] = range(0);
  EXPECT_EQ(most, 126.0F / 128.0F);
  EXPECT_EQ(least, -127.0F / 128.0F);
}

TEST(LTCAudioGenerator, SixDecibelsLessIsHalf) {
  const auto [least, most] = range(-6);
  EXPECT_EQ(most, 63.0F / 128.0F);
  EXPECT_EQ(least, -0.5F);
}

TEST(LTCAudioGenerator, AVolumeThatTheLibraryRefusesLeavesItsDefaultLevel) {
  const auto [least, most] = range(0.1);
  EXPECT_EQ(most, 89.0F / 128.0F);
  EXPECT_EQ(least, -90.0F / 128.0F);
  EXPECT_EQ(range(20), range(0.1));
  EXPECT_EQ(range(-60), range(0.1));
  EXPECT_NE(range(-42), range(0.1)) << "one step of 256 is not refused";
}

TEST(LTCAudioGenerator, NoEncoderForARateThatIsNone) {
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  for (const double sampleRate : {0.0, -48000.0, kInfinity, -kInfinity, std::numeric_limits<double>::quiet_NaN()}) {
    EXPECT_EQ(LTCAudioGenerator::create(MTCFrameRate::fps25, sampleRate, -6), nullptr) << sampleRate;
  }
}

// The bits on the wire, as the library's own decoder hands them out.
TEST(LTCAudioGenerator, TheFlagFollowsTheRateParityIsOnAndUserBitsAreZero) {
  for (const MTCFrameRate rate : kRates) {
    const auto generator = LTCAudioGenerator::create(rate, 48000, -6);
    generator->setTimecode({1, 2, 3, 4, rate});
    LTCDecoder* decoder = ltc_decoder_create(1920, 32);
    ltc_off_t position = 0;
    int seen = 0;
    for (int frame = 0; frame < 50; ++frame) {
      std::vector<float> samples = generator->nextFrame().samples;
      ltc_decoder_write_float(decoder, samples.data(), samples.size(), position);
      position += static_cast<ltc_off_t>(samples.size());
      LTCFrameExt read{};
      while (ltc_decoder_read(decoder, &read) == 1) {
        ++seen;
        EXPECT_EQ(read.ltc.dfbit, rate == MTCFrameRate::fps2997 ? 1U : 0U);
        EXPECT_EQ(read.ltc.col_frame, 0U);
        EXPECT_EQ(ltc_frame_get_user_bits(&read.ltc), 0U);
        unsigned char bytes[10];
        std::memcpy(bytes, &read.ltc, sizeof bytes);
        int ones = 0;
        for (const unsigned char byte : bytes) ones += std::popcount(byte);
        EXPECT_EQ(ones % 2, 0) << "an even count of ones keeps the polarity of every frame";
      }
    }
    ltc_decoder_free(decoder);
    EXPECT_GE(seen, 47);
  }
}

}  // namespace
}  // namespace tallyrig
