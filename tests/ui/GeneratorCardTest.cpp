#include <gtest/gtest.h>

#include <QAnimationDriver>
#include <chrono>
#include <string>

#include "reader/CardColour.h"
#include "ui/UiRig.h"

namespace tallyrig {
namespace {

using namespace std::chrono_literals;

/// A window with one card and a device with eight outputs.
class GeneratorCard : public testing::Test {
 protected:
  GeneratorCard() {
    desk = &rig.wall.world.audio().addDevice({.name = "Desk", .outputGroups = {8}});
    rig.wall.world.wallClock().set(std::chrono::sys_days(std::chrono::year(2026) / 3 / 5) + 14h + 30min + 15s);
    rig.open();
  }

  void openSettings() {
    rig.click(rig.find("settingsButton"));
    ASSERT_TRUE(rig.popoverIsOpen());
  }
  /// Sets up a generator into channel 3 of the desk, by mouse.
  void make(const QString& start) {
    openSettings();
    rig.click(rig.find("segmentGenerator"));
    rig.click(rig.find("segmentLTC", rig.find("outputProtocol")));
    rig.choose("outputRate", "25 fps");
    rig.choose("outputDevice", "Desk");
    rig.choose("outputChannel", "Channel 3");
    retype(start);
    rig.click(rig.find("apply"));
    ASSERT_FALSE(rig.popoverIsOpen());
  }
  void retype(const QString& start) {
    rig.click(rig.find("startTime"));
    rig.press(Qt::Key_A, Qt::ControlModifier);
    rig.type(start);
  }
  QColor border() { return rig.tile(0)->property("statusColor").value<QColor>(); }

  UiRig rig;
  SimulatedDevice* desk;
};

/// Qt's animations, in the steps that a test makes.
class SteppedAnimations final : public QAnimationDriver {
 public:
  SteppedAnimations() { install(); }
  ~SteppedAnimations() override { uninstall(); }
  SteppedAnimations(const SteppedAnimations&) = delete;
  SteppedAnimations& operator=(const SteppedAnimations&) = delete;

  qint64 elapsed() const override { return elapsed_; }
  void step(std::chrono::milliseconds duration) {
    elapsed_ += duration.count();
    advanceAnimation();
  }

