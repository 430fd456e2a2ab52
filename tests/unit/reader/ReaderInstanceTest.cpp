#include "reader/ReaderInstance.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <memory>

#include "unit/reader/ReaderInstanceFixture.h"

namespace tallyrig {
namespace {

using namespace std::chrono_literals;
using testing::Optional;

using ReaderInstanceTest = ReaderInstanceFixture;

TEST_F(ReaderInstanceTest, ShowsTheTruthBetweenFrames) {
  const auto card = makeCard(onDesk());
  card->startMonitoring();
  world.runFor(500ms);
  int compared = 0;
  for (int tick = 0; tick < 400; ++tick) {
    world.runFor(16ms);
    const auto shown = card->displayedTimecode(world.clock().now());
    ASSERT_TRUE(shown);
    // The sample that is at the connector now; near a boundary of frames either neighbour is right.
    const auto position =
        static_cast<std::int64_t>(std::llround(world.clock().seconds(world.clock().now() - desk.timeOf(0)) * kRate));
    const Timecode early = signal->frameAt(position - 2);
    const Timecode late = signal->frameAt(position + 2);
    EXPECT_TRUE(*shown == early || *shown == late) << shown->text() << " is not " << late.text();
    compared += early == late ? 1 : 0;
  }
  EXPECT_GT(compared, 350);
  EXPECT_TRUE(card->isReceiving());
  EXPECT_NEAR(card->peakLevel(), 0.5F, 0.01F);
}

TEST_F(ReaderInstanceTest, AStaleNumberWithARightNameIsFoundAndRewritten) {
  auto settings = onDesk();
  settings.selectedDeviceID = 9999;
  const auto card = makeCard(settings);
  card->startMonitoring();
  EXPECT_THAT(card->settings().selectedDeviceID, Optional(desk.id()));
  EXPECT_FALSE(card->sourceAvailabilityWarning());
  world.runFor(500ms);
  EXPECT_TRUE(card->isReceiving());
}

TEST_F(ReaderInstanceTest, ARightNumberRewritesTheName) {
  auto settings = onDesk();
  settings.selectedDeviceName = "Old name";
  const auto card = makeCard(settings);
  card->startMonitoring();
  EXPECT_THAT(card->settings().selectedDeviceName, Optional(std::string("Desk")));
}

TEST_F(ReaderInstanceTest, AMissingDeviceIsNamedInTheWarning) {
  auto settings = onDesk();
  settings.selectedDeviceID = 9999;
  settings.selectedDeviceName = "Truck";
  const auto card = makeCard(settings);
  card->startMonitoring();
  EXPECT_THAT(card->sourceAvailabilityWarning(), Optional(std::string("Audio device unavailable: Truck")));
  EXPECT_THAT(card->settings().selectedDeviceID, Optional(9999U));
  EXPECT_THAT(card->settings().selectedDeviceName, Optional(std::string("Truck")));
}

TEST_F(ReaderInstanceTest, AMissingDeviceWithoutANameIsTheSavedDevice) {
  auto settings = onDesk();
  settings.selectedDeviceID = 9999;
  settings.selectedDeviceName.reset();
  const auto card = makeCard(settings);
  card->startMonitoring();
  EXPECT_THAT(card->sourceAvailabilityWarning(), Optional(std::string("Audio device unavailable: saved device")));
}

TEST_F(ReaderInstanceTest, AStaleNameWithoutANumberIsNoFault) {
  auto settings = onDesk();
  settings.selectedDeviceID.reset();
  settings.selectedDeviceName = "Truck";
  const auto card = makeCard(settings);
  card->startMonitoring();
  EXPECT_FALSE(card->sourceAvailabilityWarning());
  EXPECT_EQ(world.logCount("ReaderInstance: no device selected, not requesting audio permission"), 1U);
}

TEST_F(ReaderInstanceTest, ANameWithoutANumberFindsItsDevice) {
  auto settings = onDesk();
  settings.selectedDeviceID.reset();
  const auto card = makeCard(settings);
  card->startMonitoring();
  EXPECT_THAT(card->settings().selectedDeviceID, Optional(desk.id()));
}

TEST_F(ReaderInstanceTest, AMissingMIDISourceIsNamedInTheWarning) {
  ReaderSnapshot settings;
  settings.sourceType = SourceType::mtc;
  settings.selectedMIDISourceName = "Port 1";
  const auto card = makeCard(settings);
  card->startMonitoring();
  EXPECT_THAT(card->sourceAvailabilityWarning(), Optional(std::string("MIDI source unavailable: Port 1")));
  EXPECT_THAT(card->settings().selectedMIDISourceName, Optional(std::string("Port 1")));
}

TEST_F(ReaderInstanceTest, NoMIDISourceChosenIsNoFault) {
  ReaderSnapshot settings;
  settings.sourceType = SourceType::mtc;
  const auto card = makeCard(settings);
  card->startMonitoring();
  EXPECT_FALSE(card->sourceAvailabilityWarning());
}

TEST_F(ReaderInstanceTest, LossBeforeAnyCodeChangesNothing) {
  gain = 0;
  const auto card = makeCard(onDesk());
  card->startMonitoring();
  world.runFor(1s);
  world.clearLog();
  card->stopMonitoring();
  world.runFor(1s);
  EXPECT_FALSE(card->currentTimecode());
  EXPECT_FALSE(world.hasLogged("input loss"));
}

TEST_F(ReaderInstanceTest, LossFreezesTheLastConfirmedFrameAndSaysSo) {
  const auto card = makeCard(onDesk());
  card->startMonitoring();
  world.runFor(2s);
  ASSERT_TRUE(card->liveAnchor());
  gain = 0;
  ASSERT_TRUE(world.runUntil([&] { return !card->isReceiving(); }, 1s));
  EXPECT_FALSE(card->liveAnchor());
  ASSERT_TRUE(card->currentTimecode());
  const std::string held = card->currentTimecode()->text();
  EXPECT_EQ(world.logCount("] ReaderInstance[Stage]: input loss detected at confirmed " + held + ", displayed " + held +
                           "; stopping Disabled output"),
            1U);
  const auto shown = card->displayedTimecode(world.clock().now());
  world.runFor(10s);
  EXPECT_EQ(card->displayedTimecode(world.clock().now()), shown) << "frozen at the confirmed frame";
}

TEST_F(ReaderInstanceTest, AnOffsetMovesTheDisplayAtOnce) {
  const auto card = makeCard(onDesk());
  card->startMonitoring();
  world.runFor(1s);
  const auto before = card->currentTimecode();
  ASSERT_TRUE(before);
  card->setLtcFrameOffset(-5);
  EXPECT_EQ(card->currentTimecode(), before->advanced(-5));
  card->setLtcFrameOffset(7);
  EXPECT_EQ(card->currentTimecode(), before->advanced(7));
}

TEST_F(ReaderInstanceTest, AnOffsetWithoutCodeIsOnlyStored) {
  const auto card = makeCard(onDesk());
  card->setLtcFrameOffset(3);
  EXPECT_EQ(card->settings().ltcFrameOffset, 3);
  EXPECT_FALSE(card->currentTimecode());
}

TEST_F(ReaderInstanceTest, AnOffsetOfMinusOneGoesBackOverMidnight) {
  // The frame 23:59:59:24 shows 00:00:00:00 at its end, and with the offset the day's last frame.
  signal = std::make_unique<LTCSignal>(MTCFrameRate::fps25, at25(23, 59, 59, 0), kRate);
  auto settings = onDesk();
  settings.ltcFrameOffset = -1;
  const auto card = makeCard(settings);
  card->startMonitoring();
  bool seen = false;
  QObject::connect(card.get(), &ReaderInstance::timecodeChanged,
                   [&] { seen = seen || card->currentTimecode() == at25(23, 59, 59, 24); });
  world.runFor(1100ms);
  EXPECT_TRUE(seen);
  EXPECT_EQ(card->currentTimecode()->hours, 0);
}

TEST_F(ReaderInstanceTest, StopKeepsTheTimecodeAndShowsIt) {
  const auto card = makeCard(onDesk());
  card->startMonitoring();
  world.runFor(1s);
  const auto last = card->currentTimecode();
  card->stopMonitoring();
  EXPECT_EQ(card->currentTimecode(), last);
  EXPECT_EQ(card->displayedTimecode(world.clock().now() + HostDuration{5'000'000'000}), last);
  EXPECT_FALSE(card->isReceiving());
  EXPECT_FALSE(card->liveAnchor());
  EXPECT_EQ(card->peakLevel(), 0.0F);
  EXPECT_TRUE(wall.hub->sessions().empty());
  card->stopMonitoring();
  EXPECT_EQ(card->currentTimecode(), last);
}

TEST_F(ReaderInstanceTest, ARestartReadsTheNewChannel) {
  const auto card = makeCard(onDesk());
  card->startMonitoring();
  world.runFor(500ms);
  card->set(&ReaderSnapshot::selectedChannel, 0);
  card->startMonitoring();
  world.runFor(500ms);
  EXPECT_FALSE(card->isReceiving());
  EXPECT_EQ(world.logCount("logical channel 1,"), 1U);
}

TEST_F(ReaderInstanceTest, AStartThatWasOvertakenByAStopDoesNothing) {
  const auto card = makeCard(onDesk());
  card->startMonitoring();
  card->stopMonitoring();
  world.runFor(500ms);
  EXPECT_TRUE(wall.hub->sessions().empty());
}

TEST_F(ReaderInstanceTest, ACardThatIsGoneIsNotStarted) {
  auto card = makeCard(onDesk());
  card->startMonitoring();
  card.reset();
  world.runFor(500ms);
  EXPECT_TRUE(wall.hub->sessions().empty());
}

TEST_F(ReaderInstanceTest, AnIdleGeneratorShowsItsStart) {
  ReaderSnapshot settings;
  settings.cardRole = CardRole::generator;
  settings.generatorFrameRate = MTCFrameRate::fps25;
  settings.generatorStartFrames = 29;
  const auto card = makeCard(settings);
  card->startMonitoring();
  EXPECT_THAT(card->currentTimecode(), Optional(at25(1, 0, 0, 24)));
  EXPECT_FALSE(card->liveAnchor());
  EXPECT_FALSE(card->isReceiving());
}

TEST_F(ReaderInstanceTest, AGeneratorOnTheTimeOfDayShowsThatMoment) {
  using namespace std::chrono;
  world.wallClock().set(sys_days{2026y / 3 / 14} + 12h + 999ms);
  world.wallClock().setUtcOffset(2h);
  ReaderSnapshot settings;
  settings.cardRole = CardRole::generator;
  settings.generatorFrameRate = MTCFrameRate::fps24;
  settings.generatorStartMode = GeneratorStartMode::utc;
  const auto card = makeCard(settings);
  card->prepareGeneratorDisplay();
  EXPECT_THAT(card->currentTimecode(), Optional(Timecode{12, 0, 0, 23, MTCFrameRate::fps24}));
  card->set(&ReaderSnapshot::generatorStartMode, GeneratorStartMode::localTime);
  card->prepareGeneratorDisplay();
  EXPECT_THAT(card->currentTimecode(), Optional(Timecode{14, 0, 0, 23, MTCFrameRate::fps24}));
  card->set(&ReaderSnapshot::generatorFrameRate, MTCFrameRate::fps2997);
  card->prepareGeneratorDisplay();
  EXPECT_THAT(card->currentTimecode(), Optional(Timecode{14, 0, 0, 29, MTCFrameRate::fps2997}));
}

TEST_F(ReaderInstanceTest, PreparingTheDisplayLeavesAReaderAlone) {
  const auto card = makeCard(onDesk());
  card->startMonitoring();
  world.runFor(500ms);
  const auto shown = card->currentTimecode();
  card->prepareGeneratorDisplay();
  EXPECT_EQ(card->currentTimecode(), shown);
  EXPECT_TRUE(card->isReceiving());
}

TEST_F(ReaderInstanceTest, SelectingADeviceStoresItsNameAndClearsTheWarning) {
  auto settings = onDesk();
  settings.selectedDeviceID = 9999;
  settings.selectedDeviceName = "Truck";
  const auto card = makeCard(settings);
  card->startMonitoring();
  ASSERT_TRUE(card->sourceAvailabilityWarning());
  card->selectInputDevice(desk.id(), wall.registry->audioInputs());
  EXPECT_THAT(card->settings().selectedDeviceName, Optional(std::string("Desk")));
  EXPECT_FALSE(card->sourceAvailabilityWarning());
  EXPECT_TRUE(wall.hub->sessions().empty()) << "a selection restarts nothing";
  card->selectInputDevice(std::nullopt, wall.registry->audioInputs());
  EXPECT_FALSE(card->settings().selectedDeviceID);
  EXPECT_FALSE(card->settings().selectedDeviceName);
  card->selectOutputDevice(desk.id(), wall.registry->audioOutputs());
  EXPECT_THAT(card->settings().selectedOutputDeviceName, Optional(std::string("Desk")));
  card->selectMIDISource(7, {{7, "Port"}});
  EXPECT_THAT(card->settings().selectedMIDISourceName, Optional(std::string("Port")));
  EXPECT_THAT(card->selectedMIDIEndpoint(), Optional(7U));
}

TEST_F(ReaderInstanceTest, EachChangeNotifiesOnceAndNoChangeNotAtAll) {
  const auto card = makeCard(onDesk());
  int changes = 0;
  QObject::connect(card.get(), &ReaderInstance::changed, [&] { ++changes; });
  card->set(&ReaderSnapshot::label, "Pit");
  EXPECT_EQ(changes, 1);
  card->set(&ReaderSnapshot::label, "Pit");
  EXPECT_EQ(changes, 1);
}

}  // namespace
}  // namespace tallyrig
