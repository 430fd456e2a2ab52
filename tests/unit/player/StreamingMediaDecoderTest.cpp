#include "player/StreamingMediaDecoder.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <memory>
#include <numbers>
#include <string>
#include <vector>

#include "platform/ffmpeg/FFmpegSampleRateConverters.h"
#include "platform/simulated/SimulatedWorld.h"
#include "support/SimulatedMediaFiles.h"

namespace tallyrig {
namespace {

using namespace std::chrono_literals;

/// A decoder on a virtual clock, for the file "clip.wav" of 48 kHz and two channels.
class StreamingMediaDecoderTest : public testing::Test {
 protected:
  void start(double seconds, double outputRate = 48000) {
    session = std::make_shared<StreamingMediaPlaybackSession>(StreamingMediaPlaybackSession::Settings{
        {"clip.wav", media.format.sampleRate, media.format.channelCount, media.description.durationSeconds},
        {0, 1},
        2,
        1024,
        outputRate});
    std::make_shared<StreamingMediaDecoder>(
        session, seconds, files, converters, queue,
        StreamingMediaDecoder::Reports{[this] { framesAtReady.push_back(session->ring().availableFrames()); },
                                       [this](const std::string& text) { failures.push_back(text); }})
        ->start();
  }

  std::vector<float> take(std::int64_t frames) {
    std::vector<float> samples(static_cast<std::size_t>(frames * session->ring().channelCount()));
    const std::int64_t count = session->ring().read(samples.data(), frames);
    samples.resize(static_cast<std::size_t>(count * session->ring().channelCount()));
    return samples;
  }

