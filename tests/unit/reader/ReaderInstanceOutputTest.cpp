#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "ltc/LTCTimecodeDecoder.h"
#include "reader/ReaderInstance.h"
#include "unit/reader/ReaderInstanceFixture.h"

namespace tallyrig {
namespace {

using namespace std::chrono_literals;
using testing::Optional;

class ReaderInstanceOutputTest : public ReaderInstanceFixture {
 protected:
  /// Records output 1 of the desk from now on.
  void listen() {
    desk.onOutput(0, [this](std::int64_t, std::span<const float> samples) {
      heard.insert(heard.end(), samples.begin(), samples.end());
    });
  }

  std::vector<LTCTimecodeDecoder::DecodedFrame> decode() {
    LTCTimecodeDecoder decoder(world.clock());
    std::vector<LTCTimecodeDecoder::DecodedFrame> frames;
    decoder.onTimecode = [&](const auto& frame) { frames.push_back(frame); };
    for (std::size_t at = 0; at < heard.size(); at += 64) {
      decoder.process(std::span(heard).subspan(at, std::min<std::size_t>(64, heard.size() - at)), std::nullopt, kRate);
    }
    return frames;
  }

  bool isSilentNow() {
    heard.clear();
    world.runFor(200ms);
    return std::ranges::all_of(heard, [](float sample) { return sample == 0; });
  }

  void expectNoOutput(const ReaderInstance& card, const std::string& warning) {
    EXPECT_THAT(card.sourceAvailabilityWarning(), Optional(warning));
    EXPECT_FALSE(card.isGeneratorRunning());
    EXPECT_FALSE(card.isReceiving());
    EXPECT_FALSE(card.liveAnchor());
    for (const auto& [reservation, owner] : wall.reservations->owners()) EXPECT_NE(owner, card.settings().id);
  }

