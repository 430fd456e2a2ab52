#include <gtest/gtest.h>

#include <string>

#include "ui/UiRig.h"

namespace tallyrig {
namespace {

using namespace std::chrono_literals;

/// The settings popover over two output devices.
class OutputSection : public testing::Test {
 protected:
  OutputSection() {
    desk = &rig.wall.world.audio().addDevice({.name = "Desk", .inputGroups = {2}, .outputGroups = {8}});
    truck = &rig.wall.world.audio().addDevice({.name = "Truck", .outputGroups = {2}});
    rig.open();
  }

  void openSettings(std::size_t card = 0) {
    rig.click(rig.find("settingsButton", rig.tile(card)));
    ASSERT_TRUE(rig.popoverIsOpen());
  }
  void chooseOutput(const QString& protocol) { rig.click(rig.find("segment" + protocol, rig.find("outputProtocol"))); }
  QString shown(const QString& menu) { return rig.find(menu)->property("displayText").toString(); }
  QStringList entries(const QString& menu) {
    QStringList texts;
    for (const QVariant& text : rig.find(menu)->property("model").toList()) texts.append(text.toString());
    return texts;
  }
  void give(std::size_t card, std::int64_t channel) {
    rig.card(card).set(&ReaderSnapshot::outputProtocol, OutputProtocol::ltc);
    rig.card(card).selectOutputDevice(desk->id(), rig.wall.registry->audioOutputs());
    rig.card(card).set(&ReaderSnapshot::selectedOutputChannel, channel);
  }