  SimulatedWorld world;
  SimulatedMediaFiles files;
  SimulatedMedia& media = files.files["clip.wav"] = countedMedia(48000, 2, 480'000);
  FFmpegSampleRateConverters converters;
  std::shared_ptr<SerialQueue> queue = world.scheduler().makeQueue("decoder", QueuePriority::kUserInitiated);
  std::shared_ptr<StreamingMediaPlaybackSession> session;
  std::vector<std::int64_t> framesAtReady;
  std::vector<std::string> failures;
};

TEST_F(StreamingMediaDecoderTest, FillsTheRingWithFourSecondsAndWaits) {
  start(0);
  world.runFor(1s);
  EXPECT_EQ(session->ring().availableFrames(), 192'000);
  EXPECT_LT(files.framesRead, 192'000 + 2 * 4096) << "no more is read than the ring takes";
  EXPECT_TRUE(failures.empty());
}

TEST_F(StreamingMediaDecoderTest, IsReadyWithAQuarterOfASecond) {
  start(0);
  world.runFor(1s);
  ASSERT_EQ(framesAtReady.size(), 1U);
  EXPECT_GE(framesAtReady[0], 12'000);
  EXPECT_LT(framesAtReady[0], 12'000 + 4096);
}

TEST_F(StreamingMediaDecoderTest, GivesEverySampleFromTheExactPositionToTheEnd) {
  for (const double seconds : {0.0, 0.5, 1.0 / 3, 9.99}) {
    files.framesRead = 0;
    start(seconds);
    auto next = static_cast<std::int64_t>(std::llround(seconds * 48000));
    while (world.runUntil([&] { return session->ring().availableFrames() > 0; }, 100ms)) {
      const auto samples = take(977);
      for (std::size_t i = 0; i < samples.size() / 2; ++i, ++next) {
        ASSERT_EQ(samples[2 * i], countedSample(next, 0)) << seconds;
        ASSERT_EQ(samples[2 * i + 1], countedSample(next, 1));
      }
    }
    EXPECT_EQ(next, 480'000);
    EXPECT_EQ(files.openFiles, 0) << "the file is closed at its end";
  }
}

TEST_F(StreamingMediaDecoderTest, AShortFileIsReadyWithAllOfIt) {
  media = countedMedia(48000, 2, 100);
  start(0);
  world.runFor(1s);
  EXPECT_EQ(framesAtReady, std::vector<std::int64_t>{100});
  EXPECT_TRUE(failures.empty());
}

TEST_F(StreamingMediaDecoderTest, AnEmptyFileIsReadyWithNothing) {
  media = countedMedia(48000, 2, 0);
  start(0);
  world.runFor(1s);
  EXPECT_EQ(framesAtReady, std::vector<std::int64_t>{0});
  EXPECT_TRUE(failures.empty());
}

TEST_F(StreamingMediaDecoderTest, AtTheVeryEndItIsReadyAtOnceAndSilent) {
  start(10.0);
  world.runPending();
  EXPECT_EQ(framesAtReady, std::vector<std::int64_t>{0});
  EXPECT_EQ(files.opens, 0);
  EXPECT_TRUE(failures.empty());
}

TEST_F(StreamingMediaDecoderTest, NothingWhereTheFilePromisedMoreIsAFault) {
  media.description.durationSeconds = 20;
  start(15);
  world.runFor(1s);
  EXPECT_EQ(failures, std::vector<std::string>{"Decoded audio did not contain valid PCM samples."});
  EXPECT_TRUE(framesAtReady.empty());
}

TEST_F(StreamingMediaDecoderTest, WithoutAKnownDurationItStartsAtThePositionAllTheSame) {
  media.description.durationSeconds = 0;
  start(1);
  world.runFor(1s);
  EXPECT_EQ(take(1)[0], countedSample(48000, 0));
}

TEST_F(StreamingMediaDecoderTest, ReadsInSmallPieces) {
  media.mostFramesAtOnce = 7;
  start(0.001);
  world.runFor(1s);
  const auto samples = take(100);
  for (std::size_t i = 0; i < 100; ++i) ASSERT_EQ(samples[2 * i], countedSample(48 + static_cast<std::int64_t>(i), 0));
}

TEST_F(StreamingMediaDecoderTest, AFaultMidwayIsReportedOnceAndClosesTheFile) {
  media.faultAt = 20'000;
  start(0);
  world.runFor(1s);
  EXPECT_EQ(failures, std::vector<std::string>{media.fault.message()});
  EXPECT_EQ(framesAtReady.size(), 1U) << "a quarter of a second had been there";
  EXPECT_EQ(files.openFiles, 0);
  EXPECT_EQ(files.liveReaders, 0);
}

TEST_F(StreamingMediaDecoderTest, EachStepOfOpeningCanFail) {
  media.openError = std::make_error_code(std::errc::permission_denied);
  start(0);
  world.runPending();
  media.openError.clear();
  media.description.audioTracks.clear();
  start(0);
  world.runPending();
  media.description.audioTracks.push_back({media.format});
  media.audioError = std::make_error_code(std::errc::not_supported);
  start(0);
  world.runPending();
  media.audioError.clear();
  media.givesNoReader = true;
  start(0);
  world.runPending();
  EXPECT_EQ(failures,
            (std::vector<std::string>{
                std::make_error_code(std::errc::permission_denied).message(), "No audio track was found.",
                std::make_error_code(std::errc::not_supported).message(), "The audio track could not be decoded."}));
  EXPECT_EQ(files.openFiles, 0);
  EXPECT_TRUE(framesAtReady.empty());
}

TEST_F(StreamingMediaDecoderTest, AFileReplacedByAnotherFormatIsNotPlayed) {
  start(0);
  media.format = {44100, 2};
  world.runPending();
  EXPECT_EQ(failures, std::vector<std::string>{"The audio track could not be decoded."});
}

TEST_F(StreamingMediaDecoderTest, ACancelWhileItWaitsEndsItWithinFiveMilliseconds) {
  start(0);
  world.runFor(1s);
  ASSERT_EQ(files.liveReaders, 1);
  session->cancel();
  EXPECT_EQ(files.cancels, 1);
  world.runFor(5ms);
  EXPECT_EQ(files.liveReaders, 0);
  EXPECT_TRUE(failures.empty());
}

TEST_F(StreamingMediaDecoderTest, ACancelDuringAReadIsNoFailure) {
  files.beforeRead = [this] { session->cancel(); };
  start(0);
  world.runFor(1s);
  EXPECT_EQ(files.liveReaders, 0);
  EXPECT_TRUE(failures.empty());
  EXPECT_TRUE(framesAtReady.empty());
}

TEST_F(StreamingMediaDecoderTest, ACancelBeforeItBeginsOpensNothing) {
  start(0);
  session->cancel();
  world.runFor(1s);
  EXPECT_EQ(files.opens, 0);
  EXPECT_TRUE(framesAtReady.empty());
}

/// The device's rate is another than the file's.
class ConvertingDecoderTest : public StreamingMediaDecoderTest, public testing::WithParamInterface<double> {};

TEST_P(ConvertingDecoderTest, TheFirstSampleIsTheOneAtThePosition) {
  const double outputRate = GetParam();
  media = countedMedia(44100, 1, 441'000);
  const auto signal = [](double seconds) { return 0.5 * std::sin(2 * std::numbers::pi * 997 * seconds); };
  media.sample = [&](std::int64_t frame, int) {
    return static_cast<float>(signal(static_cast<double>(frame) / 44100));
  };
  for (const double position : {0.02, 1.0, 2.345, 7.0001}) {
    start(position, outputRate);
    world.runFor(100ms);
    const double origin = std::round(position * 44100) / 44100;
    const auto samples = take(4800);
    ASSERT_EQ(samples.size(), 4800U);
    for (std::size_t i = 0; i < samples.size(); ++i) {
      ASSERT_NEAR(samples[i], signal(origin + static_cast<double>(i) / outputRate), 1e-4) << position << " " << i;
    }
    session->cancel();
    world.runFor(10ms);
  }
}

TEST_P(ConvertingDecoderTest, TheWholeFileComesOut) {
  const double outputRate = GetParam();
  media = countedMedia(44100, 1, 44'100);
  media.sample = [](std::int64_t, int) { return 0.25F; };
  start(0, outputRate);
  world.runFor(1s);
  EXPECT_NEAR(static_cast<double>(session->ring().availableFrames()), outputRate, 0.002 * outputRate);
  EXPECT_EQ(framesAtReady.size(), 1U);
  EXPECT_EQ(files.openFiles, 0);
}

INSTANTIATE_TEST_SUITE_P(Rates, ConvertingDecoderTest, testing::Values(48000, 96000, 192000, 22050, 32000));

}  // namespace
}  // namespace tallyrig
