#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <string>

#include "mtc/MTCQuarterFrame.h"
#include "reader/ReaderInstance.h"
#include "support/MTCSignal.h"
#include "unit/reader/ReaderInstanceFixture.h"

namespace tallyrig {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::Optional;
using testing::Pair;

class ReaderInstanceMTCOutputTest : public ReaderInstanceFixture {
 protected:
  void SetUp() override {
    ReaderInstanceFixture::SetUp();
    wall.registry->refresh("test");
  }

  ReaderSnapshot generatorOnPort() const {
    ReaderSnapshot settings = generatorOnDesk();
    settings.outputProtocol = OutputProtocol::mtc;
    settings.selectedMIDIDestinationName = "Lights";
    return settings;
  }

  ReaderSnapshot throughPort() const {
    ReaderSnapshot settings = onDesk();
    settings.outputProtocol = OutputProtocol::mtc;
    settings.selectedMIDIDestinationName = "Lights";
    return settings;
  }

  void expectNoOutput(const ReaderInstance& card, const std::string& warning) {
    EXPECT_THAT(card.sourceAvailabilityWarning(), Optional(warning));
    EXPECT_FALSE(card.isGeneratorRunning());
    EXPECT_FALSE(card.isReceiving());
    EXPECT_FALSE(card.liveAnchor());
    for (const auto& [reservation, owner] : wall.reservations->owners()) EXPECT_NE(owner, card.settings().id);
  }

  std::size_t quarterFramesSent() const {
    return static_cast<std::size_t>(std::ranges::count_if(
        lights.received(), [](const auto& message) { return message.bytes.front() == kQuarterFrameStatus; }));
  }

