#include "reader/ReaderSettingsForm.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <optional>
#include <string>

#include "support/Wall.h"

namespace tallyrig {
namespace {

using namespace std::chrono_literals;
using testing::Optional;

/// The settings of one card on a simulated desk that has code on channel 2.
class ReaderSettingsFormTest : public testing::Test {
 protected:
  void SetUp() override {
    desk.feed(1, [this](std::int64_t position, std::span<float> samples) { signal.fill(position, samples); });
    world.files().put("/home/user/.local/share/Tallyrig/readers.json",
                      R"([{"label":"Stage","selectedDeviceID":1,"selectedDeviceName":"Desk","selectedChannel":1}])");
    wall.open();
    wall.store->startSavedReaders();
    world.runFor(500ms);
    ASSERT_TRUE(card().isReceiving());
    world.clearLog();
    openForm();
  }

  void openForm() { form.emplace(wall.store->readers().front(), *wall.store, wall.services()); }
  ReaderInstance& card() { return wall.card(0); }

  int deviceCalled(const QString& name) const { return static_cast<int>(form->availableDevices().indexOf(name)); }

  bool hasRestarted() const { return world.hasLogged("]: restarting monitoring after transport change"); }

  Wall wall;
  SimulatedWorld& world = wall.world;
  SimulatedDevice& desk = world.audio().addDevice({.name = "Desk", .inputGroups = {8}});
  SimulatedDevice& truck = world.audio().addDevice({.name = "Truck", .inputGroups = {2}});
  LTCSignal signal{MTCFrameRate::fps25, Timecode{10, 0, 0, 0, MTCFrameRate::fps25}, 48000};
  std::optional<ReaderSettingsForm> form;
};

TEST_F(ReaderSettingsFormTest, OpensWithTheCardsSettingsAndFreshDevices) {
  EXPECT_EQ(form->property("label"), "Stage");
  EXPECT_EQ(form->property("selectedHex"), "#2A3A6E");
  EXPECT_EQ(form->cardRole(), "Reader");
  EXPECT_EQ(form->sourceType(), "LTC");
  EXPECT_EQ(form->deviceIndex(), deviceCalled("Desk"));
  EXPECT_EQ(form->channelCount(), 8);
  EXPECT_EQ(form->selectedChannel(), 1);
  EXPECT_EQ(form->offsetText(), "+0 frames");
  EXPECT_EQ(form->palette().size(), 8);
  EXPECT_EQ(world.logCount("DeviceRegistry: refresh begin reason=settings Stage"), 1U);
  EXPECT_EQ(world.logCount("] Settings[Stage]: loaded cached device registry"), 1U);
}

TEST_F(ReaderSettingsFormTest, AColourAloneDoesNotInterruptTheSignal) {
  form->setProperty("selectedHex", "#005C6E");
  form->setProperty("label", "Pit");
  EXPECT_TRUE(form->apply());
  EXPECT_EQ(card().settings().backgroundColorHex, "#005C6E");
  EXPECT_EQ(card().settings().label, "Pit");
  EXPECT_FALSE(hasRestarted());
  EXPECT_TRUE(card().isReceiving());
  EXPECT_EQ(desk.counters().starts, 1);
  EXPECT_THAT(*world.files().contents("/home/user/.local/share/Tallyrig/readers.json"), testing::HasSubstr("Pit"));
}

TEST_F(ReaderSettingsFormTest, AnOffsetAloneMovesTheDisplayWithoutARestart) {
  const auto before = card().currentTimecode();
  for (int i = 0; i < 3; ++i) form->changeOffset(-1);
  EXPECT_EQ(form->offsetText(), "-3 frames");
  EXPECT_EQ(card().currentTimecode(), before) << "nothing reaches the card before it is applied";
  form->apply();
  EXPECT_EQ(card().currentTimecode(), before->advanced(-3));
  EXPECT_FALSE(hasRestarted());
}

TEST_F(ReaderSettingsFormTest, ClosingWithoutApplyingChangesNothing) {
  const auto before = card().settings();
  form->setProperty("label", "Pit");
  form->setCardRole("Generator");
  form->setDeviceIndex(-1);
  form.reset();
  EXPECT_EQ(card().settings(), before);
}

TEST_F(ReaderSettingsFormTest, AnotherChannelRestarts) {
  form->setSelectedChannel(0);
  form->apply();
  EXPECT_EQ(world.logCount("] Settings[Stage]: restarting monitoring after transport change"), 1U);
  world.runFor(500ms);
  EXPECT_FALSE(card().isReceiving());
}

TEST_F(ReaderSettingsFormTest, AnotherDeviceRestartsAndIsStoredWithItsName) {
  form->setSelectedChannel(5);
  form->setDeviceIndex(deviceCalled("Truck"));
  EXPECT_EQ(form->selectedChannel(), 0) << "the new device has no sixth channel";
  form->apply();
  EXPECT_TRUE(hasRestarted());
  EXPECT_THAT(card().settings().selectedDeviceName, Optional(std::string("Truck")));
  world.runFor(100ms);
  EXPECT_TRUE(truck.isRunning());
  EXPECT_FALSE(desk.isRunning());
}

TEST_F(ReaderSettingsFormTest, NoDeviceStopsTheCard) {
  form->setDeviceIndex(-1);
  form->apply();
  EXPECT_FALSE(card().settings().selectedDeviceID);
  EXPECT_FALSE(card().settings().selectedDeviceName);
  EXPECT_FALSE(desk.isRunning());
}

TEST_F(ReaderSettingsFormTest, ANewRoleRestartsAndShowsTheStartOfAGenerator) {
  form->setCardRole("Generator");
  form->apply();
  EXPECT_TRUE(hasRestarted());
  EXPECT_THAT(card().currentTimecode(), Optional(Timecode{1, 0, 0, 0, MTCFrameRate::fps30}));
  EXPECT_FALSE(card().isReceiving());
  EXPECT_THAT(card().settings().selectedDeviceName, Optional(std::string("Desk"))) << "kept for the way back";
}

TEST_F(ReaderSettingsFormTest, ANewSourceRestarts) {
  form->setSourceType("MTC");
  EXPECT_TRUE(form->availableSources().isEmpty());
  form->apply();
  EXPECT_TRUE(hasRestarted());
  EXPECT_EQ(card().settings().sourceType, SourceType::mtc);
  EXPECT_FALSE(desk.isRunning());
}

TEST_F(ReaderSettingsFormTest, ADeviceBackUnderANewNumberIsChosenByNameAndApplyingRestarts) {
  world.audio().unplug(desk);
  world.runFor(3s);
  world.audio().plugIn(desk);
  world.runFor(3s);
  ASSERT_FALSE(desk.isRunning());
  openForm();
  EXPECT_EQ(form->deviceIndex(), deviceCalled("Desk"));
  form->apply();
  EXPECT_TRUE(hasRestarted());
  EXPECT_THAT(card().settings().selectedDeviceID, Optional(desk.id()));
  world.runFor(500ms);
  EXPECT_TRUE(card().isReceiving());
}

TEST_F(ReaderSettingsFormTest, AChosenDeviceThatIsAwayIsNotForgotten) {
  world.audio().unplug(desk);
  form->refreshDevices();
  EXPECT_GE(form->deviceIndex(), 0);
  EXPECT_EQ(form->availableDevices().at(form->deviceIndex()), "Desk");
  EXPECT_GT(form->channelCount(), 1);
  form->setProperty("label", "Pit");
  form->apply();
  EXPECT_THAT(card().settings().selectedDeviceName, Optional(std::string("Desk")));
}

TEST_F(ReaderSettingsFormTest, AnEditedChoiceSurvivesARefresh) {
  form->setDeviceIndex(deviceCalled("Truck"));
  form->setSelectedChannel(1);
  world.audio().addDevice({.name = "Alpha", .inputGroups = {2}}, 0);
  form->refreshDevices();
  EXPECT_EQ(form->deviceIndex(), deviceCalled("Truck"));
  EXPECT_EQ(form->selectedChannel(), 1);
}

TEST_F(ReaderSettingsFormTest, StrangeTextsChangeNothing) {
  form->setCardRole("Robot");
  form->setSourceType("SMPTE");
  form->setDeviceIndex(99);
  EXPECT_EQ(form->cardRole(), "Reader");
  EXPECT_EQ(form->sourceType(), "LTC");
  EXPECT_EQ(form->deviceIndex(), -1);
}

}  // namespace
}  // namespace tallyrig
