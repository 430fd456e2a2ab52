#include "platform/ffmpeg/FFmpegSampleRateConverters.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numbers>
#include <vector>

namespace tallyrig {
namespace {

float sine(double frequency, double seconds) {
  return static_cast<float>(0.5 * std::sin(2 * std::numbers::pi * frequency * seconds));
}

/// Converts `frames` frames in which channel c is a sine of `frequency` + 10 c, in uneven pieces.
std::vector<float> converted(double from, double to, int channels, double frequency, int frames) {
  FFmpegSampleRateConverters converters;
  const auto converter = converters.make(from, to, channels);
  EXPECT_NE(converter, nullptr);
  std::vector<float> input;
  for (int i = 0; i < frames; ++i) {
    for (int c = 0; c < channels; ++c) input.push_back(sine(frequency + 10 * c, i / from));
  }
  std::vector<float> output;
  const auto width = static_cast<std::size_t>(channels);
  std::size_t at = 0;
  for (std::size_t piece = 1; at < input.size(); piece = piece * 7 % 1009) {
    const std::size_t count = std::min(piece * width, input.size() - at);
    converter->convert({input.data() + at, count}, output);
    at += count;
  }
  converter->finish(output);
  EXPECT_EQ(output.size() % width, 0U);
  return output;
}

struct Rates {
  double from;
  double to;
};

class SampleRateConverterRates : public testing::TestWithParam<Rates> {};

TEST_P(SampleRateConverterRates, KeepsEachSampleAtItsInstant) {
  const auto [from, to] = GetParam();
  const int frames = static_cast<int>(from / 2);
  const auto output = converted(from, to, 2, 997, frames);
  const auto made = static_cast<double>(output.size()) / 2;
  EXPECT_NEAR(made, frames * to / from, 2 + 32 * std::max(1.0, to / from));
  const auto edge = static_cast<std::size_t>(to / 100);
  for (std::size_t i = edge; i + edge < output.size() / 2; ++i) {
    ASSERT_NEAR(output[2 * i], sine(997, static_cast<double>(i) / to), 1e-4) << i;
    ASSERT_NEAR(output[2 * i + 1], sine(1007, static_cast<double>(i) / to), 1e-4) << i;
  }
}

INSTANTIATE_TEST_SUITE_P(Usual, SampleRateConverterRates,
                         testing::Values(Rates{44100, 48000}, Rates{48000, 44100}, Rates{96000, 48000},
                                         Rates{192000, 44100}, Rates{8000, 48000}, Rates{22050, 96000},
                                         Rates{47999, 48000}),
                         [](const auto& rates) {
                           return std::to_string(static_cast<int>(rates.param.from)) + "To" +
                                  std::to_string(static_cast<int>(rates.param.to));
                         });

TEST(FFmpegSampleRateConverters, LeavesNothingOfWhatTheLowerRateCannotHold) {
  const auto output = converted(96000, 44100, 1, 30000, 48000);
  float peak = 0;
  for (std::size_t i = 1000; i + 1000 < output.size(); ++i) peak = std::max(peak, std::abs(output[i]));
  EXPECT_LT(peak, 0.5e-4F);
}

TEST(FFmpegSampleRateConverters, KeepsTheHighestNotes) {
  const auto output = converted(44100, 48000, 1, 19000, 44100);
  for (std::size_t i = 1000; i + 1000 < output.size(); ++i) {
    ASSERT_NEAR(output[i], sine(19000, static_cast<double>(i) / 48000), 1e-3) << i;
  }
}

TEST(FFmpegSampleRateConverters, TakesMoreChannelsThanTheLibraryDoesAtOnce) {
  const auto output = converted(48000, 44100, 130, 500, 4800);
  for (std::size_t i = 500; i < 4000; ++i) {
    for (const int channel : {0, 63, 64, 127, 128, 129}) {
      ASSERT_NEAR(output[i * 130 + static_cast<std::size_t>(channel)],
                  sine(500 + 10 * channel, static_cast<double>(i) / 44100), 1e-4)
          << channel << " at " << i;
    }
  }
}

TEST(FFmpegSampleRateConverters, RefusesWhatIsNoRate) {
  FFmpegSampleRateConverters converters;
  EXPECT_EQ(converters.make(0, 48000, 1), nullptr);
  EXPECT_EQ(converters.make(48000, -1, 1), nullptr);
  EXPECT_EQ(converters.make(48000.5, 44100, 1), nullptr);
  EXPECT_EQ(converters.make(48000, 44100, 0), nullptr);
}

}  // namespace
}  // namespace tallyrig
