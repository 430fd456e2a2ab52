#include <gtest/gtest.h>

#include "ui/UiRig.h"

namespace tallyrig {
namespace {

using namespace std::chrono_literals;

/// The settings popover where there is much to choose from.
class LongLists : public testing::Test {
 protected:
  LongLists() {
    rig.wall.world.audio().addDevice({.name = "Desk", .inputGroups = {2}, .outputGroups = {2}});
    rig.wall.world.audio().addDevice({.name = "Stage Box A", .inputGroups = {64}, .outputGroups = {64}});
    rig.wall.world.audio().addDevice({.name = "Stage Box B", .inputGroups = {64}});
    for (int port = 1; port <= 40; ++port)
      rig.wall.world.midi().addSource("Patchbay with quite a long name for a port, number " + std::to_string(port));
    rig.open();
  }

  void openSettings() {
    rig.click(rig.find("settingsButton"));
    ASSERT_TRUE(rig.popoverIsOpen());
  }
  QString shown(const char* menu) { return rig.find(menu)->property("displayText").toString(); }
  /// Gives the menu the keyboard and leaves it closed.
  void enter(const char* menu) {
    for (int i = 0; i < 30 && rig.window->activeFocusItem() != rig.find(menu); ++i) rig.press(Qt::Key_Tab);
    ASSERT_EQ(rig.window->activeFocusItem(), rig.find(menu));
  }
  /// However slow the machine is, letters pause only where a test says so.
  void type(const QString& text) {
    for (const char* menu : {"device", "channel", "midiSource"})
      if (QQuickItem* item = rig.find(menu)) item->setProperty("typingPause", 3'600'000);
    rig.type(text);
  }
  void pause(const char* menu) { rig.find(menu)->setProperty("typed", QString()); }
  QQuickItem* highlighted() {
    for (QQuickItem* entry : rig.findAll("menuEntry"))
      if (entry->property("highlighted").toBool()) return entry;
    return nullptr;
  }

