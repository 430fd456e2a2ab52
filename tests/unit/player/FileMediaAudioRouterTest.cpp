#include <algorithm>
#include <chrono>
#include <cstdint>
#include <memory>
#include <system_error>
#include <vector>

#include "RouterFixture.h"

namespace tallyrig {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

using FileMediaAudioRouterTest = RouterFixture;

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
  SimulatedMediaFiles media;
  media.files["clip.mov"] = countedMedia(48000, 4, 960'000);
  for (std::uint64_t seed = 1; seed <= 40; ++seed) {
    SCOPED_TRACE(seed);
    SimulatedWorld other({.seed = seed});
    other.audio().addDevice({.name = "Desk", .outputGroups = {8}});
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

TEST_F(FileMediaAudioRouterTest, ARoutingWithoutAFileIsKeptForLater) {
  EXPECT_EQ(router->applyRouting(plug.id(), 2, {1}, 0), std::nullopt);
  EXPECT_THAT(events, IsEmpty());
  router->restart(stream, 0, true);
  world.runFor(1s);
  expectCounting(heardOnPlug, 0, 0);
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

}  // namespace
}  // namespace tallyrig
