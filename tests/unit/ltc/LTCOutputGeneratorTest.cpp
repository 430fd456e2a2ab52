#include "ltc/LTCOutputGenerator.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <memory>
#include <optional>
#include <vector>

#include "ltc/LTCTimecodeDecoder.h"
#include "platform/simulated/SimulatedWorld.h"

namespace tallyrig {
namespace {

using namespace std::chrono_literals;

/// A generator over a simulated desk; what leaves on output 3 is recorded with its sample positions.
class LTCOutputGeneratorTest : public testing::Test {
 protected:
  void record(SimulatedDevice& device, std::size_t channel) {
    device.onOutput(channel, [this](std::int64_t position, std::span<const float> samples) {
      if (heard.empty()) heardFrom = position;
      heard.resize(static_cast<std::size_t>(position - heardFrom));
      heard.insert(heard.end(), samples.begin(), samples.end());
    });
  }

  AudioOutputDevice recordOf(const SimulatedDevice& device) {
    AudioOutputDevice result;
    for (const auto& listed : listOutputDevices(world.audio())) {
      if (listed.id == device.id()) result = listed;
    }
    return result;
  }

  void startOn(SimulatedDevice& device, const Timecode& start, std::int64_t channel = 2) {
    record(device, static_cast<std::size_t>(channel));
    generator->start({recordOf(device), channel, start.frameRate, start, -6.0});
  }

  std::vector<LTCTimecodeDecoder::DecodedFrame> decode(double rate = 48000) {
    LTCTimecodeDecoder decoder(world.clock());
    std::vector<LTCTimecodeDecoder::DecodedFrame> frames;
    decoder.onTimecode = [&](const auto& frame) { frames.push_back(frame); };
    for (std::size_t at = 0; at < heard.size(); at += 64) {
      decoder.process(std::span(heard).subspan(at, std::min<std::size_t>(64, heard.size() - at)), std::nullopt, rate);
    }
    return frames;
  }

  std::int64_t firstSound() const {
    const auto found = std::find_if(heard.begin(), heard.end(), [](float s) { return s != 0; });
    return heardFrom + (found - heard.begin());
  }

  std::int64_t lastSound() const {
    const auto found = std::find_if(heard.rbegin(), heard.rend(), [](float s) { return s != 0; });
    return heardFrom + (heard.rend() - found) - 1;
  }

