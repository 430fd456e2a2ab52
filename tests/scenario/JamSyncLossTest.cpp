// Stories of jam sync: the input goes, or a device, and what is heard until it is back.

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <vector>

#include "scenario/JamSyncStory.h"
#include "support/LTCInput.h"

namespace tallyrig {
namespace {

using namespace std::chrono_literals;

TEST_F(JamSync, TheCableIsPulledAndTheOutputRunsOn) {
  open();
  jamTo(kStart);
  for (const auto away : {1s, 4s, 600s}) {
    const std::int64_t before = lag();
    const std::size_t starts = world.logCount("started LTC output");
    const int broken = output.brokenCount();
    gain = 0;
    ASSERT_TRUE(world.runUntil([&] { return state() == JamSyncState::freewheeling; }, 500ms));
    expectSteadyOutput(std::min<std::chrono::nanoseconds>(away, 5s));
    world.runFor(away > 5s ? away - 5s : 0s);
    EXPECT_EQ(state(), JamSyncState::freewheeling);
    EXPECT_EQ(lag(), before);
    EXPECT_EQ(output.brokenCount(), broken);
    EXPECT_EQ(world.logCount("started LTC output"), starts);
    gain = 1;
    std::vector<JamSyncState> states;
    const auto watch = QObject::connect(&card(), &ReaderInstance::jamChanged, [&] { states.push_back(state()); });
    world.runFor(kRelock);
    QObject::disconnect(watch);
    EXPECT_EQ(states, (std::vector{JamSyncState::reacquiring, JamSyncState::locked}));
    EXPECT_EQ(world.logCount("started LTC output"), starts + 1);
    expectSteadyOutput(2s);
    EXPECT_GE(lag(), 0);
    EXPECT_LE(lag(), 2);
  }
}

TEST_F(JamSync, TheInputReturnsTwoFramesOffAndTheOutputFollowsAtTheNewLock) {
  open();
  jamTo(kStart);
  for (const std::int64_t jump : {2, -2, 1000}) {
    gain = 0;
    world.runFor(2s);
    ASSERT_EQ(state(), JamSyncState::freewheeling);
    play(truthAt(desk.nextPosition()).advanced(jump));
    gain = 1;
    world.runFor(kRelock);
    EXPECT_EQ(state(), JamSyncState::locked);
    world.runFor(200ms);
    expectSteadyOutput(1s);
    EXPECT_GE(lag(), 0);
    EXPECT_LE(lag(), 2);
  }
}

TEST_F(JamSync, TheInputReturnsAtAnotherRateAndTheOutputTakesItUp) {
  open();
  jamTo(kStart);
  gain = 0;
  world.runFor(2s);
  play({10, 0, 10, 0, MTCFrameRate::fps30});
  gain = 1;
  world.runFor(kRelock);
  EXPECT_EQ(state(), JamSyncState::locked);
  world.runFor(200ms);
  expectSteadyOutput(2s);
  EXPECT_EQ(output.frames().back().timecode.frameRate, MTCFrameRate::fps30);
  EXPECT_LE(lag(), 2);
}

TEST_F(JamSync, TheInputReturnsAtAnotherLevelAndTheOutputKeepsItsOwn) {
  open();
  jamTo(kStart);
  float peak = 0;
  desk.onOutput(4, [&](std::int64_t, std::span<const float> samples) {
    for (const float sample : samples) peak = std::max(peak, std::abs(sample));
  });
  for (const float level : {0.04F, 1.9F, -0.5F}) {
    gain = 0;
    world.runFor(1s);
    gain = level;
    world.runFor(kRelock);
    EXPECT_EQ(state(), JamSyncState::locked);
    peak = 0;
    world.runFor(200ms);
    expectSteadyOutput(1s);
    EXPECT_NEAR(peak, 0.5, 0.01);
  }
}

TEST_F(JamSync, MidnightIsCrossedLockedAndFreewheeling) {
  for (const bool isPulled : {false, true}) {
    for (const MTCFrameRate rate : {MTCFrameRate::fps24, MTCFrameRate::fps2997}) {
      open();
      gain = 1;
      jamTo({23, 59, 57, 0, rate});
      if (isPulled) gain = 0;
      world.runFor(200ms);
      expectSteadyOutput(6s);
      EXPECT_EQ(output.frames().back().timecode.hours, 0);
      EXPECT_LE(std::abs(lag()), 3);
      wall.close();
      output.finish();
    }
  }
}

TEST_F(JamSync, TheOutputRunsOnWhenTheInputDeviceIsUnplugged) {
  SimulatedDevice& truck = world.audio().addDevice({.name = "Truck", .inputGroups = {1}, .driftPpm = 40});
  LTCInput code(truck, 0, kStart.frameRate, kStart);
  wall.openWith({emittingOn(readerOn(truck, 0), desk, 4)});
  world.runFor(1s);
  card().enableJam();
  world.runFor(kRelock);
  ASSERT_EQ(state(), JamSyncState::locked);
  for (const auto away : {400ms, 20000ms}) {
    world.audio().unplug(truck);
    // The level stood high when the audio ended, so the card does not know that its input has gone.
    world.runFor(away);
    EXPECT_EQ(state(), JamSyncState::locked);
    world.audio().plugIn(truck);
    world.runFor(2s);
    EXPECT_EQ(output.frames().back().timecode.frameRate, MTCFrameRate::fps25);
  }
}

TEST_F(JamSync, TheOutputDeviceIsUnpluggedWhileFreewheelingAndTheJamIsTakenUpAnew) {
  SimulatedDevice& stage = world.audio().addDevice({.name = "Stage", .inputGroups = {2}, .outputGroups = {2}});
  HeardOutput heard(stage, 0);
  wall.openWith({emittingOn(readerOn(desk, 0), stage, 0)});
  jamTo(kStart);
  gain = 0;
  world.runFor(1s);
  ASSERT_EQ(state(), JamSyncState::freewheeling);
  world.audio().unplug(stage);
  heard.finish();
  world.runFor(300ms);
  world.audio().plugIn(stage);
  const std::size_t before = heard.frames().size();
  world.runFor(3s);
  EXPECT_EQ(state(), JamSyncState::freewheeling);
  ASSERT_GT(heard.frames().size(), before + 20);
  EXPECT_LE(*heard.frames()[before - 1].timecode.signedFrameDistance(heard.frames()[before].timecode), 2);
}

}  // namespace
}  // namespace tallyrig
