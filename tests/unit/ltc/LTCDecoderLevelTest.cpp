// Loud, quiet and broken samples.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>

#include "support/FrameRates.h"
#include "support/LtcWriter.h"
#include "unit/ltc/DecoderRun.h"

namespace tallyrig {
namespace {

using testing::IsEmpty;

constexpr int kFrames = 12;
constexpr double kSamplesPerFrame = 1920;
constexpr std::size_t kChunk = 480;
constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

std::vector<float> code(float level) {
  LtcWriter writer(level);
  writer.frames({1, 0, 0, 0, k25}, kFrames, kSamplesPerFrame);
  return writer.samples;
}

std::vector<LTCTimecodeDecoder::DecodedFrame> decoded(const std::vector<float>& samples) {
  DecoderRun run;
  run.feed(samples, 48000, kChunk);
  return run.frames;
}

TEST(LTCDecoderLevel, AnythingAboveFullScaleIsScaledDownAsAWhole) {
  const auto reference = decoded(code(1.0F));
  ASSERT_EQ(reference.size(), kFrames - 1U);
  for (const float level : {std::nextafter(1.0F, 2.0F), 1.5F, 2.0F, 10.0F, 1e6F, std::numeric_limits<float>::max()}) {
    EXPECT_EQ(decoded(code(level)), reference) << level;
  }
}

// Scaled by its peak, code that rides on a third of its level looks like the same code at a third.
TEST(LTCDecoderLevel, ALoudChunkKeepsItsShape) {
  std::vector<float> loud = code(2.0F);
  std::vector<float> half = code(1.0F);
  for (std::size_t index = 0; index < loud.size(); ++index) {
    const float wobble = 0.25F * static_cast<float>(index % 7) / 7;
    loud[index] += 2 * wobble;
    half[index] += wobble;
  }
  EXPECT_EQ(decoded(loud), decoded(half));
  EXPECT_EQ(decoded(loud).size(), kFrames - 1U);
}

TEST(LTCDecoderLevel, AQuietSignalGetsNoGain) {
  EXPECT_EQ(decoded(code(0.016F)).size(), kFrames - 1U) << "two steps of the library's 8 bits";
  EXPECT_THAT(decoded(code(0.005F)), IsEmpty()) << "less than one step";
}

TEST(LTCDecoderLevel, ALoudChunkIsNotRemembered) {
  const std::vector<float> plain = code(0.5F);
  const auto reference = decoded(plain);
  std::vector<float> spiked = plain;
  spiked[4 * kChunk + 100] = 1e6F;
  const auto frames = decoded(spiked);
  // The chunk with the spike is lost, and with it the frame around it and the one that finds the code again.
  ASSERT_GE(frames.size(), reference.size() - 3);
  EXPECT_EQ(frames.back(), reference.back());
}

TEST(LTCDecoderLevel, FollowsAStepInLevel) {
  for (const float second : {0.9F, 0.03F}) {
    LtcWriter writer(0.25F);
    writer.frames({1, 0, 0, 0, k25}, 10, kSamplesPerFrame);
    writer.setLevel(second);
    writer.frames({1, 0, 0, 10, k25}, 10, kSamplesPerFrame);
    const auto frames = decoded(writer.samples);
    ASSERT_GE(frames.size(), 15U) << second;
    EXPECT_EQ(frames.back().timecode, (Timecode{1, 0, 0, 18, k25}));
  }
}

TEST(LTCDecoderLevel, SamplesThatAreNoNumbersCountAsSilence) {
  const std::vector<float> plain = code(0.5F);
  for (const float broken : {kNaN, -kNaN, kInfinity, -kInfinity}) {
    std::vector<float> dotted = plain;
    std::vector<float> silenced = plain;
    for (std::size_t index = 50; index < plain.size(); index += 333) {
      dotted[index] = broken;
      silenced[index] = 0.0F;
    }
    EXPECT_EQ(decoded(dotted), decoded(silenced));
  }
}

TEST(LTCDecoderLevel, ABrokenSampleDoesNotSpoilTheChunkAroundIt) {
  const auto reference = decoded(code(0.5F));
  for (const float broken : {kNaN, kInfinity, -kInfinity}) {
    for (const float level : {0.5F, 3.0F}) {
      std::vector<float> samples = code(level);
      // In the middle of half a bit, where a single zero makes no edge of its own.
      for (std::size_t chunk = 0; chunk < samples.size() / kChunk; ++chunk) samples[chunk * kChunk + 6] = broken;
      EXPECT_EQ(decoded(samples).size(), reference.size()) << broken << " at " << level;
    }
  }
}

TEST(LTCDecoderLevel, ABrokenStretchDoesNotOutliveItself) {
  std::vector<float> samples = code(0.5F);
  std::fill_n(samples.begin() + 5 * 1920, 1920, kNaN);
  const auto frames = decoded(samples);
  ASSERT_FALSE(frames.empty());
  EXPECT_EQ(frames.back(), decoded(code(0.5F)).back());
  EXPECT_THAT(decoded(std::vector<float>(48000, kNaN)), IsEmpty());
  EXPECT_THAT(decoded(std::vector<float>(48000, kInfinity)), IsEmpty());
}

}  // namespace
}  // namespace tallyrig