  std::vector<float> heard;
};

TEST_F(ReaderInstanceOutputTest, AGeneratorRunsFromItsStart) {
  listen();
  const auto card = makeCard(generatorOnDesk());
  card->startMonitoring();
  card->toggleGenerator();
  EXPECT_TRUE(card->isGeneratorRunning());
  EXPECT_TRUE(card->isReceiving());
  EXPECT_THAT(card->currentTimecode(), Optional(at25(1, 0, 0, 0)));
  EXPECT_EQ(world.logCount("] ReaderInstance[Clock]: started LTC output generation 3 at 01:00:00:00"), 1U)
      << "one for the start of monitoring, two for this one";
  EXPECT_THAT(wall.reservations->owners(),
              testing::ElementsAre(
                  testing::Pair(OutputReservation(AudioOutputReservation{desk.id(), 0}), card->settings().id)));
  world.runFor(2s);
  const auto frames = decode();
  ASSERT_GT(frames.size(), 40U);
  EXPECT_EQ(frames.front().timecode, at25(1, 0, 0, 0));
  ASSERT_TRUE(card->liveAnchor());
  EXPECT_EQ(card->currentTimecode(), card->liveAnchor()->timecode);
  EXPECT_EQ(card->displayedTimecode(world.clock().now()),
            card->liveAnchor()->extrapolated(world.clock().now(), world.clock()));
}

TEST_F(ReaderInstanceOutputTest, AStartFrameBeyondTheRateIsItsLastFrame) {
  auto settings = generatorOnDesk();
  settings.generatorStartFrames = 29;
  const auto card = makeCard(settings);
  card->toggleGenerator();
  EXPECT_TRUE(world.hasLogged("started LTC output generation 2 at 01:00:00:24"));
}

TEST_F(ReaderInstanceOutputTest, AGeneratorOnTheTimeOfDayStartsWithThatMoment) {
  using namespace std::chrono;
  world.wallClock().set(sys_days{2026y / 3 / 14} + 12h + 999ms);
  world.wallClock().setUtcOffset(2h);
  auto settings = generatorOnDesk();
  settings.generatorFrameRate = MTCFrameRate::fps24;
  settings.generatorStartMode = GeneratorStartMode::localTime;
  const auto card = makeCard(settings);
  card->startMonitoring();
  world.runFor(10s);
  EXPECT_THAT(card->currentTimecode(), Optional(Timecode{14, 0, 0, 23, MTCFrameRate::fps24})) << "still that of then";
  card->toggleGenerator();
  EXPECT_TRUE(world.hasLogged("at 14:00:10:23"));
}

TEST_F(ReaderInstanceOutputTest, StopEndsAfterTheFrameOnTheAir) {
  listen();
  const auto card = makeCard(generatorOnDesk());
  card->toggleGenerator();
  world.runFor(2s);
  card->toggleGenerator();
  EXPECT_EQ(world.logCount("ReaderInstance[Clock]: requested LTC frame-boundary stop for generation 2"), 1U);
  EXPECT_TRUE(card->isGeneratorRunning()) << "until the frame has ended";
  ASSERT_TRUE(world.runUntil([&] { return !card->isGeneratorRunning(); }, 1s));
  EXPECT_FALSE(card->isReceiving());
  EXPECT_FALSE(card->liveAnchor());
  ASSERT_TRUE(card->currentTimecode());
  EXPECT_EQ(world.logCount("ReaderInstance[Clock]: LTC output stopped at " + card->currentTimecode()->text()), 1U);
  EXPECT_TRUE(wall.reservations->owners().empty());
  const auto frames = decode();
  ASSERT_FALSE(frames.empty());
  EXPECT_THAT(frames.back().timecode.signedFrameDistance(*card->currentTimecode()), Optional(testing::AnyOf(0, 1)))
      << "a decoder sees a frame only when the next one begins";
  EXPECT_TRUE(isSilentNow());
  EXPECT_TRUE(wall.hub->sessions().empty());
}

TEST_F(ReaderInstanceOutputTest, ASecondStopWhileOneIsPendingChangesNothing) {
  const auto card = makeCard(generatorOnDesk());
  card->toggleGenerator();
  world.runFor(2s);
  card->toggleGenerator();
  card->toggleGenerator();
  EXPECT_TRUE(card->isGeneratorRunning());
  world.runFor(1s);
  EXPECT_FALSE(card->isGeneratorRunning());
  EXPECT_EQ(world.logCount("LTC output stopped at"), 1U);
  EXPECT_FALSE(world.hasLogged("stale"));
}

TEST_F(ReaderInstanceOutputTest, TheNewsOfAnEarlierStopLeavesTheNewOutputAlone) {
  const auto card = makeCard(generatorOnDesk());
  card->toggleGenerator();
  world.runFor(2s);
  card->toggleGenerator();
  // The last frame has been sent, and the news of it is on its way to the main thread.
  ASSERT_TRUE(world.runUntil([&] { return world.hasLogged("boundary stop after final transmitted frame"); }, 1s));
  ASSERT_TRUE(card->isGeneratorRunning());
  card->startMonitoring();
  card->toggleGenerator();
  ASSERT_TRUE(card->isGeneratorRunning());
  listen();
  world.runFor(2s);
  EXPECT_EQ(world.logCount("ReaderInstance[Clock]: ignored stale stop completion for generation 2"), 1U);
  EXPECT_FALSE(world.hasLogged("LTC output stopped at"));
  EXPECT_TRUE(card->isGeneratorRunning());
  EXPECT_EQ(wall.reservations->owners().size(), 1U);
  EXPECT_GT(decode().size(), 40U) << "it is still heard";
}

TEST_F(ReaderInstanceOutputTest, ARestartBeforeTheBoundaryNeverHearsOfTheOldStop) {
  const auto card = makeCard(generatorOnDesk());
  card->toggleGenerator();
  world.runFor(2s);
  card->toggleGenerator();
  card->startMonitoring();
  card->toggleGenerator();
  world.runFor(2s);
  EXPECT_TRUE(card->isGeneratorRunning());
  EXPECT_FALSE(world.hasLogged("LTC output stopped at"));
}

TEST_F(ReaderInstanceOutputTest, EachMissingOutputIsTold) {
  auto settings = generatorOnDesk();
  settings.selectedOutputDeviceID.reset();
  settings.selectedOutputDeviceName.reset();
  const auto none = makeCard(settings);
  none->toggleGenerator();
  expectNoOutput(*none, "No LTC output device selected");

  const auto gone = makeCard(generatorOnDesk());
  world.audio().unplug(desk);
  wall.registry->refresh("test");
  gone->toggleGenerator();
  expectNoOutput(*gone, "No LTC output device selected");
  EXPECT_THAT(gone->settings().selectedOutputDeviceName, Optional(std::string("Desk"))) << "remembered";
}

TEST_F(ReaderInstanceOutputTest, ATakenChannelIsTold) {
  const auto first = makeCard(generatorOnDesk());
  const auto second = makeCard(generatorOnDesk());
  first->toggleGenerator();
  second->toggleGenerator();
  expectNoOutput(*second, "Desk channel 1 is already in use");
  EXPECT_TRUE(first->isGeneratorRunning());
  first->stopMonitoring();
  second->toggleGenerator();
  EXPECT_TRUE(second->isGeneratorRunning());
  EXPECT_FALSE(second->sourceAvailabilityWarning());
}

TEST_F(ReaderInstanceOutputTest, AFailedStartIsToldAndGivesTheChannelBack) {
  desk.failures().nominalRate = -5;
  const auto card = makeCard(generatorOnDesk());
  card->toggleGenerator();
  expectNoOutput(*card, "CoreAudio output error -5");
  desk.failures().nominalRate = kPlatformOk;
  card->toggleGenerator();
  EXPECT_TRUE(card->isGeneratorRunning());
  EXPECT_FALSE(card->sourceAvailabilityWarning());
}

TEST_F(ReaderInstanceOutputTest, AChannelBeyondTheDeviceIsItsLastAndIsKept) {
  auto settings = generatorOnDesk();
  settings.selectedOutputChannel = 7;
  const auto card = makeCard(settings);
  card->toggleGenerator();
  EXPECT_TRUE(card->isGeneratorRunning());
  EXPECT_EQ(card->settings().selectedOutputChannel, 1);
  EXPECT_TRUE(wall.reservations->owners().contains(AudioOutputReservation{desk.id(), 1}));
}

TEST_F(ReaderInstanceOutputTest, ADeviceUnderANewNumberIsFoundByItsName) {
  auto settings = generatorOnDesk();
  settings.selectedOutputDeviceID = 9999;
  const auto card = makeCard(settings);
  card->toggleGenerator();
  EXPECT_TRUE(card->isGeneratorRunning());
  EXPECT_THAT(card->settings().selectedOutputDeviceID, Optional(desk.id()));
}

TEST_F(ReaderInstanceOutputTest, AGeneratorWithoutAProtocolDoesNotStart) {
  auto settings = generatorOnDesk();
  settings.outputProtocol = OutputProtocol::disabled;
  const auto card = makeCard(settings);
  card->startMonitoring();
  card->toggleGenerator();
  EXPECT_FALSE(card->isGeneratorRunning());
  EXPECT_FALSE(card->isReceiving());
  EXPECT_FALSE(card->liveAnchor());
  EXPECT_FALSE(card->sourceAvailabilityWarning());
  EXPECT_THAT(card->currentTimecode(), Optional(at25(1, 0, 0, 0)));
}

TEST_F(ReaderInstanceOutputTest, AReaderHasNoStartOfItsOwn) {
  const auto card = makeCard(throughDesk());
  card->toggleGenerator();
  EXPECT_FALSE(card->isGeneratorRunning());
  EXPECT_FALSE(world.hasLogged("started LTC output"));
}

TEST_F(ReaderInstanceOutputTest, ARunningGeneratorKeepsItsDisplayWhenSettingsAreApplied) {
  const auto card = makeCard(generatorOnDesk());
  card->toggleGenerator();
  world.runFor(2s);
  const auto shown = card->currentTimecode();
  card->prepareGeneratorDisplay();
  EXPECT_EQ(card->currentTimecode(), shown);
  EXPECT_TRUE(card->isReceiving());
}

TEST_F(ReaderInstanceOutputTest, AReaderEmitsWhatItReceivesAtTheSameRate) {
  listen();
  const auto card = makeCard(throughDesk());
  card->startMonitoring();
  world.runFor(3s);
  EXPECT_EQ(world.logCount("started LTC output"), 1U) << "later frames do not restart it";
  const auto frames = decode();
  ASSERT_GT(frames.size(), 50U);
  EXPECT_EQ(frames.front().timecode.frameRate, MTCFrameRate::fps25);
  EXPECT_FALSE(card->isGeneratorRunning());
  EXPECT_EQ(card->liveAnchor()->timecode, card->currentTimecode()) << "the display stays with the input";
}

TEST_F(ReaderInstanceOutputTest, AReaderConvertsToTheRateChosen) {
  auto settings = throughDesk();
  settings.outputFrameRate = OutputFrameRate::fps30;
  listen();
  const auto card = makeCard(settings);
  card->startMonitoring();
  ASSERT_TRUE(world.runUntil([&] { return world.hasLogged("started LTC output"); }, 1s));
  const HostTime now = world.clock().now();
  const Timecode target = card->liveAnchor()->extrapolated(now, world.clock()).converted(MTCFrameRate::fps30);
  EXPECT_TRUE(world.hasLogged("started LTC output generation 3 at " + target.text()));
  world.runFor(3s);
  const auto frames = decode();
  ASSERT_GT(frames.size(), 60U);
  EXPECT_EQ(frames.front().timecode, target);
}

TEST_F(ReaderInstanceOutputTest, LossOfTheInputStopsTheOutputAfterItsFrame) {
  listen();
  const auto card = makeCard(throughDesk());
  card->startMonitoring();
  world.runFor(3s);
  gain = 0;
  ASSERT_TRUE(world.runUntil([&] { return !card->isReceiving(); }, 1s));
  EXPECT_TRUE(world.hasLogged("; stopping LTC output"));
  EXPECT_FALSE(wall.reservations->owners().empty());
  ASSERT_TRUE(world.runUntil([&] { return world.hasLogged("LTC output stopped at"); }, 1s));
  EXPECT_TRUE(wall.reservations->owners().empty());
  EXPECT_EQ(world.logCount("LTC output stopped at " + card->currentTimecode()->text()), 1U)
      << "the display holds the last frame sent";
  EXPECT_TRUE(isSilentNow());
  gain = 1;
  world.runFor(2s);
  EXPECT_EQ(world.logCount("started LTC output"), 2U) << "and it begins again with the input";
}

TEST_F(ReaderInstanceOutputTest, AReaderTriesAgainWithEachFrame) {
  const auto owner = makeCard(generatorOnDesk());
  owner->toggleGenerator();
  const auto card = makeCard(throughDesk());
  card->startMonitoring();
  world.runFor(2s);
  EXPECT_THAT(card->sourceAvailabilityWarning(), Optional(std::string("Desk channel 1 is already in use")));
  EXPECT_TRUE(card->isReceiving());
  owner->stopMonitoring();
  world.runFor(100ms);
  EXPECT_FALSE(card->sourceAvailabilityWarning());
  EXPECT_EQ(wall.reservations->owners().begin()->second, card->settings().id);
}

TEST_F(ReaderInstanceOutputTest, StopOfMonitoringEndsTheOutputAtOnce) {
  listen();
  const auto card = makeCard(throughDesk());
  card->startMonitoring();
  world.runFor(3s);
  card->stopMonitoring();
  EXPECT_TRUE(wall.reservations->owners().empty());
  EXPECT_TRUE(isSilentNow());
  EXPECT_TRUE(wall.hub->sessions().empty());
}

TEST_F(ReaderInstanceOutputTest, ACardThatIsGoneLeavesSilenceAndNoNews) {
  listen();
  auto card = makeCard(generatorOnDesk());
  card->toggleGenerator();
  world.runFor(2s);
  card->toggleGenerator();
  card.reset();
  EXPECT_TRUE(isSilentNow());
  EXPECT_FALSE(world.hasLogged("LTC output stopped at"));
}

}  // namespace
}  // namespace tallyrig
