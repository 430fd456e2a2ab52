// Stories of jam sync with MIDI Time Code when the input stops or goes, or the output fails.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>

#include "scenario/JamSyncMTCStory.h"

namespace tallyrig {
namespace {

using namespace std::chrono_literals;
using enum MTCFrameRate;
using testing::ElementsAre;
using testing::IsEmpty;

TEST_F(JamSyncMTC, WhereTheInputStoppedCountsAsAnAnchorToo) {
  openToLights();
  card().enableJam();
  play(kStart);
  world.runFor(75ms);
  EXPECT_THAT(takeStates(), ElementsAre(JamSyncState::waiting, JamSyncState::acquiring));
  machine.stop();
  world.runFor(50ms);
  EXPECT_THAT(takeStates(), ElementsAre(JamSyncState::locked, JamSyncState::freewheeling));
  EXPECT_FALSE(card().isReceiving());
  expectSteadyStream(1s);
  play(kStart.advanced(1000));
  world.runFor(75ms);
  EXPECT_THAT(takeStates(), ElementsAre(JamSyncState::reacquiring));
  machine.stop();
  world.runFor(50ms);
  EXPECT_THAT(takeStates(), ElementsAre(JamSyncState::locked, JamSyncState::freewheeling));
  listener.listen();
  EXPECT_EQ(listener.locates().size(), 1U);
}

TEST_F(JamSyncMTC, AnInputLostBeforeItsFirstSequenceLeavesTheStateAsItIs) {
  openToLights();
  card().enableJam();
  play(kStart);
  world.runFor(65ms);
  machine.stop();
  world.runFor(1s);
  EXPECT_THAT(takeStates(), ElementsAre(JamSyncState::waiting));
  jamTo(kStart);
  machine.stop();
  world.runFor(1s);
  EXPECT_THAT(takeStates(), ElementsAre(JamSyncState::freewheeling));
  play(kStart);
  world.runFor(65ms);
  machine.stop();
  expectSteadyStream(1s);
  EXPECT_THAT(takeStates(), IsEmpty());
}

TEST_F(JamSyncMTC, TheCableIsPulledAndTheStreamRunsOn) {
  openToLights();
  jamTo(kStart);
  for (const auto away : {100ms, 4000ms, 600000ms}) {
    expectSteadyStream(1s);
    const double before = lag();
    cable.cut();
    expectSteadyStream(away);
    EXPECT_EQ(state(), JamSyncState::freewheeling);
    EXPECT_NEAR(lag(), before, kSample);
    EXPECT_EQ(card().displayedTimecode(world.clock().now()), card().currentTimecode());
    states.clear();
    cable.restore();
    world.runFor(2 * kRelock);
    EXPECT_THAT(takeStates(), ElementsAre(JamSyncState::reacquiring, JamSyncState::locked));
    listener.listen();
    EXPECT_EQ(listener.locates().size(), 1U) << "the output starts anew from the input";
    expectSteadyStream(1s);
    EXPECT_NEAR(lag(), 1, kSample) << "it starts at the end of the seventh quarter frame, with the frame begun then";
  }
}

TEST_F(JamSyncMTC, TheCableIsPulledAndTheLTCRunsOn) {
  openToDesk();
  jamTo(kStart);
  cable.cut();
  world.runFor(60s);
  EXPECT_EQ(state(), JamSyncState::freewheeling);
  EXPECT_THAT(card().displayedTimecode(world.clock().now())->signedFrameDistance(truth()),
              testing::Optional(testing::AllOf(testing::Ge(0), testing::Le(2))));
  const std::size_t before = heard.frames().size();
  EXPECT_GT(before, 60U * 25);
  const int broken = heard.brokenCount();
  cable.restore();
  world.runFor(2 * kRelock + 1s);
  EXPECT_EQ(state(), JamSyncState::locked);
  EXPECT_LE(heard.brokenCount(), broken + 1) << "the cut at the new lock";
  EXPECT_THAT(card().displayedTimecode(world.clock().now())->signedFrameDistance(truth()),
              testing::Optional(testing::AllOf(testing::Ge(0), testing::Le(2))));
}

TEST_F(JamSyncMTC, AFullFrameIsAStopAndTheOutputRunsOn) {
  openToLights();
  jamTo(kStart);
  machine.stop();
  machine.locate({1, 2, 3, 4, fps25});
  expectSteadyStream(2s);
  EXPECT_THAT(takeStates(), ElementsAre(JamSyncState::freewheeling));
  for (std::int64_t i = 0; i < 50; ++i) machine.locate({2, 0, 0, i % 25, fps25});
  expectSteadyStream(1s);
  EXPECT_EQ(state(), JamSyncState::freewheeling) << "full frames bring no input back";
  play({3, 0, 0, 0, fps25});
  world.runFor(kRelock);
  EXPECT_EQ(state(), JamSyncState::locked);
  world.runFor(200ms);
  listener.listen();
  expectSteadyStream(1s);
  EXPECT_EQ(listener.sequences().back().timecode.hours, 3);
}

TEST_F(JamSyncMTC, TheSourceIsUnpluggedAndComesBackUnderAnotherNumber) {
  openToLights();
  jamTo(kStart);
  for (int i = 0; i < 3; ++i) {
    world.midi().unplug(in);
    expectSteadyStream(3s);
    // The list changed and with it the decoder was reset, time-out and all: nothing says that the input has gone.
    EXPECT_EQ(state(), JamSyncState::locked);
    world.midi().plugIn(in);
    world.runFor(2 * kRelock);
    EXPECT_EQ(state(), JamSyncState::locked);
    expectSteadyStream(1s);
  }
}

TEST_F(JamSyncMTC, AFailureToSendEndsTheOutputAndTheNextLockStartsItAgain) {
  openToLights();
  jamTo(kStart);
  lights.failSends(-32);
  world.runFor(200ms);
  EXPECT_EQ(card().sourceAvailabilityWarning(), "MIDI send error -32");
  EXPECT_EQ(state(), JamSyncState::locked);
  EXPECT_TRUE(wall.reservations->owners().empty());
  lights.failSends(kPlatformOk);
  listener.listen();
  listener.clear();
  world.runFor(2s);
  listener.listen();
  EXPECT_EQ(listener.quarterFrameCount(), 0) << "a locked card does not start an output";
  cable.cut();
  world.runFor(500ms);
  EXPECT_EQ(state(), JamSyncState::freewheeling);
  cable.restore();
  world.runFor(2 * kRelock);
  EXPECT_EQ(state(), JamSyncState::locked);
  EXPECT_FALSE(card().sourceAvailabilityWarning());
  expectSteadyStream(1s);
}

TEST_F(JamSyncMTC, MidnightIsCrossedLockedAndFreewheeling) {
  openToLights();
  for (const bool isPulled : {false, true}) {
    for (const MTCFrameRate rate : {fps24, fps25, fps2997, fps30}) {
      cable.restore();
      jamTo({23, 59, 57, 0, rate});
      if (isPulled) cable.cut();
      world.runFor(200ms);
      expectSteadyStream(5s);
      EXPECT_EQ(listener.sequences().back().timecode.hours, 0);
      EXPECT_NEAR(lag(), 1, 1);
      card().disableJam();
      machine.stop();
      world.runFor(500ms);
    }
  }
}

}  // namespace
}  // namespace tallyrig
