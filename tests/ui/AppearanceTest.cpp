#include "app/Appearance.h"

#include <gtest/gtest.h>

#include <QGuiApplication>

#include "ui/UiRig.h"

namespace tallyrig {
namespace {

using namespace std::chrono_literals;

TEST(Appearance, UsersChoiceHoldsAndChangesTheWindowAtOnce) {
  UiRig rig;
  rig.wall.world.preferences().setString("Tallyrig.Appearance", "Dark");
  rig.open();
  EXPECT_TRUE(rig.appearance->dark());
  EXPECT_LT(rig.pixel(rig.window->contentItem(), {2, 690}).lightnessF(), 0.2);
  rig.store().setAppearanceOverride(AppearanceMode::light);
  rig.runFor(20ms);
  EXPECT_FALSE(rig.appearance->dark());
  EXPECT_GT(rig.pixel(rig.window->contentItem(), {2, 690}).lightnessF(), 0.8);
  EXPECT_GT(QGuiApplication::palette().color(QPalette::Window).lightnessF(), 0.8);
}

TEST(Appearance, FollowsTheDesktopsPaletteWithoutAChoice) {
  UiRig rig;
  rig.open();
  EXPECT_TRUE(Appearance(rig.store(), rig.desktop, QPalette(QColor(30, 30, 30))).dark());
  EXPECT_FALSE(Appearance(rig.store(), rig.desktop, QPalette(QColor(240, 240, 240))).dark());
}

TEST(SoundServerWatch, NoticeStandsAcrossTheTopWhileTheServerIsAway) {
  UiRig rig;
  rig.open();
  EXPECT_EQ(rig.find("notice"), nullptr);
  const qreal top = rig.find("scroller")->y();
  rig.wall.world.audio().setNotice("No sound server.");
  rig.runFor(20ms);
  EXPECT_EQ(rig.text("notice"), "No sound server.");
  EXPECT_GT(rig.find("scroller")->y(), top);
  rig.wall.world.audio().setNotice("");
  rig.runFor(20ms);
  EXPECT_EQ(rig.find("notice"), nullptr);
  EXPECT_EQ(rig.find("scroller")->y(), top);
}

TEST(SoundServerWatch, ReturnOfTheServerReadsTheListsAndRebuildsTheSessions) {
  UiRig rig;
  SimulatedDevice& device = rig.wall.world.audio().addDevice({.name = "Rack", .inputGroups = {2}});
  rig.open();
  rig.card(0).selectInputDevice(device.id(), rig.wall.registry->audioInputs());
  rig.card(0).startMonitoring();
  rig.runFor(100ms);
  ASSERT_EQ(device.counters().opens, 1);

  rig.wall.world.audio().setNotice("No sound server.");
  rig.runFor(2s);
  EXPECT_EQ(device.counters().opens, 1);
  const std::size_t refreshes = rig.wall.world.logCount("begin reason=sound-server");
  rig.wall.world.audio().setNotice("");
  rig.runFor(2s);
  EXPECT_EQ(rig.wall.world.logCount("begin reason=sound-server"), refreshes + 2);
  EXPECT_EQ(device.counters().opens, 2);
}

TEST(SoundServerWatch, DevicesThatComeOneAfterTheOtherAreAllPickedUp) {
  UiRig rig;
  auto& audio = rig.wall.world.audio();
  SimulatedDevice& device = audio.addDevice({.name = "Rack", .inputGroups = {2}});
  rig.open();
  rig.card(0).selectInputDevice(device.id(), rig.wall.registry->audioInputs());
  rig.card(0).startMonitoring();
  rig.runFor(100ms);
  ASSERT_TRUE(device.isRunning());

  audio.unplug(device);
  audio.setNotice("No sound server.");
  rig.runFor(10s);
  ASSERT_FALSE(device.isRunning());
  audio.setNotice("");
  rig.runFor(300ms);
  audio.addDevice({.name = "Other", .inputGroups = {2}});
  rig.runFor(300ms);
  audio.plugIn(device);
  rig.runFor(300ms);
  audio.addDevice({.name = "Last", .inputGroups = {2}});
  rig.runFor(1100ms);
  EXPECT_TRUE(device.isRunning());
}

TEST(SoundServerWatch, ACardStartedWithoutTheServerFindsItsDeviceWhenItComes) {
  UiRig rig;
  auto& audio = rig.wall.world.audio();
  SimulatedDevice& device = audio.addDevice({.name = "Rack", .inputGroups = {2}});
  audio.unplug(device);
  audio.setNotice("No sound server.");
  rig.wall.world.files().put("/home/user/.local/share/Tallyrig/readers.json",
                             R"([{"selectedDeviceID":999,"selectedDeviceName":"Rack"}])");
  rig.open();
  rig.runFor(5s);
  EXPECT_EQ(rig.card(0).sourceAvailabilityWarning(), "Audio device unavailable: Rack");
  audio.setNotice("");
  audio.plugIn(device);
  rig.runFor(2s);
  EXPECT_TRUE(device.isRunning());
  EXPECT_FALSE(rig.card(0).sourceAvailabilityWarning());
}

}  // namespace
}  // namespace tallyrig
