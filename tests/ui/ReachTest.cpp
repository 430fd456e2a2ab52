#include <gtest/gtest.h>

#include <QAccessible>
#include <algorithm>

#include "app/TimecodeDigits.h"
#include "support/LTCSignal.h"
#include "ui/UiRig.h"

namespace tallyrig {
namespace {

using namespace std::chrono_literals;

QString spoken(QQuickItem* item, QAccessible::Text what = QAccessible::Name) {
  QAccessibleInterface* interface = QAccessible::queryAccessibleInterface(item);
  return interface ? interface->text(what) : QString();
}

QAccessible::Role roleOf(QQuickItem* item) {
  QAccessibleInterface* interface = QAccessible::queryAccessibleInterface(item);
  return interface ? interface->role() : QAccessible::NoRole;
}

class Reach : public testing::Test {
 protected:
  Reach() : signal_(MTCFrameRate::fps25, {10, 20, 30, 0, MTCFrameRate::fps25}, 48000) {
    device_ = &rig.wall.world.audio().addDevice({.name = "Rack", .inputGroups = {8}, .outputGroups = {8}});
    device_->feed(0, [this](std::int64_t position, std::span<float> samples) { signal_.fill(position, samples); });
    rig.wall.world.midi().addSource("Bridge in");
    rig.wall.world.midi().addDestination("Bridge out");
    QAccessible::setActive(true);
    rig.open();
  }
  ~Reach() override { QAccessible::setActive(false); }

  void receive() {
    rig.card(0).selectInputDevice(device_->id(), rig.wall.registry->audioInputs());
    rig.card(0).startMonitoring();
    rig.runFor(2s);
  }

  /// Every item that Tab leads to, from the one that has the keyboard and back to it.
  std::vector<QQuickItem*> stops() { return stops(rig.window); }
  std::vector<QQuickItem*> stops(QQuickWindow* window) {
    std::vector<QQuickItem*> visited;
    rig.pressIn(window, Qt::Key_Tab);
    for (QQuickItem* item = window->activeFocusItem(); visited.size() < 60; item = window->activeFocusItem()) {
      if (std::find(visited.begin(), visited.end(), item) != visited.end()) break;
      visited.push_back(item);
      rig.pressIn(window, Qt::Key_Tab);
    }
    return visited;
  }

  /// That each stop looks other while it has the keyboard than while the next one has it.
  void expectVisibleFocus(QQuickWindow* window) {
    const auto look = [&](const QQuickItem* item) {
      const QRectF place = item->mapRectToScene(item->boundingRect().adjusted(-3, -3, 3, 3));
      return window->grabWindow().copy(place.toAlignedRect());
    };
    rig.pressIn(window, Qt::Key_Tab);
    const QQuickItem* first = window->activeFocusItem();
    const QQuickItem* item = first;
    do {
      const QPointF place = item->mapToScene({0, 0});
      const QImage with = look(item);
      rig.pressIn(window, Qt::Key_Tab);
      // What a scroll has moved is looked at no more.
      if (item->mapToScene({0, 0}) == place) {
        EXPECT_NE(with, look(item)) << item->objectName().toStdString();
      }
      item = window->activeFocusItem();
    } while (item != first);
  }

  void expectNamesAndRoles(const std::vector<QQuickItem*>& items) {
    for (QQuickItem* item : items) {
      const std::string name = item->objectName().toStdString();
      EXPECT_FALSE(spoken(item).isEmpty()) << name;
      EXPECT_NE(roleOf(item), QAccessible::NoRole) << name;
      EXPECT_NE(roleOf(item), QAccessible::Client) << name;
    }
  }

  UiRig rig;

