// Stories of jam sync: what is heard at the output of a card while its input is there, and what its tile shows.

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <vector>

#include "scenario/JamSyncStory.h"
#include "support/LTCInput.h"
#include "support/LtcWriter.h"

namespace tallyrig {
namespace {

using namespace std::chrono_literals;

TEST_F(JamSync, TheOutputStartsAtTheThirdStableFrameAndIsWithinTwoFramesOfTheInput) {
  open();
  card().enableJam();
  EXPECT_EQ(state(), JamSyncState::waiting);
  world.runFor(1s);
  EXPECT_EQ(output.soundEnd(), 0);
  play(kStart);
  ASSERT_TRUE(world.runUntil([&] { return state() == JamSyncState::acquiring; }, 200ms));
  ASSERT_TRUE(world.runUntil([&] { return state() == JamSyncState::locked; }, 90ms));
  world.runFor(100ms);
  expectSteadyOutput(5s);
  EXPECT_GE(lag(), 0);
  EXPECT_LE(lag(), 2);
  EXPECT_EQ(world.logCount("started LTC output"), 1U);
}

TEST_F(JamSync, AChangeOfRateWhileLockedLeavesTheOutputAtItsRate) {
  open();
  jamTo(kStart);
  play({12, 0, 0, 0, MTCFrameRate::fps30});
  world.runFor(100ms);
  expectSteadyOutput(3s);
  EXPECT_EQ(state(), JamSyncState::locked);
  EXPECT_EQ(output.frames().back().timecode.frameRate, MTCFrameRate::fps25);
  EXPECT_EQ(output.frames().back().timecode.hours, 10);
  card().disableJam();
  output.finish();
  world.runFor(1s);
  EXPECT_EQ(output.frames().back().timecode.frameRate, MTCFrameRate::fps30);
}

TEST_F(JamSync, AJumpOfTheInputWhileLockedIsNotTakenUp) {
  open();
  jamTo(kStart);
  const std::size_t starts = world.logCount("started LTC output");
  for (const std::int64_t jump : {2, 25, -40, 100000}) {
    play(truthAt(desk.nextPosition()).advanced(jump));
    expectSteadyOutput(2s);
    EXPECT_EQ(state(), JamSyncState::locked);
  }
  EXPECT_EQ(world.logCount("started LTC output"), starts);
}

TEST_F(JamSync, SingleBadFramesAndNoiseAtFullLevelDoNotReachTheOutput) {
  open();
  jamTo(kStart);
  const std::size_t starts = world.logCount("started LTC output");
  LtcWriter writer;
  for (int i = 0; i < 100; ++i) {
    // Every tenth frame carries a time from elsewhere.
    const Timecode timecode = i % 10 == 4 ? Timecode{3, 3, 3, 3, MTCFrameRate::fps25} : kStart.advanced(i);
    writer.frame(timecode, 1920);
  }
  const std::int64_t from = desk.nextPosition();
  desk.feed(0, [&](std::int64_t position, std::span<float> samples) {
    for (std::size_t i = 0; i < samples.size(); ++i) {
      const auto at = static_cast<std::size_t>(position - from) + i;
      samples[i] = at < writer.samples.size()
                       ? writer.samples[at]
                       : static_cast<float>(static_cast<std::int32_t>(world.random()())) * 0x1p-31F;
    }
  });
  expectSteadyOutput(4s);
  expectSteadyOutput(6s);
  EXPECT_EQ(world.logCount("started LTC output"), starts);
}

TEST_F(JamSync, AcquiringWaitsUntilTheInputStopsJumping) {
  open();
  LtcWriter writer;
  for (int i = 0; i < 50; ++i) writer.frame(kStart.advanced(i * 3), 1920);
  writer.frames({20, 0, 0, 0, MTCFrameRate::fps25}, 100, 1920);
  desk.feed(0, [&](std::int64_t position, std::span<float> samples) {
    for (std::size_t i = 0; i < samples.size(); ++i) {
      const auto at = static_cast<std::size_t>(position) + i;
      samples[i] = at < writer.samples.size() ? writer.samples[at] : 0.0F;
    }
  });
  card().enableJam();
  world.runFor(1900ms);
  EXPECT_EQ(state(), JamSyncState::acquiring);
  EXPECT_EQ(output.soundEnd(), 0);
  world.runFor(400ms);
  EXPECT_EQ(state(), JamSyncState::locked);
  expectSteadyOutput(1s);
  EXPECT_EQ(output.frames().back().timecode.hours, 20);
}

TEST_F(JamSync, TheTenthMinuteInDropFrameIsCrossedAsTheInputDoes) {
  for (const bool isPulled : {false, true}) {
    for (const std::int64_t minute : {8, 9}) {
      open();
      gain = 1;
      jamTo({10, minute, 56, 0, MTCFrameRate::fps2997});
      if (isPulled) gain = 0;
      world.runFor(200ms);
      const std::int64_t before = lag();
      expectSteadyOutput(6s);
      EXPECT_EQ(output.frames().back().timecode.minutes, minute + 1);
      EXPECT_EQ(lag(), before);
      wall.close();
      output.finish();
    }
  }
}

TEST_F(JamSync, SwitchingItOffIsSilentAtOnceAndTheNextFrameStartsTheOutputAgain) {
  open();
  jamTo(kStart);
  gain = 0;
  world.runFor(1s);
  ASSERT_EQ(state(), JamSyncState::freewheeling);
  const std::int64_t now = desk.nextPosition();
  const auto shown = card().currentTimecode();
  card().disableJam();
  output.finish();
  EXPECT_EQ(state(), JamSyncState::off);
  world.runFor(1s);
  EXPECT_EQ(output.soundEnd(), now);
  EXPECT_EQ(card().displayedTimecode(world.clock().now()), shown);
  EXPECT_TRUE(wall.reservations->owners().empty());
  gain = 1;
  world.runFor(1s);
  EXPECT_GT(output.soundEnd(), now);
  EXPECT_LE(lag(), 2);
}

TEST_F(JamSync, WithoutAnOutputTheCardLocksAndItsDisplayStandsAtTheLock) {
  wall.openWith({readerOn(desk, 0)});
  jamTo(kStart);
  const auto shown = card().displayedTimecode(world.clock().now());
  world.runFor(2s);
  EXPECT_EQ(card().displayedTimecode(world.clock().now()), shown);
  card().disableJam();
  EXPECT_NE(card().displayedTimecode(world.clock().now()), shown);
}

TEST(JamSyncOnManyCards, ThirtyTwoCardsLockAndFreewheelEachOnItsOwnCode) {
  Wall wall({.seed = 52});
  SimulatedWorld& world = wall.world;
  SimulatedDevice& desk =
      world.audio().addDevice({.name = "Desk", .inputGroups = {32}, .outputGroups = {32}, .quantum = 512});
  std::vector<std::unique_ptr<LTCInput>> codes;
  std::vector<std::unique_ptr<HeardOutput>> outputs;
  std::vector<ReaderSnapshot> cards;
  for (std::size_t i = 0; i < 32; ++i) {
    const auto rate = static_cast<MTCFrameRate>(i % 4);
    const auto channel = static_cast<std::int64_t>(i);
    codes.push_back(std::make_unique<LTCInput>(desk, i, rate, Timecode{channel % 24, 20, 58, 2, rate}));
    outputs.push_back(std::make_unique<HeardOutput>(desk, i));
    cards.push_back(emittingOn(readerOn(desk, channel), desk, channel));
  }
  wall.openWith(cards);
  for (const auto& card : wall.store->readers()) card->enableJam();
  world.runFor(2s);
  for (const auto& code : codes) code->gain = 0;
  world.runFor(3s);
  for (const auto& code : codes) code->gain = 1;
  world.runFor(2s);
  for (std::size_t i = 0; i < 32; ++i) {
    const auto& frames = outputs[i]->frames();
    EXPECT_EQ(wall.card(i).jamSyncState(), JamSyncState::locked);
    ASSERT_GT(frames.size(), 140U);
    // The new lock breaks the row once, within a frame, and nothing else does.
    int breaks = 0;
    for (std::size_t k = 1; k < frames.size(); ++k) {
      if (frames[k].timecode != frames[k - 1].timecode.advanced(1)) ++breaks;
      EXPECT_EQ(frames[k].timecode.hours % 24, static_cast<std::int64_t>(i) % 24);
    }
    EXPECT_LE(breaks, 1);
    EXPECT_LE(outputs[i]->brokenCount(), 2);
  }
  EXPECT_EQ(desk.counters().opens, 1);
  EXPECT_EQ(wall.reservations->owners().size(), 32U);
}

}  // namespace
}  // namespace tallyrig
