#include "ltc/LTCTimecodeDecoder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <ranges>
#include <tuple>

#include "ltc/LTCAudioGenerator.h"
#include "support/FrameRates.h"
#include "support/LtcWriter.h"
#include "unit/ltc/DecoderRun.h"

namespace tallyrig {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// Generated code with silence before and after it, and where its frames begin.
struct Recording {
  std::vector<float> samples;
  std::vector<std::int64_t> starts;
};

Recording record(MTCFrameRate rate, double sampleRate, Timecode first, int frames) {
  const auto generator = LTCAudioGenerator::create(rate, sampleRate, -6);
  generator->setTimecode(first);
  Recording recording;
  recording.samples.resize(1000);
  for (int frame = 0; frame < frames; ++frame) {
    recording.starts.push_back(static_cast<std::int64_t>(recording.samples.size()));
    const auto next = generator->nextFrame().samples;
    recording.samples.insert(recording.samples.end(), next.begin(), next.end());
  }
  recording.starts.push_back(static_cast<std::int64_t>(recording.samples.size()));
  recording.samples.resize(recording.samples.size() + 10000);
  return recording;
}

class EveryStream : public testing::TestWithParam<std::tuple<double, MTCFrameRate>> {
 protected:
  static constexpr int kFrames = 60;
  double sampleRate = std::get<0>(GetParam());
  MTCFrameRate rate = std::get<1>(GetParam());
  Timecode first = Timecode{0, 0, 0, 0, rate}.advanced(-30);
  Recording recording = record(rate, sampleRate, first, kFrames);
};

// The first frame only finds the code, and the last one ends with no edge after it. A frame's edges are found on the
// grid of half bits, which is up to two samples off where a half bit is no whole number of samples.
TEST_P(EveryStream, EachFrameArrivesOnceAtItsPlace) {
  DecoderRun run;
  run.feed(recording.samples, sampleRate, 1);
  ASSERT_EQ(run.frames.size(), kFrames - 2U);
  for (std::size_t index = 0; index < run.frames.size(); ++index) {
    const auto& frame = run.frames[index];
    ASSERT_EQ(frame.timecode, first.advanced(static_cast<std::int64_t>(index) + 1));
    ASSERT_LE(std::abs(frame.startSamplePosition - recording.starts[index + 1]), 2) << index;
    ASSERT_LE(std::abs(frame.endSamplePosition - (recording.starts[index + 2] - 1)), 2) << index;
  }
}

// Whatever the chunk, it reports the newest of the frames that it completed, at the same place in the stream.
TEST_P(EveryStream, ChunkingChangesNothingButWhichFrameIsTheNewest) {
  struct Completed {
    std::size_t at;
    LTCTimecodeDecoder::DecodedFrame frame;
  };
  std::vector<Completed> single;
  {
    DecoderRun run;
    std::size_t position = 0;
    run.decoder.onTimecode = [&](const auto& frame) { single.push_back({position, frame}); };
    for (; position < recording.samples.size(); ++position) {
      run.decoder.process({&recording.samples[position], 1}, std::nullopt, sampleRate);
    }
  }
  for (const std::size_t chunkSize : {64U, 480U, 512U, 1024U, 4096U, 8192U}) {
    std::vector<LTCTimecodeDecoder::DecodedFrame> expected;
    for (std::size_t index = 0; index < single.size(); ++index) {
      const bool isNewest =
          index + 1 == single.size() || single[index + 1].at / chunkSize != single[index].at / chunkSize;
      if (isNewest) expected.push_back(single[index].frame);
    }
    DecoderRun run;
    run.feed(recording.samples, sampleRate, chunkSize);
    ASSERT_EQ(run.frames, expected) << "chunks of " << chunkSize;
  }
}

// Played backwards, the numbers count down.
TEST_P(EveryStream, ReversedCodeCountsDown) {
  std::vector<float> reversed(recording.samples.rbegin(), recording.samples.rend());
  DecoderRun run;
  run.feed(reversed, sampleRate, 256);
  ASSERT_GE(run.frames.size(), kFrames - 3U);
  for (std::size_t index = 1; index < run.frames.size(); ++index) {
    ASSERT_EQ(run.frames[index].timecode, run.frames[index - 1].timecode.advanced(-1));
    ASSERT_GT(run.frames[index].endSamplePosition, run.frames[index].startSamplePosition);
  }
}

std::string streamName(const testing::TestParamInfo<EveryStream::ParamType>& stream) {
  static const std::vector<std::string> kNames{"24", "25", "2997", "30"};
  return std::to_string(static_cast<int>(std::get<0>(stream.param))) + "At" +
         kNames[static_cast<std::size_t>(std::get<1>(stream.param))];
}
INSTANTIATE_TEST_SUITE_P(Streams, EveryStream,
                         testing::Combine(testing::Values(44100.0, 48000.0, 96000.0),
                                          testing::Values(MTCFrameRate::fps24, k25, MTCFrameRate::fps2997,
                                                          MTCFrameRate::fps30)),
                         streamName);

TEST(LTCTimecodeDecoder, AChunkThatCompletesTwoFramesReportsTheLater) {
  LtcWriter writer;
  writer.frames({1, 0, 0, 0, k25}, 5, 1920);
  DecoderRun run;
  // Frames 0 to 3 are whole; the last has no edge after it.
  run.feed(writer.samples, 48000, writer.samples.size());
  EXPECT_EQ(run.timecodes(), (std::vector<Timecode>{{1, 0, 0, 3, k25}}));
}

TEST(LTCTimecodeDecoder, AChunkWhoseLastFrameIsOutOfRangeReportsTheOneBefore) {
  LtcWriter writer;
  writer.frames({1, 0, 0, 0, k25}, 3, 1920);
  writer.frame({.secondsTens = 7, .hoursUnits = 1}, 1920);
  writer.frame({1, 0, 0, 4, k25}, 1920);
  DecoderRun run;
  run.feed(writer.samples, 48000, writer.samples.size());
  EXPECT_EQ(run.timecodes(), (std::vector<Timecode>{{1, 0, 0, 2, k25}}));
}

TEST(LTCTimecodeDecoder, FieldsOutOfRangeAreSkippedWithoutAWord) {
  const std::vector<LtcFields> refused{{.frameUnits = 5, .frameTens = 2},
                                       {.frameTens = 3},
                                       {.secondsTens = 6},
                                       {.secondsTens = 7},
                                       {.minutesTens = 6},
                                       {.minutesUnits = 15, .minutesTens = 5},
                                       {.hoursUnits = 4, .hoursTens = 2},
                                       {.hoursTens = 3}};
  for (const LtcFields& fields : refused) {
    LtcWriter writer;
    writer.frame({1, 0, 0, 0, k25}, 1920);
    writer.frame({1, 0, 0, 1, k25}, 1920);
    for (int count = 0; count < 3; ++count) writer.frame(fields, 1920);
    writer.frame({1, 0, 0, 5, k25}, 1920);
    writer.frame({1, 0, 0, 6, k25}, 1920);
    DecoderRun run;
    run.feed(writer.samples, 48000, 256);
    EXPECT_THAT(run.timecodes(),
                ElementsAre(Timecode{1, 0, 0, 0, k25}, Timecode{1, 0, 0, 1, k25}, Timecode{1, 0, 0, 5, k25}));
  }
}

TEST(LTCTimecodeDecoder, ADigitAboveNineIsTakenIfTheSumIsInRange) {
  LtcWriter writer;
  writer.frame({1, 0, 0, 0, k25}, 1920);
  const LtcFields odd{.frameUnits = 14, .frameTens = 1, .secondsUnits = 15, .minutesUnits = 11, .hoursUnits = 13};
  writer.frame(odd, 1920);
  writer.frame({1, 0, 0, 2, k25}, 1920);
  DecoderRun run;
  run.feed(writer.samples, 48000, 256);
  EXPECT_THAT(run.timecodes(), ElementsAre(Timecode{1, 0, 0, 0, k25}, Timecode{13, 11, 15, 24, k25}));
}

TEST(LTCTimecodeDecoder, AnEmptyChunkChangesNothing) {
  LtcWriter writer;
  writer.frames({1, 0, 0, 0, k25}, 6, 1920);
  DecoderRun plain;
  plain.feed(writer.samples, 48000, 480);
  DecoderRun withPauses;
  withPauses.decoder.process({}, HostTime{5}, 48000);
  for (std::size_t position = 0; position < writer.samples.size(); position += 480) {
    withPauses.decoder.process({&writer.samples[position], 480}, std::nullopt, 48000);
    withPauses.decoder.process({}, HostTime{5}, 48000);
  }
  ASSERT_EQ(plain.frames.size(), 5U);
  EXPECT_EQ(withPauses.frames, plain.frames);
}

TEST(LTCTimecodeDecoder, WithoutACallbackFramesAreDroppedButTheStreamIsFollowed) {
  LtcWriter writer;
  writer.frames({1, 0, 0, 0, k25}, 10, 1920);
  DecoderRun run;
  const auto callback = std::exchange(run.decoder.onTimecode, nullptr);
  run.feed(std::span(writer.samples).first(9600), 48000, 480);
  run.decoder.onTimecode = callback;
  run.feed(std::span(writer.samples).subspan(9600), 48000, 480);
  ASSERT_FALSE(run.frames.empty());
  EXPECT_EQ(run.frames[0].timecode.frames, 4);
  EXPECT_LE(std::abs(run.frames[0].startSamplePosition - 4 * 1920), 2);
}

TEST(LTCTimecodeDecoder, ResetStartsPositionsAtZeroAndDropsTheFrameInProgress) {
  LtcWriter writer;
  writer.frames({1, 0, 0, 0, k25}, 8, 1920);
  DecoderRun run;
  // Half way through the fifth frame; what follows is its second half and three more.
  run.feed(std::span(writer.samples).first(4 * 1920 + 960), 48000, 480);
  run.frames.clear();
  run.decoder.reset();
  run.feed(std::span(writer.samples).subspan(4 * 1920 + 960), 48000, 480);
  EXPECT_THAT(run.timecodes(), ElementsAre(Timecode{1, 0, 0, 5, k25}, Timecode{1, 0, 0, 6, k25}));
  EXPECT_LE(std::abs(run.frames.back().startSamplePosition - (960 + 1920)), 2);
}

TEST(LTCTimecodeDecoder, ARateThatIsNoneLosesTheChunkAndTheNextIsTriedAgain) {
  LtcWriter writer;
  writer.frames({1, 0, 0, 0, k25}, 4, 1920);
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  for (const double rate : {0.0, -48000.0, 24.0, kInfinity, 1e300, std::numeric_limits<double>::quiet_NaN()}) {
    DecoderRun run;
    for (int chunk = 0; chunk < 5; ++chunk) {
      run.decoder.process({&writer.samples[static_cast<std::size_t>(chunk) * 480], 480}, HostTime{1000}, rate);
    }
    EXPECT_THAT(run.frames, IsEmpty()) << rate;
    run.feed(writer.samples, 48000, 480);
    EXPECT_EQ(run.frames.size(), 3U) << rate;
    EXPECT_LE(std::abs(run.frames.back().endSamplePosition - (3 * 1920 - 1)), 2) << rate;
  }
}

TEST(LTCTimecodeDecoder, SilenceAndNoiseGiveNothing) {
  DecoderRun run;
  run.feed(std::vector<float>(96000, 0.0F), 48000, 512);
  run.feed(std::vector<float>(96000, 1.0F), 48000, 512);
  std::uint32_t state = 12345;
  std::vector<float> noise(96000);
  for (float& sample : noise) {
    state = state * 1664525 + 1013904223;
    sample = static_cast<float>(state >> 8) / 8388608.0F - 1.0F;
  }
  run.feed(noise, 48000, 512);
  EXPECT_THAT(run.frames, IsEmpty());
}

}  // namespace
}  // namespace tallyrig