  UiRig rig;
};

TEST_F(LongLists, TypingLeadsToTheEntryThatBeginsSo) {
  openSettings();
  enter("device");
  type("st");
  EXPECT_EQ(shown("device"), "Stage Box A");
  pause("device");
  type("desk");
  EXPECT_EQ(shown("device"), "Desk");
  pause("device");
  type("stage box b");
  EXPECT_EQ(shown("device"), "Stage Box B");
  EXPECT_EQ(rig.find("menuEntry"), nullptr) << "the spaces have not opened the list";
}

TEST_F(LongLists, OneLetterAgainAndAgainGoesThroughTheEntriesThatBeginWithIt) {
  openSettings();
  enter("device");
  type("s");
  EXPECT_EQ(shown("device"), "Stage Box A");
  type("s");
  EXPECT_EQ(shown("device"), "Stage Box B");
  type("s");
  EXPECT_EQ(shown("device"), "Stage Box A");
}

TEST_F(LongLists, AChannelIsFoundByItsNumber) {
  openSettings();
  rig.choose("device", "Stage Box A");
  enter("channel");
  type("42");
  EXPECT_EQ(shown("channel"), "Channel 42");
  rig.click(rig.find("apply"));
  EXPECT_EQ(rig.card(0).selectedChannelNumber(), 41);
}

TEST_F(LongLists, TypingInAnOpenListShowsTheEntryAndReturnTakesIt) {
  openSettings();
  rig.choose("device", "Stage Box A");
  rig.click(rig.find("channel"));
  type("57");
  QQuickItem* entry = highlighted();
  ASSERT_NE(entry, nullptr);
  EXPECT_EQ(entry->property("text"), "Channel 57");
  const QQuickItem* list = entry->parentItem()->parentItem();
  const QRectF sight = list->mapRectToScene(list->boundingRect());
  const QRectF place = entry->mapRectToScene(entry->boundingRect());
  EXPECT_TRUE(sight.contains(place)) << place.top() << " to " << place.bottom() << " in " << sight.top() << " to "
                                     << sight.bottom();
  EXPECT_EQ(shown("channel"), "Channel 1") << "nothing is chosen yet";
  rig.press(Qt::Key_Return);
  EXPECT_EQ(shown("channel"), "Channel 57");
  EXPECT_TRUE(rig.popoverIsOpen());
}

TEST_F(LongLists, PagesMoveByTen) {
  openSettings();
  rig.choose("device", "Stage Box A");
  rig.click(rig.find("channel"));
  rig.press(Qt::Key_PageDown);
  rig.press(Qt::Key_PageDown);
  EXPECT_EQ(highlighted()->property("text"), "Channel 21");
  rig.press(Qt::Key_PageUp);
  EXPECT_EQ(highlighted()->property("text"), "Channel 11");
  rig.press(Qt::Key_End);
  EXPECT_EQ(highlighted()->property("text"), "Channel 64");
  rig.press(Qt::Key_PageDown);
  EXPECT_EQ(highlighted()->property("text"), "Channel 64");
}

TEST_F(LongLists, OpensWhereTheChoiceStands) {
  openSettings();
  rig.choose("device", "Stage Box A");
  enter("channel");
  type("60");
  rig.click(rig.find("channel"));
  EXPECT_EQ(highlighted()->property("text"), "Channel 60");
}

TEST_F(LongLists, AListStaysWithinALowWindow) {
  rig.window->resize(800, 380);
  openSettings();
  enter("device");
  type("stage");
  enter("channel");
  rig.press(Qt::Key_Space);
  const auto entries = rig.findAll("menuEntry");
  ASSERT_FALSE(entries.empty());
  const QQuickItem* list = entries.front()->parentItem()->parentItem();
  const QRectF place = list->mapRectToScene(list->boundingRect());
  EXPECT_GE(place.top(), 0);
  EXPECT_LE(place.bottom(), 380);
}

TEST_F(LongLists, LongNamesAreCutInTheFieldAndInTheList) {
  openSettings();
  rig.click(rig.find("segmentMTC", rig.find("source")));
  enter("midiSource");
  type("12");
  const auto isCut = [](QQuickItem* item) {
    auto* content = item->property("contentItem").value<QQuickItem*>();
    return content && content->property("truncated").toBool() && content->width() <= item->width();
  };
  EXPECT_TRUE(shown("midiSource").endsWith("number 12"));
  EXPECT_TRUE(isCut(rig.find("midiSource")));
  rig.click(rig.find("midiSource"));
  ASSERT_NE(highlighted(), nullptr);
  EXPECT_TRUE(isCut(highlighted()));
}

TEST_F(LongLists, AnEndpointThatComesLastLeavesTheChoiceAlone) {
  rig.wall.world.midi().addDestination("First out");
  openSettings();
  rig.choose("device", "Desk");
  rig.click(rig.find("segmentLTC", rig.find("outputProtocol")));
  rig.choose("outputDevice", "Stage Box A");
  rig.choose("outputChannel", "Channel 3");
  rig.wall.world.audio().addDevice({.name = "Truck", .inputGroups = {2}, .outputGroups = {2}});
  rig.wall.registry->refresh("test");
  rig.runFor(20ms);
  EXPECT_EQ(shown("device"), "Desk");
  EXPECT_EQ(shown("outputDevice"), "Stage Box A");
  EXPECT_EQ(shown("outputChannel"), "Channel 3");

  rig.click(rig.find("segmentMTC", rig.find("source")));
  enter("midiSource");
  type("7");
  rig.click(rig.find("segmentMTC", rig.find("outputProtocol")));
  rig.choose("destination", "First out");
  rig.wall.world.midi().addSource("Late in");
  rig.wall.world.midi().addDestination("Late out");
  rig.wall.registry->refresh("test");
  rig.runFor(20ms);
  EXPECT_TRUE(shown("midiSource").endsWith("number 7"));
  EXPECT_EQ(shown("destination"), "First out");
  EXPECT_EQ(rig.find("destination")->property("currentIndex"), 1);
  rig.click(rig.find("apply"));
  EXPECT_TRUE(rig.card(0).settings().selectedMIDISourceName->ends_with("number 7"));
  EXPECT_EQ(rig.card(0).settings().selectedMIDIDestinationName, "First out");
}

TEST_F(LongLists, ADeviceThatComesWhileTheListIsOpenKeepsTheChoice) {
  openSettings();
  rig.choose("device", "Stage Box B");
  rig.click(rig.find("device"));
  rig.wall.world.audio().addDevice({.name = "Truck", .inputGroups = {2}});
  rig.wall.registry->refresh("test");
  rig.runFor(20ms);
  EXPECT_EQ(shown("device"), "Stage Box B");
  rig.press(Qt::Key_Escape);
  EXPECT_TRUE(rig.popoverIsOpen()) << "Escape closes the list first";
  EXPECT_EQ(shown("device"), "Stage Box B");
  EXPECT_EQ(rig.find("device")->property("currentIndex"), 3);
}

}  // namespace
}  // namespace tallyrig
