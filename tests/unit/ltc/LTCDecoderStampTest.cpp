// The host times of a decoded frame.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>

#include "support/EncodedLTC.h"
#include "support/FrameRates.h"
#include "support/LtcWriter.h"
#include "unit/ltc/DecoderRun.h"

namespace tallyrig {
namespace {

std::vector<float> generated(double sampleRate, int frames) {
  return encodedLTC({1, 0, 0, 0, k25}, frames, sampleRate);
}

// At 48 and 96 kHz and 25 frames a second half a bit is a whole number of samples, so that the positions, and with
// them the stamps, are exact: the first sample of the frame and its last.
TEST(LTCDecoderStamp, IsTheInstantOfTheFramesFirstAndLastSample) {
  for (const double sampleRate : {48000.0, 96000.0}) {
    const auto samplesPerFrame = static_cast<std::int64_t>(sampleRate / 25);
    const auto samples = generated(sampleRate, 30);
    for (const std::size_t chunkSize : {1U, 64U, 480U, 512U, 1024U}) {
      DecoderRun run;
      run.feed(samples, sampleRate, chunkSize, HostTime{5000000000});
      ASSERT_GE(run.frames.size(), 28U);
      for (std::size_t index = 1; index < run.frames.size(); ++index) {
        const auto& frame = run.frames[index];
        const std::int64_t number = frame.timecode.totalFrames() - Timecode{1, 0, 0, 0, k25}.totalFrames();
        ASSERT_EQ(frame.startSamplePosition, number * samplesPerFrame);
        ASSERT_EQ(frame.endSamplePosition, (number + 1) * samplesPerFrame - 1);
        const double ideal = 5e9 + static_cast<double>(number) * 4e7;
        const double last = ideal + 4e7 - 1e9 / sampleRate;
        // The chunk's own stamp and the distance from it are each rounded to a nanosecond.
        ASSERT_LE(std::abs(static_cast<double>(frame.startHostTime->ticks) - ideal), 1.0);
        ASSERT_LE(std::abs(static_cast<double>(frame.endHostTime->ticks) - last), 1.0);
      }
    }
  }
}

// The stamp is the chunk's instant moved by the distance in whole nanoseconds, whatever the tick is.
TEST(LTCDecoderStamp, IsTheChunksInstantMovedByWholeNanoseconds) {
  for (const double sampleRate : {44100.0, 48000.0, 96000.0}) {
    const auto samples = generated(sampleRate, 30);
    for (const TickRatio tick : {TickRatio{1, 1}, TickRatio{125, 3}}) {
      for (const std::size_t chunkSize : {480U, 1024U, 4096U}) {
        DecoderRun run(tick);
        const HostTime irregular{123456789};
        std::int64_t chunkStart = 0;
        HostTime chunkTime = irregular;
        int checked = 0;
        run.decoder.onTimecode = [&](const LTCTimecodeDecoder::DecodedFrame& frame) {
          const auto stampOf = [&](std::int64_t position) {
            const std::int64_t delta = position - chunkStart;
            const double nanos = static_cast<double>(std::abs(delta)) / sampleRate * 1e9;
            const auto whole = static_cast<std::uint64_t>(std::floor(nanos + 0.5));
            const std::uint64_t ticks = whole * tick.denominator / tick.numerator;
            return HostTime{delta < 0 ? chunkTime.ticks - ticks : chunkTime.ticks + ticks};
          };
          ASSERT_EQ(frame.startHostTime, stampOf(frame.startSamplePosition));
          ASSERT_EQ(frame.endHostTime, stampOf(frame.endSamplePosition));
          ++checked;
        };
        while (chunkStart + static_cast<std::int64_t>(chunkSize) <= static_cast<std::int64_t>(samples.size())) {
          // A device's stamps jitter; only the present chunk's counts.
          chunkTime.ticks += 10000000 + static_cast<std::uint64_t>(chunkStart) % 977;
          run.decoder.process({&samples[static_cast<std::size_t>(chunkStart)], chunkSize}, chunkTime, sampleRate);
          chunkStart += static_cast<std::int64_t>(chunkSize);
        }
        EXPECT_GE(checked, 10);
      }
    }
  }
}

TEST(LTCDecoderStamp, AFrameThatBeganInAnEarlierChunkBeganBeforeThisOne) {
  const auto samples = generated(48000, 4);
  DecoderRun run;
  run.decoder.process({samples.data(), 3800}, HostTime{1000000000}, 48000);
  run.frames.clear();
  run.decoder.process({samples.data() + 3800, 200}, HostTime{2000000000}, 48000);
  ASSERT_EQ(run.frames.size(), 1U);
  EXPECT_LT(*run.frames[0].startHostTime, HostTime{2000000000});
  EXPECT_GT(*run.frames[0].endHostTime, HostTime{2000000000});
}

TEST(LTCDecoderStamp, NeverGoesBelowInstantZero) {
  const auto samples = generated(48000, 4);
  DecoderRun run;
  run.decoder.process({samples.data(), 3800}, HostTime{0}, 48000);
  run.frames.clear();
  run.decoder.process({samples.data() + 3800, 200}, HostTime{100}, 48000);
  ASSERT_EQ(run.frames.size(), 1U);
  EXPECT_EQ(run.frames[0].startHostTime, HostTime{0});
  EXPECT_GT(*run.frames[0].endHostTime, HostTime{100});
}

TEST(LTCDecoderStamp, WithoutAHostTimeBothAreAbsentAndPositionsStand) {
  const auto samples = generated(48000, 10);
  DecoderRun stamped;
  stamped.feed(samples, 48000, 480, HostTime{1});
  DecoderRun bare;
  bare.feed(samples, 48000, 480);
  ASSERT_EQ(bare.frames.size(), 9U);
  ASSERT_EQ(stamped.frames.size(), bare.frames.size());
  for (std::size_t index = 0; index < bare.frames.size(); ++index) {
    EXPECT_EQ(bare.frames[index].startSamplePosition, stamped.frames[index].startSamplePosition);
    EXPECT_EQ(bare.frames[index].endSamplePosition, stamped.frames[index].endSamplePosition);
    EXPECT_FALSE(bare.frames[index].startHostTime || bare.frames[index].endHostTime);
    EXPECT_TRUE(stamped.frames[index].startHostTime && stamped.frames[index].endHostTime);
  }
}

TEST(LTCDecoderStamp, OnlyTheChunkThatCompletesTheFrameMatters) {
  const auto samples = generated(48000, 4);
  DecoderRun run;
  run.decoder.process({samples.data(), 3800}, std::nullopt, 48000);
  run.frames.clear();
  run.decoder.process({samples.data() + 3800, 200}, HostTime{2000000000}, 48000);
  ASSERT_EQ(run.frames.size(), 1U);
  EXPECT_TRUE(run.frames[0].startHostTime.has_value());
  run.decoder.process({samples.data() + 4000, 3000}, std::nullopt, 48000);
  ASSERT_EQ(run.frames.size(), 2U);
  EXPECT_FALSE(run.frames[1].startHostTime.has_value());
}

}  // namespace
}  // namespace tallyrig
