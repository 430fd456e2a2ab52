#include "ltc/LTCReceiver.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <cmath>
#include <memory>
#include <vector>

#include "platform/simulated/SimulatedWorld.h"
#include "support/LTCSignal.h"

namespace tallyrig {
namespace {

using namespace std::chrono_literals;

constexpr double kRate = 48000;
constexpr std::size_t kChannel = 2;

/// A receiver on channel 3 of a simulated desk, into which code can be played.
class LTCReceiverTest : public testing::Test {
 protected:
  void SetUp() override {
    desk.feed(kChannel, [this](std::int64_t position, std::span<float> samples) {
      signal.fill(position, samples);
      for (float& sample : samples) sample *= gain;
    });
    QObject::connect(receiver.get(), &LTCReceiver::currentAnchorChanged,
                     [this](const TimecodeAnchor& anchor) { anchors.push_back(anchor); });
  }

  AudioInputDevice record(const SimulatedDevice& device) const {
    AudioInputDevice result;
    for (const auto& listed : listInputDevices(world.audio())) {
      if (listed.id == device.id()) result = listed;
    }
    return result;
  }

  void startOn(const SimulatedDevice& device, std::int64_t channel = kChannel) {
    registry.refresh("test");
    receiver->setSelectedDevice(record(device));
    receiver->setSelectedChannel(channel);
    receiver->start();
  }

  std::unique_ptr<LTCReceiver> makeReceiver() {
    return std::make_unique<LTCReceiver>(world.clock(), world.scheduler(), world.log(), registry, hub);
  }

