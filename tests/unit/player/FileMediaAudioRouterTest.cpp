#include "player/FileMediaAudioRouter.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/ffmpeg/FFmpegSampleRateConverters.h"
#include "platform/simulated/SimulatedWorld.h"
#include "support/AudioWithDefault.h"
#include "support/SimulatedMediaFiles.h"

namespace tallyrig {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr auto kNoDevice = "The selected output device could not be configured (Core Audio error -19).";

/// A router with a file of four channels and 20 s at 48 kHz, and two devices: "Desk" with eight outputs, the first of
/// the list, and "Plug" with two.
class FileMediaAudioRouterTest : public testing::Test {
 protected:
  FileMediaAudioRouterTest() {
    files.files["clip.mov"] = countedMedia(48000, 4, 960'000);
    for (std::size_t channel = 0; channel < heard.size(); ++channel) {
      desk.onOutput(channel, [this, channel](std::int64_t, std::span<const float> samples) {
        for (const float sample : samples) {
          if (sample != 0) heard[channel].push_back(sample);
        }
      });
    }
    plug.onOutput(1, [this](std::int64_t, std::span<const float> samples) {
      for (const float sample : samples) {
        if (sample != 0) heardOnPlug.push_back(sample);
      }
    });
    router->onReady = [this] { events.push_back("ready"); };
    router->onBuffering = [this] { events.push_back("buffering"); };
    router->onFailure = [this](const std::string& text) { events.push_back(text); };
  }

  std::optional<std::string> prepare() { return router->prepare(stream, {0, 1, 2, 3}, 8, desk.id()); }

  /// Every sample from `frame` of channel `source` on, `samples` being what was heard.
  void expectCounting(const std::vector<float>& samples, std::int64_t frame, int source) {
    ASSERT_FALSE(samples.empty());
    for (std::size_t i = 0; i < samples.size(); ++i)
      ASSERT_EQ(samples[i], countedSample(frame + static_cast<std::int64_t>(i), source)) << i;
  }

  SimulatedWorld world;
  SimulatedDevice& desk = world.audio().addDevice({.name = "Desk", .inputGroups = {8}, .outputGroups = {8}});
  SimulatedDevice& plug = world.audio().addDevice({.name = "Plug", .outputGroups = {2}});
  SimulatedMediaFiles files;
  FFmpegSampleRateConverters converters;
  StreamingMediaAudio stream{"clip.mov", 48000, 4, 20};
  std::unique_ptr<FileMediaAudioRouter> router =
      std::make_unique<FileMediaAudioRouter>(world.audio(), world.scheduler(), files, converters);
  std::vector<std::vector<float>> heard{8};
  std::vector<float> heardOnPlug;
  std::vector<std::string> events;
};

TEST_F(FileMediaAudioRouterTest, PrimesWithoutBeingHeard) {
  EXPECT_EQ(prepare(), std::nullopt);
  EXPECT_THAT(events, ElementsAre("buffering"));
  EXPECT_FALSE(router->isReady());
  world.runFor(100ms);
  EXPECT_THAT(events, ElementsAre("buffering", "ready"));
  EXPECT_TRUE(router->isReady());
  EXPECT_THAT(heard[0], IsEmpty());
}

TEST_F(FileMediaAudioRouterTest, PlaysEachChannelFromItsFirstSample) {
  prepare();
  world.runFor(100ms);
  router->setPlayback(true);
  world.runFor(6s);
  for (int channel = 0; channel < 4; ++channel) expectCounting(heard[static_cast<std::size_t>(channel)], 0, channel);
  EXPECT_GE(heard[0].size(), 5 * 48000U) << "longer than the ring";
  EXPECT_THAT(heard[4], IsEmpty());
}

TEST_F(FileMediaAudioRouterTest, WhatIsWantedBeforeItIsReadyIsHeardFromTheStartWhenItIs) {
  prepare();
  router->setPlayback(true);
  world.runFor(500ms);
  expectCounting(heard[0], 0, 0);
}

TEST_F(FileMediaAudioRouterTest, ARestartIsHeardFromItsExactSample) {
  prepare();
  router->setPlayback(true);
  world.runFor(1s);
  heard[2].clear();
  router->restart(stream, 3.25, true);
  world.runFor(1s);
  expectCounting(heard[2], 156'000, 2);
  EXPECT_THAT(events, ElementsAre("buffering", "ready", "buffering", "ready"));
  EXPECT_EQ(desk.counters().opens, 1) << "the device stays open";
}

TEST_F(FileMediaAudioRouterTest, ARestartWithoutPlaybackWaits) {
  prepare();
  router->restart(stream, 1, false);
  world.runFor(1s);
  EXPECT_TRUE(router->isReady());
  EXPECT_THAT(heard[0], IsEmpty());
  router->setPlayback(true);
  world.runFor(100ms);
  expectCounting(heard[0], 48'000, 0);
}

TEST_F(FileMediaAudioRouterTest, APauseKeepsItsPlaceToTheSample) {
  prepare();
  router->setPlayback(true);
  world.runFor(1s);
  router->setPlayback(false);
  const auto before = heard[0].size();
  world.runFor(10s);
  EXPECT_EQ(heard[0].size(), before);
  router->setPlayback(true);
  world.runFor(1s);
  EXPECT_GT(heard[0].size(), before);
  expectCounting(heard[0], 0, 0);
}

TEST_F(FileMediaAudioRouterTest, ASecondRestartWhileTheFirstPrimesEndsIt) {
  prepare();
  router->restart(stream, 2, true);
  router->restart(stream, 4, true);
  world.runFor(1s);
  EXPECT_THAT(events, ElementsAre("buffering", "buffering", "buffering", "ready"));
  expectCounting(heard[0], 192'000, 0);
  EXPECT_EQ(files.openFiles, 1) << "only the last one decodes";
}

TEST_F(FileMediaAudioRouterTest, AReadyOfAFormerSessionIsIgnored) {
  prepare();
  // The next session begins when the first is about to report.
  bool restarted = false;
  files.beforeRead = [&] {
    if (files.framesRead < 8'000 || restarted) return;
    restarted = true;
    world.scheduler().mainQueue().post([&] { router->restart(stream, 5, true); });
  };
  ASSERT_TRUE(world.runUntil([&] { return restarted; }, 1s));
  world.runFor(1s);
  EXPECT_THAT(events, ElementsAre("buffering", "buffering", "ready"));
  expectCounting(heard[0], 240'000, 0);
}

TEST_F(FileMediaAudioRouterTest, AStaleReadyIsDroppedForEveryOrderOfEvents) {
  for (std::uint64_t seed = 1; seed <= 40; ++seed) {
    SCOPED_TRACE(seed);
    SimulatedWorld other({.seed = seed});
    other.audio().addDevice({.name = "Desk", .outputGroups = {8}});
    SimulatedMediaFiles media;
    media.files["clip.mov"] = countedMedia(48000, 4, 960'000);
    FileMediaAudioRouter mine(other.audio(), other.scheduler(), media, converters);
    int session = 0;
    int readyOf = 0;
    int count = 0;
    mine.onBuffering = [&] { ++session; };
    mine.onReady = [&] { ++count, readyOf = session; };
    mine.prepare(stream, {0}, 8, std::nullopt);
    std::vector<std::unique_ptr<RepeatingTimer>> timers;
    timers.push_back(other.scheduler().mainQueue().repeat({.interval = 3ms, .first = 0ms}, [&] {
      if (session < 6) mine.restart(stream, session, true);
    }));
    other.runFor(1s);
    EXPECT_EQ(readyOf, 6);
    EXPECT_LE(count, 6);
    EXPECT_TRUE(mine.isReady());
  }
}

TEST_F(FileMediaAudioRouterTest, AnotherRoutingIsHeardFromThePositionGiven) {
  prepare();
  router->setPlayback(true);
  world.runFor(1s);
  heard.assign(8, {});
  EXPECT_EQ(router->applyRouting(desk.id(), 8, {7, -1, 7, 0}, 1.0), std::nullopt);
  EXPECT_TRUE(router->wantsPlayback());
  world.runFor(1s);
  expectCounting(heard[0], 48'000, 3);
  ASSERT_FALSE(heard[7].empty());
  EXPECT_EQ(heard[7].front(), countedSample(48'000, 0) + countedSample(48'000, 2));
  EXPECT_THAT(heard[1], IsEmpty());
}

TEST_F(FileMediaAudioRouterTest, TheSameRoutingDisturbsNothing) {
  prepare();
  router->setPlayback(true);
  world.runFor(1s);
  EXPECT_EQ(router->applyRouting(desk.id(), 8, {0, 1, 2, 3}, 1.0), std::nullopt);
  world.runFor(1s);
  EXPECT_THAT(events, ElementsAre("buffering", "ready"));
  expectCounting(heard[0], 0, 0);
}

TEST_F(FileMediaAudioRouterTest, OutputsThatTheDeviceHasNotBecomeNone) {
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

TEST_F(FileMediaAudioRouterTest, ARoutingWithoutAFileIsKeptForLater) {
  EXPECT_EQ(router->applyRouting(plug.id(), 2, {1}, 0), std::nullopt);
  EXPECT_THAT(events, IsEmpty());
  router->restart(stream, 0, true);
  world.runFor(1s);
  expectCounting(heardOnPlug, 0, 0);
}

TEST_F(FileMediaAudioRouterTest, WithoutAChoiceTheFirstDeviceOfTheSystemPlays) {
  EXPECT_EQ(router->prepare(stream, {0}, 8, std::nullopt), std::nullopt);
  router->setPlayback(true);
  world.runFor(1s);
  expectCounting(heard[0], 0, 0);
}

TEST_F(FileMediaAudioRouterTest, SoundWaitsForAPictureThatIsOnItsWay) {
  std::optional<double> picture;
  router->picturePosition = [&] { return picture; };
  prepare();
  router->restart(stream, 2, true);
  world.runFor(500ms);
  EXPECT_TRUE(router->isReady());
  EXPECT_THAT(heard[0], IsEmpty());
  picture = 2;
  world.runFor(100ms);
  expectCounting(heard[0], 96'000, 0);
}

// Of sound from 2 s beside a picture at 2.5 s. Passing over takes two cycles, and the first of them is passed over as
// well. Half a cycle more is for the way to the first.
constexpr std::int64_t kFirstBesideLatePicture = 120'000 + 512 + 256;

TEST_F(FileMediaAudioRouterTest, SoundThatComesLaterThanThePicturePassesOverAPiece) {
  router->picturePosition = [] { return std::optional(2.5); };
  prepare();
  router->restart(stream, 2, true);
  world.runFor(500ms);
  expectCounting(heard[0], kFirstBesideLatePicture, 0);
  expectCounting(heard[3], kFirstBesideLatePicture, 3);
}

TEST_F(FileMediaAudioRouterTest, SoundBeginsWhereThePictureOfASeekStands) {
  // The first picture after the place is a part of a picture away from it.
  router->picturePosition = [] { return std::optional(2.02); };
  prepare();
  router->restart(stream, 2, true);
  world.runFor(500ms);
  expectCounting(heard[0], 96'960 + 256, 0);
}

TEST_F(FileMediaAudioRouterTest, BesideThePictureSoundBeginsWithItsFirstSample) {
  for (const double offset : {-0.004, 0.004}) {
    router->picturePosition = [&] { return std::optional(2 + offset); };
    prepare();
    heard[0].clear();
    router->restart(stream, 2, true);
    world.runFor(500ms);
    expectCounting(heard[0], 96'000, 0);
    router->stop();
    world.runFor(100ms);
  }
}

TEST_F(FileMediaAudioRouterTest, FromAStandstillNoSampleIsPassedOverWithinAPicture) {
  double picture = 1.965;
  router->picturePosition = [&] { return std::optional(picture); };
  prepare();
  router->restart(stream, 2, false);
  world.runFor(500ms);
  router->setPlayback(true);
  world.runFor(500ms);
  router->setPlayback(false);
  const auto heardBefore = heard[0].size();
  ASSERT_GT(heardBefore, 20'000U);
  picture = 2 + static_cast<double>(heardBefore) / 48'000 + 0.035;
  world.runFor(1s);
  router->setPlayback(true);
  world.runFor(500ms);
  EXPECT_GT(heard[0].size(), heardBefore + 20'000);
  expectCounting(heard[0], 96'000, 0);
}

TEST_F(FileMediaAudioRouterTest, FromAStandstillSoundIsBroughtToAPictureFurtherAway) {
  router->picturePosition = [] { return std::optional(2.5); };
  prepare();
  router->restart(stream, 2, false);
  world.runFor(500ms);
  router->setPlayback(true);
  world.runFor(500ms);
  expectCounting(heard[0], kFirstBesideLatePicture, 0);
}

TEST_F(FileMediaAudioRouterTest, SoundThatIsAheadOfThePictureLetsItCatchUp) {
  double picture = 1.8;
  router->picturePosition = [&] { return std::optional(picture); };
  prepare();
  router->restart(stream, 2, true);
  world.runFor(300ms);
  EXPECT_THAT(heard[0], IsEmpty());
  picture = 1.99;
  world.runFor(300ms);
  EXPECT_THAT(heard[0], IsEmpty());
  picture = 1.996;
  world.runFor(300ms);
  expectCounting(heard[0], 96'000, 0);
}

TEST_F(FileMediaAudioRouterTest, APictureThatNeverComesDoesNotSilenceTheSoundForLong) {
  router->picturePosition = [] { return std::optional<double>(); };
  prepare();
  router->setPlayback(true);
  world.runFor(1s);
  EXPECT_THAT(heard[0], IsEmpty());
  world.runFor(2s);
  expectCounting(heard[0], 0, 0);
}

TEST_F(FileMediaAudioRouterTest, APauseWhileTheSoundWaitsHolds) {
  std::optional<double> picture;
  router->picturePosition = [&] { return picture; };
  prepare();
  router->setPlayback(true);
  world.runFor(300ms);
  router->setPlayback(false);
  picture = 0;
  world.runFor(1s);
  EXPECT_THAT(heard[0], IsEmpty());
}

/// The same with a system that names its default device.
class DefaultOutputTest : public FileMediaAudioRouterTest {
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

TEST_F(FileMediaAudioRouterTest, EachStepOfThePreparationCanFail) {
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

TEST_F(FileMediaAudioRouterTest, ARestartThatFailsTellsWhyAndLeavesNothingRunning) {
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

TEST_F(FileMediaAudioRouterTest, AFileThatCannotBeDecodedEndsTheSession) {
  files.files["clip.mov"].faultAt = 24'000;
  prepare();
  router->setPlayback(true);
  world.runFor(2s);
  EXPECT_THAT(events, ElementsAre("buffering", "ready", std::make_error_code(std::errc::io_error).message()));
  EXPECT_EQ(desk.liveIOs(), 0U);
  EXPECT_FALSE(router->isReady());
  EXPECT_EQ(router->stream(), std::nullopt);
}

TEST_F(FileMediaAudioRouterTest, AReadThatTakesLongerThanTheRingLastsIsSilenceAndThenTheNextSample) {
  // What all outputs played, from the first sound on: the silence in it is what the held up read has cost.
  std::vector<std::vector<float>> played{4};
  for (std::size_t channel = 0; channel < 4; ++channel) {
    desk.onOutput(channel, [&, channel](std::int64_t, std::span<const float> samples) {
      for (const float sample : samples) {
        if (sample != 0 || !played[channel].empty()) played[channel].push_back(sample);
      }
    });
  }
  bool isHeldUp = false;
  files.beforeRead = [&] {
    if (isHeldUp || files.framesRead < 300'000) return;
    isHeldUp = true;
    world.runFor(9s);
  };
  prepare();
  router->setPlayback(true);
  world.runFor(20s);
  ASSERT_TRUE(isHeldUp);
  EXPECT_THAT(events, ElementsAre("buffering", "ready"));
  for (int channel = 0; channel < 4; ++channel) {
    const auto& sound = played[static_cast<std::size_t>(channel)];
    const auto silence = std::ranges::find(sound, 0.0F);
    const auto recovery = std::ranges::find_if(silence, sound.end(), [](float sample) { return sample != 0; });
    const auto frame = silence - sound.begin();
    // At the read the ring held four seconds, but for a piece of the file and a cycle.
    EXPECT_NEAR(static_cast<double>(recovery - silence), 5 * 48'000, 4096 + 1024);
    expectCounting({sound.begin(), silence}, 0, channel);
    EXPECT_GT(sound.end() - recovery, 4 * 48'000);
    expectCounting({recovery, sound.end()}, frame, channel);
    EXPECT_EQ(sound.size(), played[0].size());
  }
}

TEST_F(FileMediaAudioRouterTest, AMissingFileFailsAfterItsPreparation) {
  files.files.clear();
  EXPECT_EQ(prepare(), std::nullopt);
  world.runFor(1s);
  EXPECT_THAT(events, ElementsAre("buffering", std::make_error_code(std::errc::no_such_file_or_directory).message()));
}

TEST_F(FileMediaAudioRouterTest, ADeviceThatVanishesDuringPlaybackIsAFailure) {
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

TEST_F(FileMediaAudioRouterTest, ADeviceThatComesDisturbsNothing) {
  prepare();
  router->setPlayback(true);
  world.runFor(1s);
  world.audio().addDevice({.name = "Third", .outputGroups = {2}});
  world.audio().unplug(plug);
  world.runFor(1s);
  EXPECT_THAT(events, ElementsAre("buffering", "ready"));
  expectCounting(heard[0], 0, 0);
}

TEST_F(FileMediaAudioRouterTest, WithNoDeviceAtAllItFails) {
  world.audio().unplug(desk);
  world.audio().unplug(plug);
  EXPECT_EQ(router->prepare(stream, {0}, 2, std::nullopt), kNoDevice);
}

TEST_F(FileMediaAudioRouterTest, ADeviceThatChangesItsRateGoesOnFromTheSameSample) {
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

TEST_F(FileMediaAudioRouterTest, AFileOfAnotherRatePlaysAtItsOwnSpeed) {
  files.files["clip.mov"] = countedMedia(44100, 1, 441'000);
  files.files["clip.mov"].sample = [](std::int64_t frame, int) { return static_cast<float>(frame) / 441'000; };
  router->prepare({"clip.mov", 44100, 1, 10}, {5}, 8, desk.id());
  world.runFor(100ms);
  router->restart({"clip.mov", 44100, 1, 10}, 4.0, true);
  world.runFor(2s);
  ASSERT_GT(heard[5].size(), 48'000U);
  EXPECT_NEAR(heard[5][0], 0.4, 1e-5) << "four of ten seconds";
  EXPECT_NEAR(heard[5][48'000], 0.5, 1e-5) << "a second later";
}

TEST_F(FileMediaAudioRouterTest, StoppingEndsEverything) {
  prepare();
  router->setPlayback(true);
  world.runFor(1s);
  router->stop();
  const auto count = heard[0].size();
  EXPECT_EQ(desk.liveIOs(), 0U);
  world.runFor(1s);
  EXPECT_EQ(heard[0].size(), count);
  EXPECT_EQ(files.openFiles, 0);
  EXPECT_FALSE(router->isReady());
  router->setPlayback(true);
  EXPECT_FALSE(router->wantsPlayback());
}

TEST_F(FileMediaAudioRouterTest, DestructionDuringDecodingEndsItWithoutAWord) {
  files.beforeRead = [this] { world.scheduler().mainQueue().post([this] { router.reset(); }); };
  prepare();
  ASSERT_TRUE(world.runUntil([this] { return router == nullptr; }, 1s));
  world.runFor(1s);
  EXPECT_EQ(files.openFiles, 0);
  EXPECT_EQ(desk.liveIOs(), 0U);
  EXPECT_THAT(events, ElementsAre("buffering"));
}

TEST_F(FileMediaAudioRouterTest, TheEndOfTheFileIsSilence) {
  prepare();
  router->restart(stream, 19.5, true);
  world.runFor(3s);
  expectCounting(heard[0], 936'000, 0);
  EXPECT_EQ(heard[0].size(), 24'000U);
  router->restart(stream, 20, true);
  world.runFor(1s);
  EXPECT_EQ(events.back(), "ready");
  EXPECT_EQ(heard[0].size(), 24'000U);
}

TEST_F(FileMediaAudioRouterTest, ADeviceWithAnEmptyStreamCountsItsRealOutputsOnly) {
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
