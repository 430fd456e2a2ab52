#include "reader/OutputSettings.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "reader/ReaderSettingsForm.h"
#include "support/Wall.h"

namespace tallyrig {
namespace {

using namespace std::chrono_literals;
using testing::Eq;
using testing::Optional;

const char* const kFile = "/home/user/.local/share/Tallyrig/readers.json";

/// The settings of the first of two cards, beside two output devices.
class OutputSettingsTest : public testing::Test {
 protected:
  /// `cards` with "DESK" in place of the desk's number.
  void open(std::string cards) {
    const std::string place = "DESK";
    for (auto at = cards.find(place); at != std::string::npos; at = cards.find(place))
      cards.replace(at, place.size(), std::to_string(desk.id()));
    world.files().put(kFile, cards);
    wall.open();
    wall.store->startSavedReaders();
    world.runFor(100ms);
    world.clearLog();
    form.emplace(wall.store->readers().front(), *wall.store, wall.services());
  }

  OutputSettings& output() { return *form->output(); }
  ReaderInstance& card() { return wall.card(0); }
  const ReaderSnapshot& stored() { return card().settings(); }
  bool hasRestarted() const { return world.hasLogged("]: restarting monitoring after transport change"); }
  int deviceCalled(const QString& name) { return static_cast<int>(output().availableDevices().indexOf(name)); }

  Wall wall;
  SimulatedWorld& world = wall.world;
  SimulatedDevice& desk = world.audio().addDevice({.name = "Desk", .inputGroups = {8}, .outputGroups = {8}});
  SimulatedDevice& truck = world.audio().addDevice({.name = "Truck", .outputGroups = {2}});
  std::optional<ReaderSettingsForm> form;
};

TEST_F(OutputSettingsTest, OpensWithTheCardsSettings) {
  open(R"([{"outputProtocol":"LTC","outputFrameRate":"29.97 DF","generatorFrameRate":1,"selectedOutputDeviceID":DESK,
            "selectedOutputDeviceName":"Desk","selectedOutputChannel":6,"outputLevelDBFS":-18}])");
  EXPECT_EQ(output().outputProtocol(), "LTC");
  EXPECT_EQ(output().readerRates(), (QStringList{"Follow Input", "24", "25", "29.97 DF", "30"}));
  EXPECT_EQ(output().readerRateIndex(), 3);
  EXPECT_EQ(output().generatorRates(), (QStringList{"24 fps", "25 fps", "29.97 DF", "30 fps"}));
  EXPECT_EQ(output().generatorRateIndex(), 1);
  EXPECT_EQ(output().availableDevices(), (QStringList{"Desk", "Truck"}));
  EXPECT_EQ(output().deviceIndex(), 0);
  EXPECT_EQ(output().channelCount(), 8);
  EXPECT_EQ(output().selectedChannel(), 6);
  EXPECT_EQ(output().level(), -18);
  EXPECT_EQ(output().destinationIndex(), -1);
}

TEST_F(OutputSettingsTest, ANewCardEmitsNothingAtMinusSix) {
  open("[{}]");
  EXPECT_EQ(output().outputProtocol(), "Disabled");
  EXPECT_EQ(output().readerRateIndex(), 0);
  EXPECT_EQ(output().generatorRateIndex(), 3);
  EXPECT_EQ(output().deviceIndex(), -1);
  EXPECT_EQ(output().channelCount(), 0);
  EXPECT_EQ(output().level(), -6);
}