  UiRig rig;
  SimulatedDevice* desk;
  SimulatedDevice* truck;
};

TEST_F(OutputSection, IsThereForBothRoles) {
  openSettings();
  for (const char* role : {"segmentReader", "segmentGenerator"}) {
    rig.click(rig.find(role));
    QQuickItem* protocols = rig.find("outputProtocol");
    ASSERT_NE(protocols, nullptr) << role;
    for (const char* protocol : {"Disabled", "LTC", "MTC"})
      EXPECT_NE(rig.find(QString("segment") + protocol, protocols), nullptr) << protocol;
    EXPECT_EQ(rig.find("outputRate"), nullptr) << "a disabled output has nothing to set";
    EXPECT_EQ(rig.find("outputDevice"), nullptr);
    EXPECT_EQ(rig.find("level"), nullptr);
    EXPECT_EQ(rig.find("noDestinations"), nullptr);
  }
}

TEST_F(OutputSection, OffersTheRatesOfTheRole) {
  openSettings();
  chooseOutput("LTC");
  EXPECT_EQ(entries("outputRate"), (QStringList{"Follow Input", "24", "25", "29.97 DF", "30"}));
  EXPECT_EQ(shown("outputRate"), "Follow Input");
  rig.choose("outputRate", "29.97 DF");
  EXPECT_EQ(shown("outputRate"), "29.97 DF");
  rig.click(rig.find("segmentGenerator"));
  EXPECT_EQ(entries("outputRate"), (QStringList{"24 fps", "25 fps", "29.97 DF", "30 fps"}));
  EXPECT_EQ(shown("outputRate"), "30 fps");
  rig.click(rig.find("segmentReader"));
  EXPECT_EQ(shown("outputRate"), "29.97 DF");
}

TEST_F(OutputSection, LTCOutputSetByMouseReachesTheCardOnApply) {
  openSettings();
  chooseOutput("LTC");
  EXPECT_EQ(shown("outputDevice"), "No device");
  EXPECT_FALSE(rig.find("outputChannel")->isEnabled());
  rig.choose("outputRate", "25");
  rig.choose("outputDevice", "Desk");
  rig.choose("outputChannel", "Channel 6");
  rig.click(rig.find("apply"));
  EXPECT_FALSE(rig.popoverIsOpen());
  const ReaderSnapshot& settings = rig.card(0).settings();
  EXPECT_EQ(settings.outputProtocol, OutputProtocol::ltc);
  EXPECT_EQ(settings.outputFrameRate, OutputFrameRate::fps25);
  EXPECT_EQ(settings.selectedOutputDeviceName, "Desk");
  EXPECT_EQ(settings.selectedOutputChannel, 5);
  EXPECT_EQ(rig.text("outputChip"), "→ LTC");
}

TEST_F(OutputSection, LevelMovesInWholeDecibels) {
  openSettings();
  chooseOutput("LTC");
  EXPECT_EQ(rig.text("levelText"), "-6 dBFS");
  QQuickItem* level = rig.find("level");
  rig.clickAt(level->mapToScene({level->width() - 1, level->height() / 2}).toPoint());
  EXPECT_EQ(rig.text("levelText"), "0 dBFS");
  EXPECT_EQ(rig.window->activeFocusItem(), level);
  for (int i = 0; i < 3; ++i) rig.press(Qt::Key_Left);
  EXPECT_EQ(rig.text("levelText"), "-3 dBFS");
  rig.clickAt(level->mapToScene({1, level->height() / 2}).toPoint());
  EXPECT_EQ(rig.text("levelText"), "-30 dBFS");
  rig.press(Qt::Key_Left);
  EXPECT_EQ(rig.text("levelText"), "-30 dBFS");
  rig.click(rig.find("apply"));
  EXPECT_EQ(rig.card(0).settings().outputLevelDBFS, -30);
}

TEST_F(OutputSection, MTCOutputOffersDestinationsInsteadOfDevices) {
  openSettings();
  chooseOutput("MTC");
  EXPECT_NE(rig.find("outputRate"), nullptr);
  EXPECT_EQ(rig.find("outputDevice"), nullptr);
  EXPECT_EQ(rig.find("outputChannel"), nullptr);
  EXPECT_EQ(rig.find("level"), nullptr);
  EXPECT_EQ(rig.text("noDestinations"), "No MIDI destinations found.");
}

TEST_F(OutputSection, ADestinationChosenByMouseReachesTheCardAndIsRefusedToTheNext) {
  rig.wall.world.midi().addDestination("Bridge");
  rig.wall.world.midi().addDestination("Gate");
  rig.click(rig.find("addReader"));
  openSettings();
  chooseOutput("MTC");
  EXPECT_EQ(rig.find("noDestinations"), nullptr);
  EXPECT_EQ(entries("destination"), (QStringList{"No destination", "Bridge", "Gate"}));
  EXPECT_EQ(shown("destination"), "No destination");
  rig.choose("destination", "Gate");
  rig.click(rig.find("apply"));
  EXPECT_EQ(rig.card(0).settings().selectedMIDIDestinationName, "Gate");
  EXPECT_EQ(rig.text("outputChip", rig.tile(0)), "→ MTC");

  openSettings(1);
  chooseOutput("MTC");
  rig.choose("destination", "Gate");
  rig.click(rig.find("apply"));
  EXPECT_EQ(rig.text("conflictText"), "This MIDI destination is already in use by:\nReader 1");
  rig.choose("destination", "Bridge");
  rig.click(rig.find("apply"));
  EXPECT_FALSE(rig.popoverIsOpen());
  EXPECT_EQ(rig.card(1).settings().selectedMIDIDestinationName, "Bridge");
}

TEST_F(OutputSection, EmptyDeviceListsSaySoInPlaceOfTheMenu) {
  rig.wall.world.audio().unplug(*desk);
  rig.wall.world.audio().unplug(*truck);
  openSettings();
  chooseOutput("LTC");
  EXPECT_EQ(rig.find("outputDevice"), nullptr);
  EXPECT_EQ(rig.text("noOutputDevices"), "No audio output devices found.");
  rig.wall.world.audio().plugIn(*desk);
  rig.click(rig.find("refresh"));
  EXPECT_EQ(rig.find("noOutputDevices"), nullptr);
  EXPECT_EQ(entries("outputDevice"), (QStringList{"No device", "Desk"}));
}

TEST_F(OutputSection, AListThatChangesKeepsWhatWasChosen) {
  openSettings();
  chooseOutput("LTC");
  rig.choose("outputDevice", "Truck");
  rig.choose("outputChannel", "Channel 2");
  rig.wall.world.audio().addDevice({.name = "Alpha", .outputGroups = {2}}, 0);
  rig.wall.world.audio().unplug(*truck);
  rig.click(rig.find("refresh"));
  EXPECT_EQ(shown("outputDevice"), "Truck");
  EXPECT_EQ(shown("outputChannel"), "Channel 2");
  rig.wall.registry->refresh("test");
  rig.runFor(20ms);
  EXPECT_EQ(entries("outputDevice"), (QStringList{"No device", "Alpha", "Desk", "Truck"}));
}

TEST_F(OutputSection, AConflictIsShownAndBlocksApplyUntilItIsMended) {
  rig.click(rig.find("addReader"));
  rig.card(0).set(&ReaderSnapshot::label, std::string("Stage"));
  give(0, 2);
  openSettings(1);
  chooseOutput("LTC");
  rig.choose("outputDevice", "Desk");
  rig.choose("outputChannel", "Channel 3");
  EXPECT_EQ(rig.find("conflict"), nullptr);
  const ReaderSnapshot before = rig.card(1).settings();
  rig.click(rig.find("apply"));
  ASSERT_TRUE(rig.popoverIsOpen());
  QQuickItem* banner = rig.find("conflict");
  ASSERT_NE(banner, nullptr);
  EXPECT_EQ(rig.text("conflictText"), "This output channel is already in use by:\nStage");
  EXPECT_EQ(rig.pixel(banner, {banner->width() - 4, banner->height() / 2}), QColor(255, 179, 0));
  EXPECT_EQ(rig.card(1).settings(), before);

  rig.choose("outputChannel", "Channel 4");
  rig.click(rig.find("apply"));
  EXPECT_FALSE(rig.popoverIsOpen());
  EXPECT_EQ(rig.card(1).settings().selectedOutputChannel, 3);
}

TEST_F(OutputSection, BannerAndApplyStayInSightInALowWindow) {
  rig.click(rig.find("addReader"));
  give(0, 0);
  give(1, 0);
  rig.window->resize(800, 400);
  openSettings(1);
  rig.click(rig.find("apply"));
  for (const char* name : {"conflict", "apply"}) {
    const QQuickItem* item = rig.find(name);
    ASSERT_NE(item, nullptr) << name;
    EXPECT_GE(item->mapToScene({0, 0}).y(), 0) << name;
    EXPECT_LE(item->mapToScene({0, item->height()}).y(), 400) << name;
  }
}

TEST_F(OutputSection, TheKeyboardReachesEveryControlAndBringsItIntoSight) {
  give(0, 0);
  rig.window->resize(800, 400);
  openSettings();
  const QQuickItem* scroller = rig.find("settingsScroller");
  QStringList visited;
  const QQuickItem* first = rig.window->activeFocusItem();
  for (const QQuickItem* item = first; visited.size() < 40; item = rig.window->activeFocusItem()) {
    ASSERT_NE(item, nullptr);
    if (item == first && !visited.isEmpty()) break;
    visited.append(item->objectName());
    if (item->objectName() != "apply") {
      const QRectF sight = scroller->mapRectToScene(scroller->boundingRect());
      EXPECT_TRUE(sight.contains(item->mapRectToScene(item->boundingRect()))) << item->objectName().toStdString();
    }
    rig.press(Qt::Key_Tab);
  }
  for (const char* name : {"refresh", "segmentReader", "name", "swatch0", "segmentLTC", "device", "offsetMinus",
                           "offsetPlus", "outputRate", "outputDevice", "outputChannel", "level", "apply"})
    EXPECT_TRUE(visited.contains(name)) << name;
  EXPECT_EQ(visited.count("segmentLTC"), 2) << "the source's and the output's";
}

TEST_F(OutputSection, ReturnAppliesWhereverTheKeyboardIs) {
  for (const char* at : {"name", "offsetPlus", "segmentReader", "level", "apply"}) {
    give(0, 0);
    openSettings();
    const std::string label = std::string("From ") + at;
    rig.press(Qt::Key_A, Qt::ControlModifier);
    rig.type(QString::fromStdString(label));
    for (int i = 0; i < 30 && rig.window->activeFocusItem()->objectName() != at; ++i) rig.press(Qt::Key_Tab);
    ASSERT_EQ(rig.window->activeFocusItem()->objectName(), at);
    const auto saves = rig.wall.world.logCount("restarting monitoring");
    rig.press(Qt::Key_Return);
    EXPECT_FALSE(rig.popoverIsOpen()) << at;
    EXPECT_EQ(rig.card(0).settings().label, label);
    EXPECT_EQ(rig.wall.world.logCount("restarting monitoring"), saves) << at;
  }
}

TEST_F(OutputSection, OpeningByMouseLeavesTheNameReadyToBeTyped) {
  openSettings();
  EXPECT_EQ(rig.window->activeFocusItem(), rig.find("name"));
}

}  // namespace
}  // namespace tallyrig
