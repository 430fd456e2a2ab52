#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <optional>
#include <string>

#include "reader/ReaderInstance.h"
#include "support/MTCTransport.h"
#include "unit/reader/ReaderInstanceFixture.h"

namespace tallyrig {
namespace {

using namespace std::chrono_literals;
using testing::Optional;

class ReaderInstanceMTCTest : public ReaderInstanceFixture {
 protected:
  ReaderSnapshot onPort() const {
    ReaderSnapshot settings;
    settings.label = "Stage";
    settings.sourceType = SourceType::mtc;
    settings.selectedMIDISourceName = "Port A";
    return settings;
  }

  static constexpr Timecode kStart{10, 0, 0, 0, MTCFrameRate::fps25};
  SimulatedMidiDestination& player = world.midi().addDestination("Player", false);
  SimulatedMidiSource& source = world.midi().addSource("Port A");
  SimulatedMidiCable& cable = world.midi().connect(player, source);
  MTCTransport machine{world, player};
};

TEST_F(ReaderInstanceMTCTest, ShowsTheTruthFromTheSecondFrameOn) {
  const auto card = makeCard(onPort());
  card->startMonitoring();
  EXPECT_FALSE(card->sourceAvailabilityWarning());
  EXPECT_THAT(card->selectedMIDIEndpoint(), Optional(source.endpoint()));
  machine.play(kStart);
  world.runFor(100ms);
  for (int tick = 0; tick < 300; ++tick) {
    world.runFor(16ms);
    const HostTime now = world.clock().now();
    ASSERT_EQ(card->displayedTimecode(now), machine.truthAt(world.clock().nanos()));
  }
  EXPECT_TRUE(card->isReceiving());
}

TEST_F(ReaderInstanceMTCTest, AnAnchorArrivesOneTurnOfTheMainQueueLater) {
  const auto card = makeCard(onPort());
  card->startMonitoring();
  machine.play(kStart);
  ASSERT_TRUE(world.runUntil([&] { return world.hasLogged("MTCReceiver: quarter-frame sequence"); }, 1s));
  EXPECT_FALSE(card->liveAnchor());
  world.runPending();
  EXPECT_TRUE(card->liveAnchor());
}

TEST_F(ReaderInstanceMTCTest, WhatWasOnItsWayWhenTheCardStoppedIsNotTaken) {
  const auto card = makeCard(onPort());
  card->startMonitoring();
  machine.play(kStart);
  ASSERT_TRUE(world.runUntil([&] { return world.hasLogged("MTCReceiver: quarter-frame sequence"); }, 1s));
  card->stopMonitoring();
  world.runFor(1s);
  EXPECT_FALSE(card->liveAnchor());
  EXPECT_FALSE(card->currentTimecode());
  EXPECT_EQ(world.midi().clientCount(), 1U) << "the player's";
}

TEST_F(ReaderInstanceMTCTest, TheEndOfTheStreamHoldsTheFrameOfTheLastPacket) {
  const auto card = makeCard(onPort());
  card->startMonitoring();
  machine.play(kStart);
  world.runFor(2010ms);
  const auto played = machine.truthAt(world.clock().nanos());
  machine.stop();
  ASSERT_TRUE(played);
  ASSERT_TRUE(world.runUntil([&] { return !card->isReceiving(); }, 1s));
  ASSERT_TRUE(card->currentTimecode());
  EXPECT_THAT(card->currentTimecode()->signedFrameDistance(*played), Optional(testing::AnyOf(0, 1)))
      << "the last packet came up to a quarter of a frame before the cut";
  EXPECT_FALSE(card->liveAnchor());
  EXPECT_TRUE(
      world.hasLogged("ReaderInstance[Stage]: input loss detected at confirmed " + card->currentTimecode()->text()));
}

TEST_F(ReaderInstanceMTCTest, AFullFrameMovesAnIdleCard) {
  const auto card = makeCard(onPort());
  card->startMonitoring();
  world.runFor(10ms);
  machine.locate(at25(12, 34, 56, 7));
  world.runFor(10ms);
  EXPECT_THAT(card->currentTimecode(), Optional(at25(12, 34, 56, 7)));
  EXPECT_FALSE(card->isReceiving());
  EXPECT_EQ(card->displayedTimecode(world.clock().now() + HostDuration{9'000'000'000}), at25(12, 34, 56, 7));
}

TEST_F(ReaderInstanceMTCTest, TheOffsetIsNotForMTC) {
  auto settings = onPort();
  settings.ltcFrameOffset = 10;
  const auto card = makeCard(settings);
  card->startMonitoring();
  machine.play(kStart);
  world.runFor(1010ms);
  EXPECT_EQ(card->displayedTimecode(world.clock().now()), machine.truthAt(world.clock().nanos()));
}

TEST_F(ReaderInstanceMTCTest, AStaleNumberWithARightNameIsFollowed) {
  const auto card = makeCard(onPort());
  card->selectMIDISource(source.endpoint(), {{source.endpoint(), "Port A"}});
  world.midi().unplug(source);
  world.midi().plugIn(source);
  card->startMonitoring();
  EXPECT_THAT(card->selectedMIDIEndpoint(), Optional(source.endpoint()));
  machine.play(kStart);
  world.runFor(1s);
  EXPECT_TRUE(card->isReceiving());
}

TEST_F(ReaderInstanceMTCTest, JamLocksAtTheSecondAnchorAndRunsAnLTCOutput) {
  auto settings = onPort();
  settings.outputProtocol = OutputProtocol::ltc;
  settings.selectedOutputDeviceName = "Desk";
  const auto card = makeCard(settings);
  card->startMonitoring();
  card->enableJam();
  std::vector<std::pair<JamSyncState, int>> states;
  int anchors = 0;
  std::optional<TimecodeAnchor> last;
  QObject::connect(card.get(), &ReaderInstance::timecodeChanged, [&] {
    if (card->liveAnchor() != last) ++anchors;
    last = card->liveAnchor();
  });
  QObject::connect(card.get(), &ReaderInstance::jamChanged,
                   [&] { states.emplace_back(card->jamSyncState(), anchors); });
  machine.play(kStart);
  world.runFor(1s);
  EXPECT_THAT(states,
              testing::ElementsAre(testing::Pair(JamSyncState::acquiring, 1), testing::Pair(JamSyncState::locked, 2)));
  machine.stop();
  world.runFor(5010ms);
  EXPECT_EQ(card->jamSyncState(), JamSyncState::freewheeling);
  const auto truth = machine.truthAt(world.clock().nanos());
  ASSERT_TRUE(truth);
  const auto apart = card->currentTimecode()->signedFrameDistance(*truth);
  // The output began in the middle of the input's frame with that frame's first sample, and a cycle later.
  EXPECT_THAT(apart, Optional(testing::AllOf(testing::Ge(0), testing::Le(2)))) << "the output's own clock goes on";
}

TEST_F(ReaderInstanceMTCTest, TheEndOfTheStreamStopsTheOutputAndHoldsTheConfirmedFrame) {
  auto settings = onPort();
  settings.outputProtocol = OutputProtocol::ltc;
  settings.selectedOutputDeviceName = "Desk";
  const auto card = makeCard(settings);
  card->startMonitoring();
  machine.play(kStart);
  world.runFor(2s);
  ASSERT_FALSE(wall.reservations->owners().empty());
  machine.stop();
  ASSERT_TRUE(world.runUntil([&] { return !card->isReceiving(); }, 1s));
  const auto held = card->currentTimecode();
  ASSERT_TRUE(world.runUntil([&] { return world.hasLogged("LTC output stopped at"); }, 1s));
  EXPECT_EQ(card->currentTimecode(), held) << "not the last frame sent";
  EXPECT_TRUE(wall.reservations->owners().empty());
}

}  // namespace
}  // namespace tallyrig
