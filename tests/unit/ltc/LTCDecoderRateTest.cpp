// Which rate a decoded frame is reported at.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/FrameRates.h"
#include "support/LtcWriter.h"
#include "unit/ltc/DecoderRun.h"

namespace tallyrig {
namespace {

using testing::Each;
using testing::ElementsAre;
using testing::Field;

DecoderRun& fed(DecoderRun& run, const LtcWriter& writer) {
  run.feed(writer.samples, 48000, 256);
  return run;
}

TEST(LTCDecoderRate, ASingleShortFrameDoesNotMoveTheLock) {
  LtcWriter writer;
  writer.frames({1, 0, 0, 0, k25}, 6, 1920);
  writer.frame({1, 0, 0, 6, k25}, 1600);
  writer.frames({1, 0, 0, 7, k25}, 4, 1920);
  // Three more, each alone: a candidate that survived a good frame would come to four.
  for (int frame = 11; frame < 17; frame += 2) {
    writer.frame({1, 0, 0, frame, k25}, 1600);
    writer.frame({1, 0, 0, frame + 1, k25}, 1920);
  }
  DecoderRun run;
  fed(run, writer);
  EXPECT_GE(run.frames.size(), 14U);
  EXPECT_THAT(run.timecodes(), Each(Field(&Timecode::frameRate, k25)));
}

TEST(LTCDecoderRate, AChangeNeedsFourFramesAndTheOldLimitHoldsUntilThen) {
  LtcWriter writer;
  writer.frames({1, 0, 0, 10, k25}, 4, 1920);
  writer.frames({1, 0, 0, 23, k30}, 8, 1600);
  DecoderRun run;
  fed(run, writer);
  EXPECT_THAT(run.texts(), ElementsAre("01:00:00:10 @ 25", "01:00:00:11 @ 25", "01:00:00:12 @ 25", "01:00:00:13 @ 25",
                                       "01:00:00:23 @ 25", "01:00:00:24 @ 25",
                                       // 25 is out of range at the old rate, but it counts for the new one.
                                       "01:00:00:26 @ 30", "01:00:00:27 @ 30", "01:00:00:28 @ 30", "01:00:00:29 @ 30"));
}

TEST(LTCDecoderRate, AFrameNumber24IsRefusedAt24ThoughItsLengthCounts) {
  LtcWriter writer;
  writer.frames({1, 0, 0, 20, k24}, 3, 2000);
  writer.frame({.frameUnits = 3, .frameTens = 2, .hoursUnits = 1}, 2000);
  writer.frame({.frameUnits = 4, .frameTens = 2, .hoursUnits = 1}, 2000);
  writer.frames({1, 0, 1, 0, k24}, 2, 2000);
  DecoderRun run;
  fed(run, writer);
  EXPECT_THAT(run.texts(), ElementsAre("01:00:00:20 @ 24", "01:00:00:21 @ 24", "01:00:00:22 @ 24", "01:00:00:23 @ 24",
                                       "01:00:01:00 @ 24"));

  // Here the refused frame breaks a run of three towards 25: without it the next would change the rate.
  LtcWriter other;
  other.frames({1, 0, 0, 0, k24}, 3, 2000);
  other.frames({1, 0, 0, 3, k24}, 3, 1920);
  other.frame({.frameUnits = 4, .frameTens = 2, .hoursUnits = 1}, 2000);
  other.frames({1, 0, 0, 7, k24}, 3, 1920);
  other.frames({1, 0, 0, 10, k24}, 2, 2000);
  DecoderRun second;
  fed(second, other);
  EXPECT_THAT(second.timecodes(), Each(Field(&Timecode::frameRate, k24)));
  EXPECT_EQ(second.timecodes().back(), (Timecode{1, 0, 0, 10, k24}));
}

TEST(LTCDecoderRate, TheDropFrameFlagReadsAs2997AtAnyLength) {
  LtcWriter writer;
  writer.frames({1, 0, 0, 0, k25}, 3, 1920);
  for (int frame = 3; frame < 10; ++frame) {
    writer.frame({.frameUnits = frame, .dropFrame = true, .hoursUnits = 1}, 1920);
  }
  DecoderRun run;
  fed(run, writer);
  EXPECT_THAT(run.texts(), ElementsAre("01:00:00:00 @ 25", "01:00:00:01 @ 25", "01:00:00:02 @ 25", "01:00:00:03 @ 25",
                                       "01:00:00:04 @ 25", "01:00:00:05 @ 25", "01:00:00:06 @ 29.97 DF",
                                       "01:00:00:07 @ 29.97 DF", "01:00:00:08 @ 29.97 DF"));
}

TEST(LTCDecoderRate, PulledDownCodeReadsAsItsNominalRate) {
  LtcWriter film;
  film.frames({1, 0, 0, 0, k24}, 8, 48000 / 23.976);
  DecoderRun filmRun;
  fed(filmRun, film);
  EXPECT_GE(filmRun.frames.size(), 6U);
  EXPECT_THAT(filmRun.timecodes(), Each(Field(&Timecode::frameRate, k24)));

  LtcWriter video;
  video.frames({1, 0, 0, 0, k30}, 8, 48000 / 29.97);
  DecoderRun videoRun;
  fed(videoRun, video);
  EXPECT_GE(videoRun.frames.size(), 6U);
  EXPECT_THAT(videoRun.timecodes(), Each(Field(&Timecode::frameRate, k30)));
}

TEST(LTCDecoderRate, ADroppedLabelIsReportedAsItStands) {
  LtcWriter writer;
  for (int frame = 0; frame < 4; ++frame) {
    writer.frame({.frameUnits = frame, .dropFrame = true, .minutesUnits = 1}, 1601.6);
  }
  DecoderRun run;
  fed(run, writer);
  EXPECT_THAT(run.texts(), ElementsAre("00:01:00:00 @ 29.97 DF", "00:01:00:01 @ 29.97 DF", "00:01:00:02 @ 29.97 DF"));
}

TEST(LTCDecoderRate, AChangeOfSampleRateKeepsTheLockAndRestartsThePositions) {
  LtcWriter before;
  before.frames({1, 0, 0, 0, k25}, 4, 1920);
  LtcWriter after;
  after.frames({2, 0, 0, 0, k30}, 7, 1470);
  DecoderRun run;
  run.feed(before.samples, 48000, 256);
  run.frames.clear();
  run.feed(after.samples, 44100, 256);
  EXPECT_THAT(run.texts(), ElementsAre("02:00:00:00 @ 25", "02:00:00:01 @ 25", "02:00:00:02 @ 25", "02:00:00:03 @ 30",
                                       "02:00:00:04 @ 30", "02:00:00:05 @ 30"));
  EXPECT_LE(std::abs(run.frames[2].startSamplePosition - 2 * 1470), 2);
}

TEST(LTCDecoderRate, AfterAResetTheFirstFrameLocksAtOnce) {
  LtcWriter before;
  before.frames({1, 0, 0, 0, k25}, 4, 1920);
  LtcWriter after;
  after.frames({2, 0, 0, 0, k30}, 4, 1600);
  DecoderRun run;
  fed(run, before);
  run.frames.clear();
  run.decoder.reset();
  fed(run, after);
  EXPECT_THAT(run.texts(), ElementsAre("02:00:00:00 @ 30", "02:00:00:01 @ 30", "02:00:00:02 @ 30"));
}

}  // namespace
}  // namespace tallyrig