  SimulatedMidiDestination& lights = world.midi().addDestination("Lights");
};

TEST_F(ReaderInstanceMTCOutputTest, AGeneratorLocatesAndRuns) {
  const auto card = makeCard(generatorOnPort());
  card->toggleGenerator();
  EXPECT_TRUE(card->isGeneratorRunning());
  EXPECT_TRUE(card->isReceiving());
  EXPECT_THAT(wall.reservations->owners(),
              ElementsAre(Pair(OutputReservation(MIDIOutputReservation{"Lights"}), card->settings().id)));
  world.runFor(1s);
  ASSERT_FALSE(lights.received().empty());
  EXPECT_EQ(lights.received().front().bytes, fullFrame(at25(1, 0, 0, 0)));
  EXPECT_NEAR(static_cast<double>(quarterFramesSent()), 100, 2);
  EXPECT_EQ(card->displayedTimecode(world.clock().now()), at25(1, 0, 1, 0));
}

TEST_F(ReaderInstanceMTCOutputTest, StopEndsAtOnceAtTheTimecodeOfThatMoment) {
  const auto card = makeCard(generatorOnPort());
  card->toggleGenerator();
  world.runFor(2s);
  card->toggleGenerator();
  EXPECT_FALSE(card->isGeneratorRunning());
  EXPECT_FALSE(card->isReceiving());
  EXPECT_FALSE(card->liveAnchor());
  EXPECT_THAT(card->currentTimecode(), Optional(at25(1, 0, 2, 0)));
  EXPECT_EQ(world.logCount("ReaderInstance[Clock]: generator stop command at 01:00:02:00"), 1U);
  EXPECT_TRUE(wall.reservations->owners().empty());
  const auto sent = lights.received().size();
  world.runFor(1s);
  EXPECT_EQ(lights.received().size(), sent) << "what was scheduled ahead does not go out";
}

TEST_F(ReaderInstanceMTCOutputTest, EachMissingDestinationIsTold) {
  auto settings = generatorOnPort();
  settings.selectedMIDIDestinationName.reset();
  const auto none = makeCard(settings);
  none->toggleGenerator();
  expectNoOutput(*none, "No MTC destination selected");

  settings.selectedMIDIDestinationName = "Truck";
  const auto gone = makeCard(settings);
  gone->toggleGenerator();
  expectNoOutput(*gone, "MTC destination unavailable: Truck");

  const auto owner = makeCard(generatorOnPort());
  owner->toggleGenerator();
  const auto second = makeCard(generatorOnPort());
  second->toggleGenerator();
  expectNoOutput(*second, "Lights is already in use");
  EXPECT_TRUE(owner->isGeneratorRunning());
}

TEST_F(ReaderInstanceMTCOutputTest, AFailedStartIsToldAndGivesTheDestinationBack) {
  world.midi().failures().createClient = -5;
  const auto card = makeCard(generatorOnPort());
  card->toggleGenerator();
  expectNoOutput(*card, "CoreMIDI client error -5");
  world.midi().failures().createClient = kPlatformOk;
  card->toggleGenerator();
  EXPECT_TRUE(card->isGeneratorRunning());
  EXPECT_FALSE(card->sourceAvailabilityWarning());
}

TEST_F(ReaderInstanceMTCOutputTest, AFailureWhileItRunsStopsTheCardAndSaysWhy) {
  const auto card = makeCard(generatorOnPort());
  card->toggleGenerator();
  world.runFor(1s);
  lights.failSends(-32);
  world.runFor(1s);
  expectNoOutput(*card, "MIDI send error -32");
  ASSERT_TRUE(card->currentTimecode());
  EXPECT_EQ(card->currentTimecode()->seconds, 1);
  lights.failSends(kPlatformOk);
  card->toggleGenerator();
  EXPECT_TRUE(card->isGeneratorRunning());
  EXPECT_FALSE(card->sourceAvailabilityWarning());
}

TEST_F(ReaderInstanceMTCOutputTest, AFailureUnderAReaderIsFollowedByATryWithTheNextFrame) {
  const auto card = makeCard(throughPort());
  card->startMonitoring();
  world.runFor(1s);
  lights.failSends(-32);
  world.runFor(200ms);
  EXPECT_THAT(card->sourceAvailabilityWarning(), Optional(std::string("MIDI send error -32")));
  EXPECT_TRUE(card->isReceiving());
  lights.failSends(kPlatformOk);
  world.runFor(200ms);
  EXPECT_FALSE(card->sourceAvailabilityWarning());
  EXPECT_EQ(wall.reservations->owners().size(), 1U);
}

TEST_F(ReaderInstanceMTCOutputTest, AReaderRefreshesTheRunningStreamWithoutBreakingIt) {
  signal = std::make_unique<LTCSignal>(MTCFrameRate::fps24, Timecode{10, 0, 0, 0, MTCFrameRate::fps24}, kRate);
  const auto card = makeCard(throughPort());
  card->startMonitoring();
  world.runFor(5s);
  EXPECT_EQ(world.logCount("MTCOutput: sent full-frame locate"), 1U) << "small corrections are ignored";
  EXPECT_EQ(world.logCount("MTCOutput: started 24 fps to Lights"), 1U);
  signal = std::make_unique<LTCSignal>(MTCFrameRate::fps24, Timecode{20, 0, 0, 0, MTCFrameRate::fps24}, kRate);
  world.runFor(2s);
  EXPECT_GE(world.logCount("MTCOutput: relocated stream to 20:00:"), 1U) << "a jump is followed";
}

TEST_F(ReaderInstanceMTCOutputTest, WhereTwoConversionsLoseTwoFramesTheStreamIsRelocated) {
  // An anchor is converted to the output's rate when it arrives and once more when it is handed on; at 25 frames a
  // second each of the two can land one frame lower, even from that rate to itself.
  const Timecode hit = at25(0, 0, 2, 8);
  ASSERT_EQ(hit.converted(MTCFrameRate::fps25).converted(MTCFrameRate::fps25), hit.advanced(-2));
  signal = std::make_unique<LTCSignal>(MTCFrameRate::fps25, at25(0, 0, 0, 0), kRate);
  const auto card = makeCard(throughPort());
  card->startMonitoring();
  world.runFor(5s);
  EXPECT_GT(world.logCount("MTCOutput: relocated stream to"), 0U);
}

TEST_F(ReaderInstanceMTCOutputTest, LossOfTheInputStopsTheStream) {
  const auto card = makeCard(throughPort());
  card->startMonitoring();
  world.runFor(2s);
  gain = 0;
  ASSERT_TRUE(world.runUntil([&] { return !card->isReceiving(); }, 1s));
  EXPECT_TRUE(world.hasLogged("; stopping MTC output"));
  EXPECT_TRUE(wall.reservations->owners().empty());
  const auto sent = lights.received().size();
  world.runFor(1s);
  EXPECT_EQ(lights.received().size(), sent);
}

TEST_F(ReaderInstanceMTCOutputTest, UnderJamTheStreamFollowsTheInputAndOutlivesIt) {
  const auto card = makeCard(throughPort());
  card->startMonitoring();
  card->enableJam();
  world.runFor(2s);
  ASSERT_EQ(card->jamSyncState(), JamSyncState::locked);
  EXPECT_EQ(card->liveAnchor()->timecode, card->currentTimecode()) << "the refreshed anchor is the display's";
  gain = 0;
  world.runFor(5s);
  EXPECT_EQ(card->jamSyncState(), JamSyncState::freewheeling);
  const auto before = quarterFramesSent();
  world.runFor(1s);
  EXPECT_NEAR(static_cast<double>(quarterFramesSent() - before), 100, 1);
}

TEST_F(ReaderInstanceMTCOutputTest, TheOutputRateChosenIsCarriedAndKept) {
  auto settings = throughPort();
  settings.outputFrameRate = OutputFrameRate::fps30;
  const auto card = makeCard(settings);
  card->startMonitoring();
  world.runFor(3s);
  EXPECT_EQ(world.logCount("MTCOutput: started 30 fps to Lights"), 1U);
  EXPECT_EQ(world.logCount("MTCOutput: relocated"), 0U);
  EXPECT_EQ(world.logCount("MTCOutput: sent full-frame locate"), 1U);
}

}  // namespace
}  // namespace tallyrig