  mutable SimulatedWorld world;
  SimulatedDevice& desk = world.audio().addDevice({.name = "Desk", .inputGroups = {4, 4}, .quantum = 256});
  DeviceRegistry registry{world.audio(), world.midi(), world.log()};
  LTCAudioInputHub hub{world.audio(), world.scheduler(), world.log()};
  LTCSignal signal{MTCFrameRate::fps25, Timecode{10, 0, 0, 0, MTCFrameRate::fps25}, kRate};
  float gain = 1;
  std::unique_ptr<LTCReceiver> receiver = makeReceiver();
  std::vector<TimecodeAnchor> anchors;
};

TEST_F(LTCReceiverTest, StartWithoutADeviceDoesNothingAtAll) {
  startOn(desk);
  world.runFor(300ms);
  ASSERT_TRUE(receiver->isReceiving());
  receiver->setSelectedDevice(std::nullopt);  // Runs `start`, which does not even stop.
  EXPECT_TRUE(receiver->isRunning());
  EXPECT_TRUE(receiver->isReceiving());
}

TEST_F(LTCReceiverTest, TheLogTellsTheSubscriptionAndTheFirstFrame) {
  startOn(desk);
  EXPECT_EQ(world.logCount("LTCReceiver: subscribed Desk, id " + std::to_string(desk.id()) +
                           ", logical channel 3, hardware layout 4+4"),
            1U);
  world.runFor(500ms);
  EXPECT_EQ(world.logCount("] LTCReceiver: channel 3 signal active, peak 0.500"), 1U);
  EXPECT_EQ(world.logCount("] LTCReceiver: channel 3 first decoded frame 10:00:00:"), 1U);
  EXPECT_EQ(world.logCount("] LTCReceiver: frame-end to publish latency "), 1U);
}

TEST_F(LTCReceiverTest, AnAnchorTellsTheInstantTheFrameEnded) {
  startOn(desk);
  world.runFor(3s);
  ASSERT_GT(anchors.size(), 60U);
  // libltc places the first frame after silence some twenty samples off; from the second on, ends are exact.
  for (std::size_t i = 2; i < anchors.size(); ++i) {
    const Timecode carried = anchors[i].timecode.advanced(-1);
    const std::int64_t end =
        (carried.totalFrames() - Timecode{10, 0, 0, 0, MTCFrameRate::fps25}.totalFrames() + 1) * 1920;
    const auto truth = desk.timeOf(end).ticks;
    const auto shown = anchors[i].hostTime.ticks;
    EXPECT_LE(shown > truth ? shown - truth : truth - shown, 20834U * 2) << carried.text();
  }
}

TEST_F(LTCReceiverTest, ARenumberedDeviceIsFoundByName) {
  auto stale = record(desk);
  stale.id = 9999;
  stale.channelCount = 2;
  receiver->setSelectedDevice(stale);
  receiver->start();
  EXPECT_TRUE(receiver->isRunning());
  EXPECT_EQ(receiver->selectedDevice(), record(desk));
}

TEST_F(LTCReceiverTest, AnUnknownDeviceIsLookedForOnceMoreAndThenForgotten) {
  AudioInputDevice unknown;
  unknown.id = 9999;
  unknown.name = "Gone";
  world.clearLog();
  receiver->setSelectedDevice(unknown);
  receiver->start();
  EXPECT_FALSE(receiver->isRunning());
  EXPECT_FALSE(receiver->selectedDevice());
  EXPECT_EQ(world.logCount("DeviceRegistry: refresh begin reason=ltc-receiver-resolve-device"), 1U);
  EXPECT_EQ(world.logLines().back(), "LTCReceiver: audio device unavailable — Gone");
}

TEST_F(LTCReceiverTest, ADeviceThatCameAfterTheLastRefreshIsFound) {
  SimulatedDevice& late = world.audio().addDevice({.name = "Late", .inputGroups = {2}});
  receiver->setSelectedDevice(record(late));
  receiver->start();
  EXPECT_TRUE(receiver->isRunning());
}

TEST_F(LTCReceiverTest, ARefusedSubscriptionLeavesTheHubAsItWas) {
  desk.failures().start = -EIO;
  startOn(desk);
  EXPECT_FALSE(receiver->isRunning());
  EXPECT_TRUE(hub.subscriptions().empty());
  EXPECT_TRUE(hub.sessions().empty());
  EXPECT_EQ(world.logLines().back(), "LTCReceiver: failed to subscribe to audio device — CoreAudio error -5");
}

TEST_F(LTCReceiverTest, AChannelBeyondTheDeviceIsAStall) {
  startOn(desk, 8);
  world.runFor(2900ms);
  EXPECT_FALSE(world.hasLogged("audio callbacks paused"));
  EXPECT_EQ(receiver->peakLevel(), 0.0F);
  world.runFor(1200ms);
  EXPECT_EQ(world.logCount("LTCReceiver: audio callbacks paused, waiting for selected device to resume"), 1U);
  world.runFor(1100ms);
  EXPECT_EQ(world.logCount("LTCAudioInputHub: rebuilding shared input sessions"), 1U);
  world.runFor(10s);
  EXPECT_EQ(world.logCount("LTCReceiver: audio callbacks paused"), 1U) << "reported once until a peak arrives";
}

TEST_F(LTCReceiverTest, ChannelsAreCountedAcrossStreams) {
  desk.feed(5, [this](std::int64_t position, std::span<float> samples) { signal.fill(position, samples); });
  gain = 0;
  startOn(desk, 5);
  world.runFor(500ms);
  EXPECT_TRUE(receiver->isReceiving());
}

TEST_F(LTCReceiverTest, AnInterleavedDeviceOfEightChannelsGivesItsSixth) {
  SimulatedDevice& wide = world.audio().addDevice({.name = "Wide", .inputGroups = {8}});
  wide.feed(5, [this](std::int64_t position, std::span<float> samples) { signal.fill(position, samples); });
  startOn(wide, 5);
  world.runFor(500ms);
  EXPECT_TRUE(receiver->isReceiving());
  EXPECT_NEAR(receiver->peakLevel(), 0.5F, 0.01F);
}

TEST_F(LTCReceiverTest, OneBufferPerChannelWorksAlike) {
  SimulatedDevice& planar = world.audio().addDevice(
      {.name = "Planar", .inputGroups = {4}, .arrangement = BufferArrangement::kOneBufferPerChannel});
  planar.feed(1, [this](std::int64_t position, std::span<float> samples) { signal.fill(position, samples); });
  startOn(planar, 1);
  world.runFor(500ms);
  EXPECT_TRUE(receiver->isReceiving());
}

TEST_F(LTCReceiverTest, WithoutHostTimesTheAnchorTakesTheClock) {
  desk.setHostTimeValid(false);
  startOn(desk);
  ASSERT_TRUE(world.runUntil([&] { return !anchors.empty(); }, 1s));
  EXPECT_EQ(anchors.back().hostTime, world.clock().now());
  world.runFor(500ms);
  EXPECT_FALSE(world.hasLogged("frame-end to publish latency"));
}

TEST_F(LTCReceiverTest, LossOfSignalClearsReceivingEightyMillisecondsAfterTheLastFrame) {
  startOn(desk);
  world.runFor(1020ms);  // The last whole frame ends at 1 s and is found some milliseconds later.
  ASSERT_TRUE(receiver->isReceiving());
  gain = 0;
  world.runFor(60ms);
  EXPECT_TRUE(receiver->isReceiving());
  world.runFor(120ms);
  EXPECT_FALSE(receiver->isReceiving());
  EXPECT_EQ(world.logCount("] LTCReceiver: channel 3 signal quiet, last decoded frame 10:00:01:00"), 1U);
  EXPECT_EQ(world.logCount("] LTCReceiver: channel 3 decoder reset after signal loss"), 1U);
  EXPECT_TRUE(receiver->currentTimecode());
  EXPECT_TRUE(receiver->currentAnchor());
}

TEST_F(LTCReceiverTest, CodeAfterALossLocksAfresh) {
  startOn(desk);
  world.runFor(1s);
  gain = 0;
  world.runFor(500ms);
  LTCSignal other{MTCFrameRate::fps30, Timecode{5, 0, 0, 0, MTCFrameRate::fps30}, kRate};
  desk.feed(kChannel, [&](std::int64_t position, std::span<float> samples) { other.fill(position, samples); });
  anchors.clear();
  world.clearLog();
  world.runFor(500ms);
  ASSERT_FALSE(anchors.empty());
  EXPECT_EQ(anchors.front().timecode.frameRate, MTCFrameRate::fps30);
  EXPECT_TRUE(world.hasLogged("LTCReceiver: channel 3 first decoded frame 05:00:"));
}

TEST_F(LTCReceiverTest, NoiseKeepsReceivingSetAndSaysSoEveryEightyMilliseconds) {
  startOn(desk);
  world.runFor(1s);
  ASSERT_TRUE(receiver->isReceiving());
  desk.feed(kChannel, [](std::int64_t position, std::span<float> samples) {
    for (std::size_t i = 0; i < samples.size(); ++i) {
      samples[i] = 0.02F * static_cast<float>(((position + static_cast<std::int64_t>(i)) * 2654435761U >> 16U) & 1U);
    }
  });
  world.runFor(200ms);
  world.clearLog();
  world.runFor(800ms);
  EXPECT_TRUE(receiver->isReceiving());
  EXPECT_EQ(world.logCount("] LTCReceiver: channel 3 decode timeout ignored while signal remains active"), 10U);
}

TEST_F(LTCReceiverTest, APeakOfExactlyOneHundredthIsActive) {
  desk.feed(kChannel, [](std::int64_t, std::span<float> samples) {
    for (float& sample : samples) sample = 0.01F;
  });
  startOn(desk);
  world.runFor(200ms);
  EXPECT_EQ(world.logCount("signal active, peak 0.010"), 1U);
}

TEST_F(LTCReceiverTest, APeakBelowOneHundredthIsQuiet) {
  desk.feed(kChannel, [](std::int64_t, std::span<float> samples) {
    for (float& sample : samples) sample = 0.0099F;
  });
  startOn(desk);
  world.runFor(200ms);
  EXPECT_FALSE(world.hasLogged("signal active"));
  EXPECT_FLOAT_EQ(receiver->peakLevel(), 0.0099F);
}

TEST_F(LTCReceiverTest, PeaksArePublishedAtMostTwentyTimesASecond) {
  int published = 0;
  QObject::connect(receiver.get(), &LTCReceiver::peakLevelChanged, [&](float) { ++published; });
  startOn(desk);
  world.runFor(100ms);
  published = 0;
  world.runFor(10s);
  EXPECT_LE(published, 200);
  EXPECT_GE(published, 180);
}

TEST_F(LTCReceiverTest, AFullScaleOverloadShowsAsOne) {
  gain = 10;
  startOn(desk);
  world.runFor(300ms);
  EXPECT_EQ(receiver->peakLevel(), 1.0F);
  EXPECT_TRUE(receiver->isReceiving());
}

TEST_F(LTCReceiverTest, BrokenSamplesDoNoHarm) {
  desk.feed(kChannel, [](std::int64_t position, std::span<float> samples) {
    for (std::size_t i = 0; i < samples.size(); ++i) {
      const auto kind = (position + static_cast<std::int64_t>(i)) % 3;
      samples[i] = kind == 0 ? std::nanf("") : kind == 1 ? INFINITY : -INFINITY;
    }
  });
  startOn(desk);
  world.runFor(500ms);
  EXPECT_LE(receiver->peakLevel(), 1.0F);
  EXPECT_FALSE(receiver->isReceiving());
  desk.feed(kChannel, [this](std::int64_t position, std::span<float> samples) { signal.fill(position, samples); });
  world.runFor(500ms);
  EXPECT_TRUE(receiver->isReceiving());
}

TEST_F(LTCReceiverTest, AStalledDeviceIsReportedOnceAndItsReturnToo) {
  startOn(desk);
  world.runFor(1s);
  desk.stall(6s);
  world.runFor(5500ms);
  EXPECT_EQ(world.logCount("LTCReceiver: audio callbacks paused, waiting for selected device to resume"), 1U);
  EXPECT_FALSE(world.hasLogged("LTCReceiver: audio callbacks resumed"));
  world.runFor(2s);
  EXPECT_EQ(world.logCount("LTCReceiver: audio callbacks resumed"), 1U);
  EXPECT_TRUE(receiver->isReceiving());
}

TEST_F(LTCReceiverTest, SelectingTheSameChannelWhileRunningStartsAnew) {
  startOn(desk);
  world.runFor(500ms);
  receiver->setSelectedChannel(kChannel);
  EXPECT_EQ(world.logCount("LTCReceiver: subscribed Desk"), 2U);
  EXPECT_FALSE(receiver->isReceiving());
  world.runFor(500ms);
  EXPECT_TRUE(receiver->isReceiving());
}

TEST_F(LTCReceiverTest, AFrameOnItsWayWhenItStopsIsStillPublished) {
  startOn(desk);
  world.runFor(300ms);
  ASSERT_TRUE(receiver->isReceiving());
  // One event at a time through two frames, stopping after each: one of the stops falls between a frame's decoding
  // and its delivery.
  bool wasOnItsWay = false;
  for (int step = 0; step < 400 && !wasOnItsWay; ++step) {
    int asked = 0;
    ASSERT_TRUE(world.runUntil([&] { return asked++ == 1; }, 1s));
    const auto before = receiver->currentAnchor();
    receiver->stop();
    EXPECT_FALSE(receiver->isReceiving());
    world.runPending();
    wasOnItsWay = receiver->currentAnchor() != before;
    EXPECT_EQ(receiver->isReceiving(), wasOnItsWay);
    startOn(desk);
    world.runFor(250ms + std::chrono::milliseconds(step % 40));
  }
  EXPECT_TRUE(wasOnItsWay);
}

TEST_F(LTCReceiverTest, StopKeepsTheLastTimecode) {
  startOn(desk);
  world.runFor(1s);
  const auto shown = receiver->currentTimecode();
  receiver->stop();
  world.runFor(1s);
  EXPECT_EQ(receiver->currentTimecode(), shown);
  EXPECT_FALSE(receiver->isReceiving());
  EXPECT_EQ(receiver->peakLevel(), 0.0F);
  EXPECT_TRUE(hub.subscriptions().empty());
}

TEST_F(LTCReceiverTest, AReceiverThatIsGoneIsNotCalledBack) {
  startOn(desk);
  world.runFor(1s);
  receiver.reset();
  EXPECT_TRUE(hub.sessions().empty());
  anchors.clear();
  world.runFor(1s);
  EXPECT_TRUE(anchors.empty());
}

}  // namespace
}  // namespace tallyrig
