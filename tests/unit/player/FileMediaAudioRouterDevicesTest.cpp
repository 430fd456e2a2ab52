// Which device the routed sound plays on, and what becomes of it when devices fail, come, go or change.

#include <chrono>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "RouterFixture.h"
#include "support/AudioWithDefault.h"

namespace tallyrig {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr auto kNoDevice = "The selected output device could not be configured (Core Audio error -19).";

using FileMediaAudioRouterDevicesTest = RouterFixture;

TEST_F(FileMediaAudioRouterDevicesTest, OutputsThatTheDeviceHasNotBecomeNone) {
  prepare();
  router->setPlayback(true);
  world.runFor(100ms);
  EXPECT_EQ(router->applyRouting(plug.id(), 2, {-5, 1, 2, 3}, 1.0), std::nullopt);
  world.runFor(1s);
  expectCounting(heardOnPlug, 48'000, 1);
  const auto eventCount = events.size();
  router->applyRouting(plug.id(), 2, {-1, 1, -1, 9}, 2.0);
  EXPECT_EQ(events.size(), eventCount) << "it is the same routing";
  EXPECT_FALSE(desk.isRunning());
}

TEST_F(FileMediaAudioRouterDevicesTest, WithoutAChoiceTheFirstDeviceOfTheSystemPlays) {
  EXPECT_EQ(router->prepare(stream, {0}, 8, std::nullopt), std::nullopt);
  router->setPlayback(true);
  world.runFor(1s);
  expectCounting(heard[0], 0, 0);
}

/// The same with a system that names its default device.
class DefaultOutputTest : public RouterFixture {
 protected:
  DefaultOutputTest() {
    router = std::make_unique<FileMediaAudioRouter>(audio, world.scheduler(), files, converters);
    router->onReady = [this] { events.push_back("ready"); };
    router->onFailure = [this](const std::string& text) { events.push_back(text); };
    audio.output = plug.id();
  }
  ~DefaultOutputTest() override { router.reset(); }

  void choose(AudioDeviceID device) {
    audio.output = device;
    world.audio().announceChange();
  }

  AudioWithDefault audio{world.audio()};
};

TEST_F(DefaultOutputTest, WithoutAChoiceItIsTheOneThatPlays) {
  EXPECT_EQ(router->prepare(stream, {-1, 1}, 2, std::nullopt), std::nullopt);
  router->setPlayback(true);
  world.runFor(1s);
  expectCounting(heardOnPlug, 0, 1);
  EXPECT_THAT(heard[1], IsEmpty());
}

TEST_F(DefaultOutputTest, TheSoundFollowsItFromTheSameSample) {
  router->prepare(stream, {-1, 1}, 2, std::nullopt);
  router->setPlayback(true);
  world.runFor(1s);
  choose(desk.id());
  world.runFor(1s);
  ASSERT_FALSE(heard[1].empty());
  expectCounting(heard[1], static_cast<std::int64_t>(heardOnPlug.size()), 1);
  EXPECT_THAT(events, ElementsAre("ready", "ready"));
}

TEST_F(DefaultOutputTest, ItIsFollowedWhilePausedToo) {
  router->prepare(stream, {-1, 1}, 2, std::nullopt);
  world.runFor(1s);
  choose(desk.id());
  world.runFor(1s);
  EXPECT_THAT(heard[1], IsEmpty());
  router->setPlayback(true);
  world.runFor(1s);
  expectCounting(heard[1], 0, 1);
  EXPECT_THAT(heardOnPlug, IsEmpty());
}

TEST_F(DefaultOutputTest, AChosenDeviceKeepsTheSound) {
  router->prepare(stream, {-1, 1}, 2, plug.id());
  router->setPlayback(true);
  world.runFor(1s);
  choose(desk.id());
  world.runFor(1s);
  EXPECT_THAT(heard[1], IsEmpty());
  EXPECT_THAT(events, ElementsAre("ready"));
}

TEST_F(DefaultOutputTest, WhenItsDeviceIsUnpluggedTheSoundGoesOnElsewhere) {
  router->prepare(stream, {-1, 1}, 2, std::nullopt);
  router->setPlayback(true);
  world.runFor(1s);
  // The system names another only after it.
  world.audio().unplug(plug);
  world.runFor(1s);
  EXPECT_FALSE(heard[1].empty());
  EXPECT_THAT(events, ElementsAre("ready", "ready"));
}

TEST_F(FileMediaAudioRouterDevicesTest, EachStepOfThePreparationCanFail) {
  desk.failures().nominalRate = -5;
  EXPECT_EQ(prepare(), "The selected output device could not be configured (Core Audio error -5).");
  desk.failures() = {.createIO = -6};
  EXPECT_EQ(prepare(), "The selected output device could not be configured (Core Audio error -6).");
  desk.failures() = {.createsNoIO = true};
  EXPECT_EQ(prepare(), kNoDevice);
  desk.failures() = {.start = -7};
  EXPECT_EQ(prepare(), "The selected output device could not be configured (Core Audio error -7).");
  desk.failures() = {};
  EXPECT_EQ(router->prepare(stream, {}, 0, desk.id()), "Could not configure the audio output format.");
  world.runFor(1s);
  EXPECT_THAT(events, IsEmpty()) << "the caller has been told";
  EXPECT_EQ(desk.liveIOs(), 0U);
  EXPECT_EQ(files.opens, 0);
  EXPECT_EQ(router->stream(), std::nullopt);
}

TEST_F(FileMediaAudioRouterDevicesTest, ARestartThatFailsTellsWhyAndLeavesNothingRunning) {
  prepare();
  world.runFor(100ms);
  events.clear();
  desk.failures().nominalRate = -5;
  router->restart(stream, 1, true);
  EXPECT_THAT(events,
              ElementsAre("buffering", "The selected output device could not be configured (Core Audio error -5)."));
  EXPECT_EQ(desk.liveIOs(), 0U);
  EXPECT_FALSE(router->isReady());
  EXPECT_FALSE(router->wantsPlayback());
  world.runFor(1s);
  EXPECT_EQ(files.openFiles, 0);

  desk.failures() = {};
  router->restart(stream, 1, true);
  world.runFor(1s);
  EXPECT_EQ(events.back(), "ready") << "and it can begin again";
}

TEST_F(FileMediaAudioRouterDevicesTest, ADeviceThatVanishesDuringPlaybackIsAFailure) {
  prepare();
  router->setPlayback(true);
  world.runFor(1s);
  world.audio().unplug(desk);
  world.runFor(1s);
  EXPECT_THAT(events, ElementsAre("buffering", "ready", kNoDevice));
  EXPECT_EQ(router->stream(), std::nullopt);
  EXPECT_EQ(files.openFiles, 0);

  EXPECT_EQ(router->applyRouting(plug.id(), 2, {0, 1}, 2.0), std::nullopt);
  router->setPlayback(true);
  world.runFor(1s);
  EXPECT_EQ(events.back(), "ready");
  expectCounting(heardOnPlug, 96'000, 1);
}

TEST_F(FileMediaAudioRouterDevicesTest, ADeviceThatComesDisturbsNothing) {
  prepare();
  router->setPlayback(true);
  world.runFor(1s);
  world.audio().addDevice({.name = "Third", .outputGroups = {2}});
  world.audio().unplug(plug);
  world.runFor(1s);
  EXPECT_THAT(events, ElementsAre("buffering", "ready"));
  expectCounting(heard[0], 0, 0);
}

TEST_F(FileMediaAudioRouterDevicesTest, WithNoDeviceAtAllItFails) {
  world.audio().unplug(desk);
  world.audio().unplug(plug);
  EXPECT_EQ(router->prepare(stream, {0}, 2, std::nullopt), kNoDevice);
}

TEST_F(FileMediaAudioRouterDevicesTest, ADeviceThatChangesItsRateGoesOnFromTheSameSample) {
  files.files["clip.mov"].sample = [](std::int64_t frame, int) { return static_cast<float>(frame + 1) / 1'000'000; };
  prepare();
  router->setPlayback(true);
  world.runFor(1s);
  const float last = heard[0].back();
  heard[0].clear();
  desk.setRate(96000);
  world.audio().announceChange();
  world.runFor(1s);
  EXPECT_THAT(events, ElementsAre("buffering", "ready", "buffering", "ready"));
  ASSERT_GT(heard[0].size(), 50'000U);
  // What was heard between the change and the notice is not repeated: the ramp goes on, at half its slope a sample.
  EXPECT_NEAR(heard[0][20'000] - heard[0][10'000], 5'000e-6, 1e-6);
  EXPECT_GT(heard[0].front(), last - 1e-5F);
  EXPECT_LT(heard[0].front(), last + 0.05F);
}

TEST_F(FileMediaAudioRouterDevicesTest, ADeviceWithAnEmptyStreamCountsItsRealOutputsOnly) {
  SimulatedDevice& odd = world.audio().addDevice({.name = "Odd", .outputGroups = {2, 2}, .hasEmptyFirstOutput = true});
  std::vector<float> third;
  odd.onOutput(2, [&](std::int64_t, std::span<const float> samples) {
    for (const float sample : samples) {
      if (sample != 0) third.push_back(sample);
    }
  });
  router->prepare(stream, {-1, 2}, 4, odd.id());
  router->setPlayback(true);
  world.runFor(1s);
  expectCounting(third, 0, 1);
}

}  // namespace
}  // namespace tallyrig
