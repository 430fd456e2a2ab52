// Stories of jam sync with MIDI Time Code while the input is there: at the input, where two sequences lock, and at the
// output, which is refreshed while the card is locked.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <vector>

#include "mtc/MTCQuarterFrame.h"
#include "scenario/JamSyncMTCStory.h"

namespace tallyrig {
namespace {

using namespace std::chrono_literals;
using enum MTCFrameRate;
using testing::ElementsAre;
using testing::IsEmpty;

TEST_F(JamSyncMTC, TheStatesFollowTheInputFromWaitingToLockAndBack) {
  openToLights();
  card().enableJam();
  world.runFor(1s);
  EXPECT_THAT(takeStates(), ElementsAre(JamSyncState::waiting));
  play(kStart);
  world.runFor(75ms);
  EXPECT_THAT(takeStates(), ElementsAre(JamSyncState::acquiring));
  EXPECT_THAT(lights.received(), IsEmpty());
  world.runFor(80ms);
  EXPECT_THAT(takeStates(), ElementsAre(JamSyncState::locked)) << "at the second sequence";
  machine.stop();
  world.runFor(200ms);
  EXPECT_THAT(takeStates(), ElementsAre(JamSyncState::freewheeling));
  play(kStart.advanced(2000));
  world.runFor(kRelock);
  EXPECT_THAT(takeStates(), ElementsAre(JamSyncState::reacquiring, JamSyncState::locked));
  card().enableJam();
  EXPECT_THAT(takeStates(), IsEmpty());
  card().disableJam();
  EXPECT_THAT(takeStates(), ElementsAre(JamSyncState::off));
}

TEST_F(JamSyncMTC, AcquiringWaitsUntilTheInputStopsJumping) {
  openToLights();
  card().enableJam();
  for (int i = 0; i < 20; ++i) {
    play(kStart.advanced(i * 100));
    world.runFor(75ms);
    EXPECT_EQ(state(), JamSyncState::acquiring);
  }
  EXPECT_THAT(lights.received(), IsEmpty());
  play(kStart);
  world.runFor(kRelock);
  EXPECT_EQ(state(), JamSyncState::locked);
}

TEST_F(JamSyncMTC, AJumpOfTheInputWhileLockedIsFollowedByMTCAndNotByLTC) {
  for (const bool isMTC : {true, false}) {
    if (isMTC) {
      openToLights();
    } else {
      openToDesk();
    }
    jamTo(kStart);
    world.runFor(1s);
    play({20, 0, 0, 0, fps25});
    world.runFor(2s);
    EXPECT_EQ(state(), JamSyncState::locked);
    EXPECT_THAT(states, IsEmpty());
    EXPECT_EQ(card().currentTimecode()->hours, isMTC ? 20 : 10);
    listener.listen();
    if (isMTC) {
      EXPECT_EQ(listener.locates().back().timecode.hours, 20);
      EXPECT_NEAR(lag(), 0.5, 0.5 + kSample);
    } else {
      EXPECT_EQ(heard.frames().back().timecode.hours, 10);
    }
    machine.stop();
    wall.close();
    world.runFor(1s);
  }
}

TEST_F(JamSyncMTC, TwoEqualFullFramesAloneLockAsTwoAnchors) {
  openToLights();
  card().enableJam();
  machine.locate({1, 0, 0, 0, fps25});
  world.runFor(10ms);
  EXPECT_THAT(takeStates(), ElementsAre(JamSyncState::waiting, JamSyncState::acquiring));
  machine.locate({1, 0, 0, 0, fps25});
  world.runFor(10ms);
  EXPECT_THAT(takeStates(), ElementsAre(JamSyncState::locked));
  EXPECT_FALSE(card().isReceiving());
}

TEST_F(JamSyncMTC, AChangeOfRateWhileLockedIsCarriedAtTheOldPace) {
  openToLights();
  jamTo(kStart);
  play({12, 0, 0, 0, fps30});
  world.runFor(1s);
  listener.listen();
  listener.clear();
  world.runFor(4s);
  listener.listen();
  EXPECT_EQ(state(), JamSyncState::locked);
  EXPECT_THAT(states, IsEmpty());
  EXPECT_EQ(listener.shortestPeriod(), world.clock().ticksFromNanos(quarterFrameNanos(fps25)));
  EXPECT_EQ(listener.longestPeriod(), listener.shortestPeriod());
  EXPECT_EQ(listener.brokenCount(), 0);
  EXPECT_THAT(listener.locates(), IsEmpty());
  for (const auto& [timecode, at] : listener.sequences()) {
    ASSERT_EQ(timecode.frameRate, fps30);
    const Timecode there = TimecodeAnchor{played, playedAt}.extrapolated(at, world.clock());
    EXPECT_THAT(timecode.signedFrameDistance(there), testing::Optional(testing::AnyOf(0, 1)));
  }
  card().disableJam();
  world.runFor(1s);
  listener.listen();
  listener.clear();
  world.runFor(1s);
  listener.listen();
  EXPECT_EQ(listener.longestPeriod(), world.clock().ticksFromNanos(quarterFrameNanos(fps30))) << "a start of its own";
}

TEST(JamSyncMTCOnManyCards, ThirtyTwoCardsLockAndFreewheelEachOnItsOwnCode) {
  Wall wall({.seed = 82});
  SimulatedWorld& world = wall.world;
  std::vector<SimulatedMidiCable*> cables;
  std::vector<SimulatedMidiDestination*> outputs;
  std::vector<std::unique_ptr<MTCTransport>> machines;
  std::vector<ReaderSnapshot> cards;
  for (int i = 0; i < 32; ++i) {
    SimulatedMidiDestination& player = world.midi().addDestination("Player " + std::to_string(i), false);
    SimulatedMidiSource& source = world.midi().addSource("Machine " + std::to_string(i));
    cables.push_back(&world.midi().connect(player, source));
    outputs.push_back(&world.midi().addDestination("Lights " + std::to_string(i)));
    machines.push_back(std::make_unique<MTCTransport>(world, player));
    cards.push_back(emittingTo(readerOf(source), *outputs.back()));
  }
  wall.openWith(cards);
  for (const auto& card : wall.store->readers()) card->enableJam();
  for (int i = 0; i < 32; ++i) {
    machines[static_cast<std::size_t>(i)]->play({i % 24, 20, 58, 2, static_cast<MTCFrameRate>(i % 4)});
    world.runFor(1713us);
  }
  const HostTime end = world.clock().now();
  world.runFor(1s);
  for (const auto& card : wall.store->readers()) EXPECT_EQ(card->jamSyncState(), JamSyncState::locked);
  for (auto* cable : cables) cable->cut();
  world.runFor(3s);
  for (const auto& card : wall.store->readers()) EXPECT_EQ(card->jamSyncState(), JamSyncState::freewheeling);
  for (auto* cable : cables) cable->restore();
  world.runFor(1s);
  for (std::size_t i = 0; i < 32; ++i) {
    SCOPED_TRACE(i);
    EXPECT_EQ(wall.card(i).jamSyncState(), JamSyncState::locked);
    MTCListener listener(*outputs[i]);
    listener.listen();
    // At each lock; where the conversion then lost a frame, once more with the next sequence.
    EXPECT_GE(listener.locates().size(), 2U);
    EXPECT_LE(listener.locates().size(), 4U);
    EXPECT_EQ(listener.lateCount(), 0);
    ASSERT_GT(listener.sequences().size(), 50U);
    const Timecode first{static_cast<std::int64_t>(i) % 24, 20, 58, 2, static_cast<MTCFrameRate>(i % 4)};
    const TimecodeAnchor truth{first, end - world.clock().ticksFromNanos((32 - i) * 1'713'000)};
    for (const auto& [timecode, at] : listener.sequences()) {
      EXPECT_THAT(timecode.signedFrameDistance(truth.extrapolated(at, world.clock())),
                  testing::Optional(testing::AnyOf(0, 1, 2)));
    }
  }
}

}  // namespace
}  // namespace tallyrig