TEST_F(OutputSettingsTest, LTCOutputReachesTheCardOnApply) {
  open("[{}]");
  output().setOutputProtocol("LTC");
  output().setReaderRateIndex(2);
  output().setDeviceIndex(deviceCalled("Desk"));
  output().setSelectedChannel(3);
  output().setLevel(-12);
  EXPECT_EQ(stored().outputProtocol, OutputProtocol::disabled);
  ASSERT_TRUE(form->apply());
  EXPECT_TRUE(hasRestarted());
  EXPECT_EQ(stored().outputProtocol, OutputProtocol::ltc);
  EXPECT_EQ(stored().outputFrameRate, OutputFrameRate::fps25);
  EXPECT_THAT(stored().selectedOutputDeviceID, Optional(desk.id()));
  EXPECT_THAT(stored().selectedOutputDeviceName, Optional(std::string("Desk")));
  EXPECT_EQ(stored().selectedOutputChannel, 3);
  EXPECT_EQ(stored().outputLevelDBFS, -12);
  EXPECT_THAT(*world.files().contents(kFile), testing::HasSubstr(R"("outputProtocol":"LTC")"));
}

TEST_F(OutputSettingsTest, DeviceChannelAndLevelAreNotWrittenWhileLTCIsNotTheOutput) {
  open(R"([{"selectedOutputDeviceID":DESK,"selectedOutputDeviceName":"Desk","selectedOutputChannel":5}])");
  output().setDeviceIndex(deviceCalled("Truck"));
  output().setLevel(-20);
  output().setReaderRateIndex(1);
  ASSERT_TRUE(form->apply());
  EXPECT_FALSE(hasRestarted());
  EXPECT_THAT(stored().selectedOutputDeviceName, Optional(std::string("Desk")));
  EXPECT_EQ(stored().selectedOutputChannel, 5);
  EXPECT_EQ(stored().outputLevelDBFS, -6);
  EXPECT_EQ(stored().outputFrameRate, OutputFrameRate::fps24) << "the rate is written whatever the output";
}

TEST_F(OutputSettingsTest, ASmallerDeviceBeginsAtItsFirstChannel) {
  open(R"([{"outputProtocol":"LTC","selectedOutputDeviceID":DESK,"selectedOutputDeviceName":"Desk",
            "selectedOutputChannel":6}])");
  output().setDeviceIndex(deviceCalled("Truck"));
  EXPECT_EQ(output().selectedChannel(), 0);
  EXPECT_EQ(output().channelCount(), 2);
}

TEST_F(OutputSettingsTest, ADeviceUnderANewNumberIsFoundByNameAndApplyingRestarts) {
  open(R"([{"outputProtocol":"LTC","selectedOutputDeviceID":77,"selectedOutputDeviceName":"Truck"}])");
  EXPECT_EQ(output().deviceIndex(), deviceCalled("Truck"));
  ASSERT_TRUE(form->apply());
  EXPECT_TRUE(hasRestarted());
  EXPECT_THAT(stored().selectedOutputDeviceID, Optional(truck.id()));
}

TEST_F(OutputSettingsTest, ADeviceThatIsAwayIsNotForgotten) {
  open(R"([{"outputProtocol":"LTC","selectedOutputDeviceID":77,"selectedOutputDeviceName":"Van",
            "selectedOutputChannel":4}])");
  EXPECT_EQ(output().deviceIndex(), deviceCalled("Van"));
  EXPECT_EQ(output().channelCount(), 5);
  ASSERT_TRUE(form->apply());
  EXPECT_FALSE(hasRestarted());
  EXPECT_THAT(stored().selectedOutputDeviceID, Optional(77U));
  EXPECT_THAT(stored().selectedOutputDeviceName, Optional(std::string("Van")));
}

TEST_F(OutputSettingsTest, NoDeviceIsWrittenAsNone) {
  open(R"([{"outputProtocol":"LTC","selectedOutputDeviceID":DESK,"selectedOutputDeviceName":"Desk"}])");
  output().setDeviceIndex(-1);
  ASSERT_TRUE(form->apply());
  EXPECT_TRUE(hasRestarted());
  EXPECT_THAT(stored().selectedOutputDeviceID, Eq(std::nullopt));
  EXPECT_THAT(stored().selectedOutputDeviceName, Eq(std::nullopt));
}