 private:
  qint64 elapsed_ = 0;
};

const QColor kGreen = QColor::fromRgbF(0.2F, 0.85F, 0.4F);
const QColor kRed = QColor::fromRgbF(0.8F, 0.2F, 0.2F);

TEST_F(GeneratorCard, BorderTakesItsNewColourInThreeTenthsOfASecond) {
  make("10:00:00:00");
  SteppedAnimations animations;
  const auto line = [&] { return rig.find("surface")->property("lineColor").value<QColor>(); };
  ASSERT_EQ(line(), kRed);
  rig.click(rig.find("startButton"));
  ASSERT_EQ(border(), kGreen);
  EXPECT_EQ(line(), kRed);
  animations.step(150ms);
  for (const auto channel : {&QColor::redF, &QColor::greenF, &QColor::blueF}) {
    const QColor now = line();
    EXPECT_NEAR((now.*channel)(), ((kRed.*channel)() + (kGreen.*channel)()) / 2, 1 / 255.0);
  }
  animations.step(149ms);
  EXPECT_NE(line(), kGreen);
  animations.step(1ms);
  EXPECT_EQ(line(), kGreen);
}

TEST_F(GeneratorCard, IsMadeSetAndStartedByMouse) {
  make("10:20:30:12");
  EXPECT_EQ(rig.text("digits"), "10:20:30:12");
  EXPECT_EQ(rig.text("rate"), "25 fps");
  EXPECT_EQ(rig.text("roleChip"), "GEN");
  EXPECT_EQ(rig.find("outputChip"), nullptr);
  EXPECT_EQ(rig.text("sourceLine"), "Desk");
  EXPECT_EQ(rig.text("targetLine"), "Output channel 3");
  EXPECT_EQ(rig.text("statusText"), "STOPPED");
  EXPECT_EQ(rig.text("startButton"), "START");
  EXPECT_EQ(rig.find("startButton")->property("symbol"), "play");
  EXPECT_EQ(border(), kRed);

  rig.click(rig.find("startButton"));
  EXPECT_EQ(rig.text("statusText"), "GENERATING");
  EXPECT_EQ(rig.text("startButton"), "STOP");
  EXPECT_EQ(rig.find("startButton")->property("symbol"), "stop");
  EXPECT_EQ(border(), kGreen);
  EXPECT_TRUE(desk->isRunning());
  rig.runFor(2s);
  EXPECT_EQ(rig.text("digits").left(8), "10:20:32");

  rig.click(rig.find("startButton"));
  rig.runFor(500ms);
  EXPECT_EQ(rig.text("statusText"), "STOPPED");
  EXPECT_EQ(rig.text("startButton"), "START");
  EXPECT_EQ(border(), kRed);
  const QString held = rig.text("digits");
  rig.runFor(500ms);
  EXPECT_EQ(rig.text("digits"), held);
}

TEST_F(GeneratorCard, IsStartedAndStoppedFromTheKeyboard) {
  make("10:00:00:00");
  for (int i = 0; i < 10 && rig.window->activeFocusItem() != rig.find("startButton"); ++i) rig.press(Qt::Key_Tab);
  ASSERT_EQ(rig.window->activeFocusItem(), rig.find("startButton"));
  EXPECT_TRUE(rig.find("startButton")->property("visualFocus").toBool());
  rig.press(Qt::Key_Space);
  EXPECT_EQ(rig.text("statusText"), "GENERATING");
  rig.press(Qt::Key_Space);
  rig.runFor(500ms);
  EXPECT_EQ(rig.text("statusText"), "STOPPED");
}

TEST_F(GeneratorCard, KeepsItsButtonInCompactAndHasNoneInMinimal) {
  make("10:00:00:00");
  rig.click(rig.find("modeButton"));
  rig.click(rig.find("startButton"));
  EXPECT_EQ(rig.text("statusText"), "GENERATING");
  rig.click(rig.find("modeButton"));
  EXPECT_EQ(rig.find("startButton"), nullptr);
  EXPECT_EQ(rig.find("statusText"), nullptr);
  EXPECT_NE(rig.find("digits"), nullptr);
}

TEST_F(GeneratorCard, WithoutAnOutputStartsNothing) {
  openSettings();
  rig.click(rig.find("segmentGenerator"));
  rig.click(rig.find("apply"));
  EXPECT_EQ(rig.text("sourceLine"), "No output");
  EXPECT_EQ(rig.text("targetLine"), "Output disabled");
  rig.click(rig.find("startButton"));
  EXPECT_EQ(rig.text("statusText"), "STOPPED");
  EXPECT_EQ(rig.text("startButton"), "START");
  EXPECT_EQ(rig.find("warningRow"), nullptr);
}

TEST_F(GeneratorCard, ShowsWhyItDoesNotStart) {
  openSettings();
  rig.click(rig.find("segmentGenerator"));
  rig.click(rig.find("segmentLTC", rig.find("outputProtocol")));
  rig.click(rig.find("apply"));
  EXPECT_EQ(rig.text("sourceLine"), "No output device");
  rig.click(rig.find("startButton"));
  EXPECT_EQ(rig.text("warningText"), "No LTC output device selected");
  EXPECT_EQ(rig.text("statusText"), "STOPPED");
  rig.click(rig.find("modeButton"));
  EXPECT_NE(rig.find("warningIcon"), nullptr);
}

TEST_F(GeneratorCard, StartTimeIsSettledWhenTheFieldLosesTheKeyboard) {
  openSettings();
  EXPECT_EQ(rig.find("startTime"), nullptr);
  rig.click(rig.find("segmentGenerator"));
  EXPECT_EQ(rig.text("startTime"), "01:00:00:00");
  EXPECT_EQ(rig.find("startTime")->property("placeholderText"), "HH:MM:SS:FF");
  retype("25:99:7");
  rig.press(Qt::Key_Tab);
  EXPECT_EQ(rig.text("startTime"), "01:00:00:00");
  retype("25:99:7:99");
  rig.press(Qt::Key_Tab);
  EXPECT_EQ(rig.text("startTime"), "23:59:07:29");
  rig.press(Qt::Key_Escape);
  EXPECT_EQ(rig.card(0).settings().generatorStartHours, 1);
}

TEST_F(GeneratorCard, TimeOfDayRunsInAFieldThatCannotBeTyped) {
  openSettings();
  rig.click(rig.find("segmentGenerator"));
  rig.click(rig.find("segmentTOD"));
  EXPECT_EQ(rig.find("startTime"), nullptr);
  QQuickItem* field = rig.find("timeOfDay");
  ASSERT_NE(field, nullptr);
  EXPECT_TRUE(field->property("readOnly").toBool());
  const QString first = field->property("text").toString();
  EXPECT_EQ(first.left(8), "14:30:15");
  rig.runFor(1s);
  EXPECT_EQ(field->property("text").toString().left(8), "14:30:16");
  rig.click(field);
  rig.type("9");
  EXPECT_EQ(field->property("text").toString().left(6), "14:30:");
  rig.click(rig.find("segmentManual"));
  EXPECT_EQ(rig.text("startTime").left(8), "14:30:15") << "what the choice of the time of day took";
  rig.click(rig.find("segmentTOD"));
  rig.click(rig.find("apply"));
  EXPECT_EQ(rig.card(0).settings().generatorStartMode, GeneratorStartMode::localTime);
  EXPECT_EQ(rig.text("digits").left(6), "14:30:");
}

}  // namespace
}  // namespace tallyrig
