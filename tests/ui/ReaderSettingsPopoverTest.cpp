#include <gtest/gtest.h>

#include "ui/UiRig.h"

namespace tallyrig {
namespace {

using namespace std::chrono_literals;

class ReaderSettingsPopover : public testing::Test {
 protected:
  ReaderSettingsPopover() {
    rig.wall.world.audio().addDevice({.name = "Desk", .inputGroups = {2}});
    rack = &rig.wall.world.audio().addDevice({.name = "Rack", .inputGroups = {4, 4}});
    rig.open();
  }

  void openSettings() {
    rig.click(rig.find("settingsButton"));
    ASSERT_TRUE(rig.popoverIsOpen());
  }

  UiRig rig;
  SimulatedDevice* rack;
};

TEST_F(ReaderSettingsPopover, DeviceAndChannelChosenByMouseReachTheCardOnApply) {
  openSettings();
  EXPECT_EQ(rig.find("device")->property("displayText"), "No device");
  EXPECT_FALSE(rig.find("channel")->isEnabled());
  rig.choose("device", "Rack");
  rig.choose("channel", "Channel 6");
  EXPECT_EQ(rig.card(0).selectedDeviceNameText(), "");
  rig.click(rig.find("apply"));
  EXPECT_FALSE(rig.popoverIsOpen());
  EXPECT_EQ(rig.card(0).selectedDeviceNameText(), "Rack");
  EXPECT_EQ(rig.card(0).selectedChannelNumber(), 5);
  EXPECT_TRUE(rack->isRunning());
  EXPECT_EQ(rig.text("sourceLine"), "Rack");
  EXPECT_EQ(rig.text("targetLine"), "Channel 6");
}

TEST_F(ReaderSettingsPopover, ShowsWhatTheCardHas) {
  rig.card(0).selectInputDevice(rack->id(), rig.wall.registry->audioInputs());
  rig.card(0).set(&ReaderSnapshot::selectedChannel, 7);
  rig.card(0).set(&ReaderSnapshot::ltcFrameOffset, -2);
  openSettings();
  EXPECT_EQ(rig.text("name"), "Reader 1");
  EXPECT_EQ(rig.find("device")->property("displayText"), "Rack");
  EXPECT_EQ(rig.find("channel")->property("displayText"), "Channel 8");
  EXPECT_EQ(rig.text("offsetText"), "-2 frames");
}

TEST_F(ReaderSettingsPopover, EscapeDropsTheEdits) {
  const ReaderSnapshot before = rig.card(0).settings();
  openSettings();
  rig.choose("device", "Rack");
  rig.click(rig.find("swatch3"));
  rig.click(rig.find("offsetPlus"));
  rig.click(rig.find("segmentGenerator"));
  rig.press(Qt::Key_Escape);
  EXPECT_FALSE(rig.popoverIsOpen());
  EXPECT_EQ(rig.card(0).settings(), before);
  openSettings();
  EXPECT_EQ(rig.find("device")->property("displayText"), "No device");
  EXPECT_EQ(rig.text("offsetText"), "+0 frames");
}

TEST_F(ReaderSettingsPopover, PressOutsideDropsTheEdits) {
  const ReaderSnapshot before = rig.card(0).settings();
  openSettings();
  rig.choose("device", "Rack");
  rig.clickAt({1000, 680});
  EXPECT_FALSE(rig.popoverIsOpen());
  EXPECT_EQ(rig.card(0).settings(), before);
}

TEST_F(ReaderSettingsPopover, NameColourAndOffsetAreApplied) {
  openSettings();
  rig.click(rig.find("name"));
  rig.press(Qt::Key_A, Qt::ControlModifier);
  rig.type("Playback A");
  rig.click(rig.find("swatch2"));
  rig.click(rig.find("offsetMinus"));
  rig.click(rig.find("offsetMinus"));
  rig.click(rig.find("offsetMinus"));
  EXPECT_EQ(rig.text("offsetText"), "-3 frames");
  rig.click(rig.find("apply"));
  EXPECT_EQ(rig.card(0).settings().label, "Playback A");
  EXPECT_EQ(rig.card(0).settings().backgroundColorHex, "#005C6E");
  EXPECT_EQ(rig.card(0).settings().ltcFrameOffset, -3);
  EXPECT_EQ(rig.text("label"), "Playback A");
}

TEST_F(ReaderSettingsPopover, ColourAloneDoesNotInterruptTheSignal) {
  rig.card(0).selectInputDevice(rack->id(), rig.wall.registry->audioInputs());
  rig.card(0).startMonitoring();
  rig.runFor(100ms);
  const int starts = rack->counters().starts;
  openSettings();
  rig.click(rig.find("swatch5"));
  rig.click(rig.find("apply"));
  EXPECT_EQ(rig.card(0).settings().backgroundColorHex, "#3A2A1A");
  EXPECT_EQ(rack->counters().starts, starts);
}

TEST_F(ReaderSettingsPopover, GeneratorHasNoInputSection) {
  openSettings();
  rig.click(rig.find("segmentGenerator"));
  EXPECT_EQ(rig.find("device"), nullptr);
  EXPECT_EQ(rig.find("source"), nullptr);
  rig.click(rig.find("apply"));
  EXPECT_EQ(rig.card(0).cardRoleText(), "Generator");
  EXPECT_EQ(rig.text("roleChip"), "GEN");
  EXPECT_EQ(rig.text("statusText"), "STOPPED");
}

TEST_F(ReaderSettingsPopover, MTCOffersSourcesInsteadOfDevices) {
  openSettings();
  rig.click(rig.find("segmentMTC"));
  EXPECT_EQ(rig.find("device"), nullptr);
  EXPECT_EQ(rig.find("channel"), nullptr);
  EXPECT_EQ(rig.find("offsetPlus"), nullptr);
  EXPECT_EQ(rig.text("noSources"), "No MIDI sources found.");
  rig.click(rig.find("apply"));
  EXPECT_EQ(rig.card(0).sourceTypeText(), "MTC");
  EXPECT_EQ(rig.text("sourceLine"), "No MIDI source");
}

TEST_F(ReaderSettingsPopover, RefreshBringsNewDevicesAndKeepsTheChoice) {
  openSettings();
  rig.choose("device", "Rack");
  rig.wall.world.audio().addDevice({.name = "Truck", .inputGroups = {2}}, 0);
  rig.click(rig.find("refresh"));
  EXPECT_EQ(rig.find("device")->property("displayText"), "Rack");
  rig.choose("device", "Truck");
  rig.click(rig.find("apply"));
  EXPECT_EQ(rig.card(0).selectedDeviceNameText(), "Truck");
}

TEST_F(ReaderSettingsPopover, EverythingCanBeDoneFromTheKeyboard) {
  rig.tabTo(rig.find("settingsButton"));
  rig.press(Qt::Key_Space);
  ASSERT_TRUE(rig.popoverIsOpen());
  const auto tabTo = [&](QQuickItem* item) {
    for (int i = 0; i < 20 && rig.window->activeFocusItem() != item; ++i) rig.press(Qt::Key_Tab);
    ASSERT_EQ(rig.window->activeFocusItem(), item) << item->objectName().toStdString();
  };
  tabTo(rig.find("segmentReader"));
  rig.press(Qt::Key_Right);
  rig.press(Qt::Key_Left);
  EXPECT_NE(rig.find("device"), nullptr);
  tabTo(rig.find("name"));
  rig.press(Qt::Key_End);
  rig.type("!");
  tabTo(rig.find("swatch0"));
  rig.press(Qt::Key_Right);
  tabTo(rig.find("device"));
  rig.press(Qt::Key_Down);
  rig.press(Qt::Key_Down);
  tabTo(rig.find("channel"));
  rig.press(Qt::Key_Down);
  tabTo(rig.find("offsetPlus"));
  rig.press(Qt::Key_Space);
  tabTo(rig.find("apply"));
  rig.press(Qt::Key_Space);
  EXPECT_FALSE(rig.popoverIsOpen());
  EXPECT_EQ(rig.card(0).settings().label, "Reader 1!");
  EXPECT_EQ(rig.card(0).settings().backgroundColorHex, "#3D1E6E");
  EXPECT_EQ(rig.card(0).settings().selectedDeviceName, "Rack");
  EXPECT_EQ(rig.card(0).settings().selectedChannel, 1);
  EXPECT_EQ(rig.card(0).settings().ltcFrameOffset, 1);
}

TEST_F(ReaderSettingsPopover, CardThatGoesMeanwhileDoesNoHarm) {
  openSettings();
  rig.store().removeReader(&rig.card(0));
  rig.runFor(20ms);
  if (rig.popoverIsOpen()) rig.click(rig.find("apply"));
  EXPECT_FALSE(rig.popoverIsOpen());
  EXPECT_EQ(rig.store().count(), 0);
}

TEST_F(ReaderSettingsPopover, FitsAWindowThatIsTooLow) {
  rig.window->resize(400, 380);
  openSettings();
  const QQuickItem* panel = rig.find("popoverPanel");
  ASSERT_NE(panel, nullptr);
  EXPECT_GE(panel->mapToScene({0, 0}).x(), 0);
  EXPECT_GE(panel->mapToScene({0, 0}).y(), 0);
  EXPECT_LE(panel->mapToScene({0, panel->height()}).y(), 380);
  EXPECT_LE(panel->mapToScene({panel->width(), 0}).x(), 400);
}

TEST_F(ReaderSettingsPopover, FitsASmallScreenInItsLongestForm) {
  rig.window->resize(800, 700);
  openSettings();
  rig.click(rig.find("segmentLTC", rig.find("outputProtocol")));
  const QQuickItem* scroller = rig.find("settingsScroller");
  EXPECT_LE(scroller->property("contentHeight").toDouble(), scroller->height()) << "nothing is scrolled";
  EXPECT_LE(rig.find("popoverPanel")->height(), 700);
}

/// A window that has no room for the settings of its card.
class ReaderSettingsApart : public ReaderSettingsPopover {
 protected:
  QQuickWindow* openApart() {
    rig.click(rig.find("settingsButton"));
    rig.runFor(50ms);
    EXPECT_FALSE(rig.popoverIsOpen());
    return rig.windowTitled(QString::fromUtf8("Reader 1 – Settings"));
  }
  bool isOpen() { return rig.windowTitled(QString::fromUtf8("Reader 1 – Settings")) != nullptr; }
};

TEST_F(ReaderSettingsApart, StandWholeAndAreAppliedWhereTheWindowIsTooLow) {
  rig.window->resize(384, 172);
  rig.runFor(20ms);
  QQuickWindow* apart = openApart();
  ASSERT_NE(apart, nullptr);
  EXPECT_TRUE(rig.tile(0)->property("showingSettings").toBool());
  const QQuickItem* scroller = rig.find("settingsScroller", apart->contentItem());
  EXPECT_LE(scroller->property("contentHeight").toDouble(), scroller->height());
  rig.click(rig.find("swatch2", apart->contentItem()));
  EXPECT_EQ(rig.card(0).settings().backgroundColorHex, cardPalette()[0]);
  rig.click(rig.find("apply", apart->contentItem()));
  EXPECT_EQ(rig.card(0).settings().backgroundColorHex, cardPalette()[2]);
  rig.runFor(50ms);
  EXPECT_FALSE(isOpen());
  EXPECT_FALSE(rig.tile(0)->property("showingSettings").toBool());
}

TEST_F(ReaderSettingsApart, EscapeDropsTheEdits) {
  rig.window->resize(384, 172);
  rig.runFor(20ms);
  QQuickWindow* apart = openApart();
  ASSERT_NE(apart, nullptr);
  rig.click(rig.find("swatch2", apart->contentItem()));
  rig.pressIn(apart, Qt::Key_Escape);
  rig.runFor(50ms);
  EXPECT_FALSE(isOpen());
  EXPECT_EQ(rig.card(0).settings().backgroundColorHex, cardPalette()[0]);
}

TEST_F(ReaderSettingsApart, AreOpenedFromASmallPinnedCard) {
  for (int mode = 0; mode < 2; ++mode) rig.click(rig.find("modeButton"));
  rig.click(rig.find("pin"));
  rig.runFor(1s);
  ASSERT_LT(rig.window->height(), 200);
  QQuickWindow* apart = openApart();
  ASSERT_NE(apart, nullptr);
  EXPECT_GT(apart->height(), 300);
  rig.click(rig.find("apply", apart->contentItem()));
  rig.runFor(50ms);
  EXPECT_FALSE(isOpen());
  EXPECT_EQ(rig.card(0).displayModeText(), "minimal");
}

TEST_F(ReaderSettingsApart, GoWithTheirCard) {
  rig.window->resize(384, 172);
  rig.runFor(20ms);
  ASSERT_NE(openApart(), nullptr);
  rig.store().removeReader(&rig.card(0));
  rig.runFor(50ms);
  EXPECT_EQ(rig.store().count(), 0);
  EXPECT_FALSE(isOpen());
}

TEST(ReaderSettingsPopoverWithoutDevices, SaysSoInPlaceOfTheMenu) {
  UiRig rig;
  rig.open();
  rig.click(rig.find("settingsButton"));
  EXPECT_EQ(rig.find("device"), nullptr);
  EXPECT_EQ(rig.text("noDevices"), "No audio input devices found.");
}

}  // namespace
}  // namespace tallyrig