TEST_F(OutputSettingsTest, RefreshKeepsAnEditedChoice) {
  open("[{}]");
  output().setDeviceIndex(deviceCalled("Truck"));
  output().setSelectedChannel(1);
  world.audio().addDevice({.name = "Alpha", .outputGroups = {2}}, 0);
  form->refreshDevices();
  EXPECT_EQ(output().availableDevices().front(), "Alpha");
  EXPECT_EQ(output().deviceIndex(), deviceCalled("Truck"));
  world.audio().unplug(truck);
  form->refreshDevices();
  EXPECT_EQ(output().availableDevices().at(output().deviceIndex()), "Truck");
  EXPECT_EQ(output().selectedChannel(), 1);
}

TEST_F(OutputSettingsTest, LevelsStayOnTheScale) {
  open(R"([{"outputProtocol":"LTC","outputLevelDBFS":-42.5}])");
  EXPECT_EQ(output().level(), -30);
  ASSERT_TRUE(form->apply());
  EXPECT_EQ(stored().outputLevelDBFS, -42.5) << "a level that nobody touches stays";
  output().setLevel(7);
  EXPECT_EQ(output().level(), 0);
  output().setLevel(-99);
  EXPECT_EQ(output().level(), -30);
}

TEST_F(OutputSettingsTest, StrangeChoicesChangeNothing) {
  open("[{}]");
  output().setOutputProtocol("SMPTE");
  output().setReaderRateIndex(5);
  output().setReaderRateIndex(-1);
  output().setGeneratorRateIndex(4);
  output().setGeneratorRateIndex(-1);
  EXPECT_EQ(output().outputProtocol(), "Disabled");
  EXPECT_EQ(output().readerRateIndex(), 0);
  EXPECT_EQ(output().generatorRateIndex(), 3);
}

TEST_F(OutputSettingsTest, AnotherCardsChannelIsRefusedAndNothingIsWritten) {
  open(R"([{"label":"Stage"},{"label":"Pit","outputProtocol":"LTC","selectedOutputDeviceID":DESK,
            "selectedOutputDeviceName":"Desk","selectedOutputChannel":2}])");
  const ReaderSnapshot before = stored();
  form->setLabel("Renamed");
  output().setOutputProtocol("LTC");
  output().setDeviceIndex(deviceCalled("Desk"));
  output().setSelectedChannel(2);
  EXPECT_EQ(form->outputAssignmentWarning(), "");
  EXPECT_FALSE(form->apply());
  EXPECT_EQ(form->outputAssignmentWarning(), "This output channel is already in use by:\nPit");
  EXPECT_EQ(stored(), before);
  EXPECT_FALSE(hasRestarted());

  output().setSelectedChannel(3);
  EXPECT_TRUE(form->apply());
  EXPECT_EQ(form->outputAssignmentWarning(), "");
  EXPECT_EQ(stored().label, "Renamed");
  EXPECT_EQ(stored().selectedOutputChannel, 3);
}

TEST_F(OutputSettingsTest, ACardMayKeepItsOwnChannel) {
  open(R"([{"outputProtocol":"LTC","selectedOutputDeviceID":DESK,"selectedOutputDeviceName":"Desk"}])");
  form->setLabel("Renamed");
  EXPECT_TRUE(form->apply());
  EXPECT_FALSE(hasRestarted());
}

TEST_F(OutputSettingsTest, AnotherCardsDestinationIsRefused) {
  open(R"([{"label":"Stage","outputProtocol":"MTC","selectedMIDIDestinationName":"Gate"},
           {"label":"Truck","outputProtocol":"MTC","selectedMIDIDestinationName":"Gate"}])");
  EXPECT_FALSE(form->apply());
  EXPECT_EQ(form->outputAssignmentWarning(), "This MIDI destination is already in use by:\nTruck");
}