  SimulatedWorld world;
  SimulatedDevice& desk =
      world.audio().addDevice({.name = "Desk", .inputGroups = {4}, .outputGroups = {4}, .quantum = 256});
  SimulatedDevice& wedge = world.audio().addDevice({.name = "Wedge", .outputGroups = {2, 2}, .quantum = 512});
  LTCAudioInputHub hub{world.audio(), world.scheduler(), world.log()};
  std::unique_ptr<LTCOutputGenerator> generator =
      std::make_unique<LTCOutputGenerator>(world.clock(), world.scheduler(), world.log(), world.audio(), hub);
  std::vector<float> heard;
  std::int64_t heardFrom = 0;
};

constexpr Timecode kTen{10, 0, 0, 0, MTCFrameRate::fps25};

TEST_F(LTCOutputGeneratorTest, SendsEveryFrameFromTheStartOn) {
  startOn(desk, kTen);
  EXPECT_TRUE(generator->isGenerating());
  EXPECT_EQ(world.logCount("] LTCOutput: using shared full-duplex session Desk, channel 3"), 1U);
  world.runFor(20s);
  const auto frames = decode();
  ASSERT_GT(frames.size(), 490U);
  EXPECT_EQ(frames.front().timecode, kTen);
  for (std::size_t i = 1; i < frames.size(); ++i) {
    EXPECT_EQ(frames[i].timecode, frames[i - 1].timecode.advanced(1));
  }
}

TEST_F(LTCOutputGeneratorTest, AnAnchorIsTheInstantItsFrameBegan) {
  std::vector<TimecodeAnchor> anchors;
  QObject::connect(generator.get(), &LTCOutputGenerator::currentAnchorChanged,
                   [&](const TimecodeAnchor& anchor) { anchors.push_back(anchor); });
  startOn(desk, kTen);
  world.runFor(5s);
  ASSERT_GT(anchors.size(), 100U);
  const std::int64_t begin = firstSound();
  // The first anchor leaves before the device's first cycle and takes the clock.
  EXPECT_EQ(anchors.front().timecode, kTen);
  anchors.erase(anchors.begin());
  for (const auto& anchor : anchors) {
    const std::int64_t frame = *kTen.signedFrameDistance(anchor.timecode);
    EXPECT_EQ(anchor.hostTime, desk.timeOf(begin + frame * 1920)) << anchor.timecode.text();
  }
}

TEST_F(LTCOutputGeneratorTest, ADeviceWithoutInputsRunsOnItsOwnCallback) {
  startOn(wedge, kTen);
  EXPECT_TRUE(generator->isGenerating());
  EXPECT_TRUE(hub.sessions().empty());
  EXPECT_EQ(
      world.logCount("LTCOutput: opened Wedge, channel 3, layout 2+2 @ 48000Hz, buffer 512f, latency 0f, safety 0f"),
      1U);
  world.runFor(2s);
  EXPECT_EQ(decode().front().timecode, kTen);
  generator->stop();
  EXPECT_FALSE(wedge.isRunning());
  EXPECT_EQ(wedge.liveIOs(), 0U);
}

TEST_F(LTCOutputGeneratorTest, EachFailureIsTold) {
  wedge.failures().nominalRate = -ENODEV;
  startOn(wedge, kTen);
  EXPECT_EQ(generator->errorMessage(), "CoreAudio output error -19");
  EXPECT_EQ(world.logCount("] LTCOutput: failed to start — CoreAudio output error -19"), 1U);
  EXPECT_FALSE(generator->isGenerating());

  wedge.failures() = {.createIO = -EBUSY};
  startOn(wedge, kTen);
  EXPECT_EQ(generator->errorMessage(), "CoreAudio output error -16");

  wedge.failures() = {.createsNoIO = true};
  startOn(wedge, kTen);
  EXPECT_EQ(generator->errorMessage(), "CoreAudio did not create an output IOProc");

  wedge.failures() = {.start = -EIO};
  startOn(wedge, kTen);
  EXPECT_EQ(generator->errorMessage(), "CoreAudio output error -5");
  EXPECT_EQ(wedge.liveIOs(), 0U);

  wedge.failures() = {};
  startOn(wedge, kTen);
  EXPECT_FALSE(generator->errorMessage());
  EXPECT_TRUE(generator->isGenerating());
}

TEST_F(LTCOutputGeneratorTest, ARateTheEncoderCannotMakeIsTold) {
  wedge.setRate(0.5);
  startOn(wedge, kTen);
  EXPECT_EQ(generator->errorMessage(), "Could not create LTC encoder");
}

TEST_F(LTCOutputGeneratorTest, ABoundaryStopFinishesTheFrameOnTheAir) {
  startOn(desk, kTen);
  world.runFor(1013ms);
  std::optional<TimecodeAnchor> final;
  int calls = 0;
  generator->requestBoundaryStop([&](const TimecodeAnchor& anchor) {
    final = anchor;
    ++calls;
  });
  generator->requestBoundaryStop([&](const TimecodeAnchor&) { ADD_FAILURE() << "the second stop has no completion"; });
  world.runFor(1s);
  ASSERT_TRUE(final);
  EXPECT_EQ(calls, 1);
  EXPECT_FALSE(generator->isGenerating());
  EXPECT_EQ(generator->currentAnchor(), final);
  EXPECT_TRUE(hub.sessions().empty());

  const std::int64_t frames = *kTen.signedFrameDistance(final->timecode) + 1;
  const std::int64_t end = firstSound() + frames * 1920;
  EXPECT_EQ(lastSound(), end - 1) << "the last sample of the frame sounds and the next one never does";
  EXPECT_EQ(final->hostTime, desk.timeOf(end));
  EXPECT_EQ(world.logCount("] LTCOutput: boundary stop after final transmitted frame " + final->timecode.text() +
                           "; silence begins at " + final->timecode.advanced(1).text()),
            1U);
}

TEST_F(LTCOutputGeneratorTest, StopIsImmediateAndForgets) {
  startOn(desk, kTen);
  world.runFor(1s);
  ASSERT_TRUE(generator->currentAnchor());
  generator->stop();
  EXPECT_FALSE(generator->currentAnchor());
  EXPECT_FALSE(generator->isGenerating());
  EXPECT_TRUE(hub.outputSubscriptions().empty());
  world.runFor(1s);
  EXPECT_FALSE(generator->isGenerating()) << "news of the old session is not taken for the new one's";
}

TEST_F(LTCOutputGeneratorTest, AFillStopsAtTwoSecondsOrTheFirstFramePastThem) {
  for (const double sampleRate : {44100.0, 48000.0, 88200.0, 96000.0, 176400.0, 192000.0}) {
    for (const auto rate : {MTCFrameRate::fps24, MTCFrameRate::fps25, MTCFrameRate::fps2997, MTCFrameRate::fps30}) {
      auto session = std::make_shared<LTCOutputSession>(
          LTCOutputSession::Settings{recordOf(desk), 0, rate, Timecode{1, 0, 0, 0, rate}, -6.0}, world.clock(),
          world.scheduler(), world.log());
      ASSERT_FALSE(session->configure(sampleRate));
      const auto ahead = static_cast<double>(session->renderer()->ring().availableSamples());
      EXPECT_GE(ahead, 2 * sampleRate);
      EXPECT_LT(ahead, 2 * sampleRate + sampleRate / exactFrameRate(rate) + 1);
      session->close();
    }
  }
}

TEST_F(LTCOutputGeneratorTest, WholeFramesFillTwoSecondsExactly) {
  auto session =
      std::make_shared<LTCOutputSession>(LTCOutputSession::Settings{recordOf(desk), 0, MTCFrameRate::fps25, kTen, -6.0},
                                         world.clock(), world.scheduler(), world.log());
  ASSERT_FALSE(session->configure(96000));
  EXPECT_EQ(session->renderer()->ring().availableSamples(), 192000);
  session->close();
}

TEST_F(LTCOutputGeneratorTest, AFastDeviceGetsEveryFrame) {
  desk.setRate(192000);
  startOn(desk, Timecode{23, 59, 58, 0, MTCFrameRate::fps2997});
  world.runFor(5s);
  const auto frames = decode(192000);
  ASSERT_GT(frames.size(), 140U);
  for (std::size_t i = 1; i < frames.size(); ++i) {
    EXPECT_EQ(frames[i].timecode, frames[i - 1].timecode.advanced(1));
  }
}

TEST_F(LTCOutputGeneratorTest, OfTwoBoundariesInOneCycleTheNewestIsPublished) {
  desk.setQuantum(4096);
  std::vector<TimecodeAnchor> anchors;
  QObject::connect(generator.get(), &LTCOutputGenerator::currentAnchorChanged,
                   [&](const TimecodeAnchor& anchor) { anchors.push_back(anchor); });
  startOn(desk, kTen);
  world.runFor(10s);
  EXPECT_LE(anchors.size(), 10 * 48000 / 4096 + 2) << "one per cycle, and one before the first";
  for (std::size_t i = 2; i < anchors.size(); ++i) {
    EXPECT_GE(*anchors[i - 1].timecode.signedFrameDistance(anchors[i].timecode), 2);
  }
}

TEST_F(LTCOutputGeneratorTest, AnUnderrunIsToldAndTheAnchorsStayTrue) {
  auto session =
      std::make_shared<LTCOutputSession>(LTCOutputSession::Settings{recordOf(desk), 0, MTCFrameRate::fps25, kTen, -6.0},
                                         world.clock(), world.scheduler(), world.log());
  int underruns = 0;
  std::vector<TimecodeAnchor> anchors;
  session->onUnderrun = [&] { ++underruns; };
  session->onAnchor = [&](const TimecodeAnchor& anchor) { anchors.push_back(anchor); };
  ASSERT_FALSE(session->configure(48000));
  // The device takes two and a half seconds in one go, before the producer can follow.
  std::vector<float> data(8000);
  AudioBuffer buffer{1, 32000, data.data()};
  for (int i = 0; i < 15; ++i) {
    session->renderer()->render({&buffer, 1}, {{1'000'000'000U + static_cast<std::uint64_t>(i) * 166'666'667U}, true},
                                true);
  }
  world.runFor(11ms);
  EXPECT_EQ(underruns, 1);
  ASSERT_EQ(anchors.size(), 1U);
  EXPECT_GE(anchors[0].timecode.seconds, 2) << "counted in samples played, not produced";
  session->close();
}

TEST_F(LTCOutputGeneratorTest, ADeviceReplugIsFollowedByTheSharedSession) {
  startOn(desk, kTen);
  world.runFor(1s);
  world.audio().unplug(desk);
  world.runFor(300ms);
  world.audio().plugIn(desk);
  world.runFor(2s);
  EXPECT_TRUE(desk.isRunning());
  EXPECT_TRUE(generator->isGenerating());
}

TEST_F(LTCOutputGeneratorTest, AGeneratorThatIsGoneLeavesSilence) {
  startOn(desk, kTen);
  world.runFor(1s);
  generator.reset();
  EXPECT_FALSE(desk.isRunning());
  world.runFor(1s);
}

}  // namespace
}  // namespace tallyrig