 private:
  LTCSignal signal_;
  SimulatedDevice* device_;
};

TEST_F(Reach, EveryStopOnTheWallHasANameAndARole) {
  rig.card(0).set(&ReaderSnapshot::outputProtocol, OutputProtocol::ltc);
  rig.click(rig.find("addReader"));
  rig.card(1).set(&ReaderSnapshot::cardRole, CardRole::generator);
  rig.runFor(20ms);
  const auto visited = stops();
  expectNamesAndRoles(visited);
  for (const char* name : {"addReader", "modeButton", "settingsButton", "removeButton", "jamButton", "startButton"}) {
    EXPECT_TRUE(std::any_of(visited.begin(), visited.end(), [&](auto* item) { return item->objectName() == name; }))
        << name;
  }
}

TEST_F(Reach, EveryStopInTheSettingsHasANameAndARole) {
  rig.click(rig.find("settingsButton"));
  for (const char* role : {"segmentReader", "segmentGenerator"}) {
    rig.click(rig.find(role));
    for (const char* protocol : {"segmentDisabled", "segmentLTC", "segmentMTC"}) {
      rig.click(rig.find(protocol, rig.find("outputProtocol")));
      const auto visited = stops();
      EXPECT_GE(visited.size(), 7U);
      expectNamesAndRoles(visited);
    }
  }
}

TEST_F(Reach, TheStopThatHasTheKeyboardIsSeen) {
  rig.card(0).set(&ReaderSnapshot::outputProtocol, OutputProtocol::ltc);
  expectVisibleFocus(rig.window);
  rig.window->resize(800, 760);
  rig.click(rig.find("settingsButton"));
  expectVisibleFocus(rig.window);
  rig.click(rig.find("segmentGenerator"));
  rig.click(rig.find("segmentMTC", rig.find("outputProtocol")));
  expectVisibleFocus(rig.window);
}

TEST_F(Reach, EveryStopInTheToolWindowsHasANameAndARoleAndIsSeen) {
  for (const auto& [id, title, least] :
       {std::tuple("wav-generator", "Generate WAV", 10U), std::tuple("file-analyser", "Analyse File", 1U),
        std::tuple("media-player", "Media Player", 5U)}) {
    SCOPED_TRACE(id);
    rig.windowManager->openWindow(id);
    rig.runFor(50ms);
    QQuickWindow* window = rig.windowTitled(title);
    ASSERT_NE(window, nullptr);
    const auto visited = stops(window);
    EXPECT_GE(visited.size(), least);
    expectNamesAndRoles(visited);
    if (visited.size() > 1) expectVisibleFocus(window);
    rig.windowManager->dismissWindow(id);
    rig.runFor(50ms);
  }
}

TEST_F(Reach, EveryStopInTheGlobalSettingsHasANameAndARoleAndIsSeen) {
  rig.app->setProperty("settingsIsOpen", true);
  rig.runFor(50ms);
  QQuickWindow* window = rig.windowTitled("Settings");
  ASSERT_NE(window, nullptr);
  const auto visited = stops(window);
  EXPECT_EQ(visited.size(), 3U);
  expectNamesAndRoles(visited);
  expectVisibleFocus(window);
}

TEST_F(Reach, SettingsSayWhatTheyAre) {
  rig.click(rig.find("settingsButton"));
  rig.click(rig.find("segmentLTC", rig.find("outputProtocol")));
  EXPECT_EQ(roleOf(rig.find("name")), QAccessible::EditableText);
  EXPECT_EQ(roleOf(rig.find("device")), QAccessible::ComboBox);
  EXPECT_EQ(roleOf(rig.find("level")), QAccessible::Slider);
  EXPECT_EQ(roleOf(rig.find("apply")), QAccessible::Button);
  EXPECT_EQ(roleOf(rig.find("segmentReader")), QAccessible::RadioButton);
  EXPECT_EQ(roleOf(rig.find("swatch0")), QAccessible::RadioButton);
  for (const char* name : {"segmentReader", "segmentGenerator", "swatch0", "swatch1"}) {
    const bool chosen = QString(name) == "segmentReader" || QString(name) == "swatch0";
    EXPECT_EQ(QAccessible::queryAccessibleInterface(rig.find(name))->state().checked, chosen) << name;
  }
  EXPECT_EQ(spoken(rig.find("swatch2")), "Teal");
  EXPECT_EQ(spoken(rig.find("device")), "Audio device");
  EXPECT_EQ(spoken(rig.find("device"), QAccessible::Description), "No device");
  EXPECT_EQ(spoken(rig.find("offsetPlus"), QAccessible::Description), "+0 frames");
}

TEST_F(Reach, ACardTellsItsNameAndItsStateInEveryMode) {
  for (int mode = 0; mode < 3; ++mode) {
    EXPECT_EQ(spoken(rig.tile(0)), "Reader 1, NO SIGNAL");
    EXPECT_EQ(spoken(rig.find("digits")), "No timecode");
    rig.click(rig.find("modeButton"));
  }
  receive();
  EXPECT_EQ(spoken(rig.tile(0)), "Reader 1, LOCKED");
  EXPECT_EQ(spoken(rig.find("digits")).left(7), rig.text("digits").left(7));
}

TEST_F(Reach, RunningCodeIsToldAtMostOnceASecond) {
  receive();
  const auto* digits = qobject_cast<TimecodeDigits*>(rig.find("digits"));
  ASSERT_NE(digits, nullptr);
  int shown = 0;
  int told = 0;
  QObject::connect(digits, &TimecodeDigits::textChanged, [&] { ++shown; });
  QObject::connect(digits, &TimecodeDigits::spokenTextChanged, [&] { ++told; });
  for (int tick = 0; tick < 1000; ++tick) rig.runUnseen(10ms);
  EXPECT_GE(shown, 249);
  EXPECT_GE(told, 9);
  EXPECT_LE(told, 10);
}

TEST_F(Reach, TheButtonThatHasTheKeyboardStandsOutWithoutARing) {
  for (const char* name : {"modeButton", "settingsButton", "removeButton"}) {
    QQuickItem* button = rig.find(name);
    const QPointF inside(3, button->height() / 2);
    const QPointF outside(-2, button->height() / 2);
    const QColor plain = rig.pixel(button, inside);
    const QColor around = rig.pixel(button, outside);
    for (int i = 0; i < 20 && rig.window->activeFocusItem() != button; ++i) rig.press(Qt::Key_Tab);
    ASSERT_EQ(rig.window->activeFocusItem(), button);
    EXPECT_GT(rig.pixel(button, inside).lightness(), plain.lightness() + 30) << name;
    EXPECT_EQ(rig.pixel(button, outside), around) << name;
  }
}

TEST_F(Reach, TheGearStandsOutWhileItsSettingsAreOpen) {
  QQuickItem* gear = rig.find("settingsButton");
  const QColor plain = rig.pixel(gear, {3, 12});
  rig.click(gear);
  EXPECT_TRUE(rig.tile(0)->property("showingSettings").toBool());
  EXPECT_GT(rig.pixel(gear, {3, 12}).lightness(), plain.lightness() + 30);
  rig.press(Qt::Key_Escape);
  EXPECT_FALSE(rig.tile(0)->property("showingSettings").toBool());
}

TEST_F(Reach, ArrowKeysMoveTheOffset) {
  rig.click(rig.find("settingsButton"));
  rig.click(rig.find("offsetPlus"));
  rig.press(Qt::Key_Up);
  rig.press(Qt::Key_Up);
  EXPECT_EQ(rig.text("offsetText"), "+3 frames");
  for (int i = 0; i < 5; ++i) rig.press(Qt::Key_Down);
  EXPECT_EQ(rig.text("offsetText"), "-2 frames");
}

TEST_F(Reach, NamesAreShownAsTheyAreWritten) {
  const std::string name = "<b>Rack</b> &amp; more";
  rig.wall.world.audio().addDevice({.name = name, .inputGroups = {2}, .outputGroups = {2}});
  rig.wall.registry->refresh("test");
  rig.card(0).set(&ReaderSnapshot::label, name);
  rig.card(0).set(&ReaderSnapshot::selectedDeviceName, name);
  rig.runFor(20ms);
  rig.click(rig.find("settingsButton"));
  rig.choose("device", QString::fromStdString(name));
  rig.click(rig.find("device"));
  int seen = 0;
  const std::function<void(QQuickItem*)> visit = [&](QQuickItem* item) {
    if (!item->isVisible()) return;
    if (item->property("text") == QString::fromStdString(name) && item->property("textFormat").isValid()) {
      ++seen;
      EXPECT_EQ(item->property("textFormat").toInt(), Qt::PlainText) << item->objectName().toStdString();
    }
    for (QQuickItem* child : item->childItems()) visit(child);
  };
  visit(rig.window->contentItem());
  EXPECT_GE(seen, 4) << "the title, the source, the field and the entry";
}

}  // namespace
}  // namespace tallyrig