TEST_F(OutputSettingsTest, MTCWithoutADestinationKeepsTheStoredOne) {
  open(R"([{"outputProtocol":"MTC","selectedMIDIDestinationName":"Gate"}])");
  output().setDestinationIndex(-1);
  EXPECT_TRUE(form->apply());
  EXPECT_THAT(stored().selectedMIDIDestinationName, Optional(std::string("Gate")));
  EXPECT_FALSE(hasRestarted());
  output().setOutputProtocol("Disabled");
  EXPECT_TRUE(form->apply());
  EXPECT_THAT(stored().selectedMIDIDestinationName, Eq(std::nullopt)) << "only an MTC output asks for the stored one";
}

TEST_F(OutputSettingsTest, AGeneratorIsSetUpAndWaitsAtItsStart) {
  open("[{}]");
  form->setCardRole("Generator");
  output().setOutputProtocol("LTC");
  output().setGeneratorRateIndex(1);
  output().setDeviceIndex(deviceCalled("Truck"));
  form->generatorStart()->setText("25:99:99:99");
  ASSERT_TRUE(form->apply());
  EXPECT_TRUE(hasRestarted());
  EXPECT_EQ(stored().generatorFrameRate, MTCFrameRate::fps25);
  EXPECT_EQ(form->generatorStart()->text(), "23:59:59:24") << "the text is settled by applying";
  EXPECT_THAT(card().currentTimecode(), Optional(Timecode{23, 59, 59, 24, MTCFrameRate::fps25}));
}

TEST_F(OutputSettingsTest, AGeneratorsNewStartStopsItAndStandsOnTheTile) {
  open(R"([{"cardRole":"Generator","outputProtocol":"LTC","selectedOutputDeviceID":DESK,
            "selectedOutputDeviceName":"Desk"}])");
  card().toggleGenerator();
  world.runFor(500ms);
  ASSERT_TRUE(card().isGeneratorRunning());
  form->setLabel("Clock");
  ASSERT_TRUE(form->apply());
  EXPECT_TRUE(card().isGeneratorRunning()) << "a name does not interrupt";
  form->generatorStart()->setText("05:06:07:08");
  ASSERT_TRUE(form->apply());
  EXPECT_FALSE(card().isGeneratorRunning());
  EXPECT_THAT(card().currentTimecode(), Optional(Timecode{5, 6, 7, 8, MTCFrameRate::fps30}));
}

TEST_F(OutputSettingsTest, AReadersOffsetAndInputAreNotWrittenByAGenerator) {
  open(R"([{"cardRole":"Generator","selectedDeviceID":DESK,"selectedDeviceName":"Desk","ltcFrameOffset":2}])");
  form->changeOffset(5);
  form->setDeviceIndex(-1);
  ASSERT_TRUE(form->apply());
  EXPECT_EQ(stored().ltcFrameOffset, 2);
  EXPECT_THAT(stored().selectedDeviceName, Optional(std::string("Desk")));
}

TEST_F(OutputSettingsTest, AMIDISourceThatIsAwayIsNotForgotten) {
  open(R"([{"sourceType":"MTC","selectedMIDISourceName":"Bridge"}])");
  form->setLabel("Renamed");
  ASSERT_TRUE(form->apply());
  EXPECT_FALSE(hasRestarted());
  EXPECT_THAT(stored().selectedMIDISourceName, Optional(std::string("Bridge")));
}

TEST_F(OutputSettingsTest, ACardThatHasLeftTheWallIsLeftAlone) {
  open(R"([{"cardRole":"Generator","label":"Gone"},{"label":"Stays"}])");
  const auto gone = wall.store->readers().front();
  wall.store->removeReader(gone.get());
  const auto file = world.files().contents(kFile);
  form->setLabel("Back");
  form->setCardRole("Reader");
  EXPECT_TRUE(form->apply());
  EXPECT_EQ(gone->settings().label, "Gone");
  EXPECT_FALSE(hasRestarted());
  EXPECT_EQ(world.files().contents(kFile), file);
}

}  // namespace
}  // namespace tallyrig
