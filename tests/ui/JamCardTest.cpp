#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "app/JamPulse.h"
#include "reader/CardColour.h"
#include "support/LTCSignal.h"
#include "ui/UiRig.h"

namespace tallyrig {
namespace {

using namespace std::chrono_literals;

const QColor kOrange = QColor::fromRgbF(1.0F, 0.55F, 0.0F);
const QColor kGreen = QColor::fromRgbF(0.2F, 0.85F, 0.4F);
const QColor kRed = QColor::fromRgbF(0.8F, 0.2F, 0.2F);

/// A window with one card that re-emits what comes in on channel 1 of a device, as long as something does.
class JamCard : public testing::Test {
 protected:
  JamCard() {
    rack = &rig.wall.world.audio().addDevice({.name = "Rack", .inputGroups = {2}, .outputGroups = {2}});
    rack->feed(0, [this](std::int64_t position, std::span<float> samples) {
      if (connected) signal.fill(position, samples);
    });
    rig.open();
    rig.card(0).selectInputDevice(rack->id(), rig.wall.registry->audioInputs());
    rig.card(0).set(&ReaderSnapshot::outputProtocol, OutputProtocol::ltc);
    rig.card(0).selectOutputDevice(rack->id(), rig.wall.registry->audioOutputs());
    rig.card(0).set(&ReaderSnapshot::selectedOutputChannel, 1);
    rig.card(0).startMonitoring();
    rig.runFor(200ms);
  }

  bool runUntil(const QString& status) {
    for (int i = 0; i < 500 && rig.text("statusText") != status; ++i) rig.runUnseen(8ms);
    return rig.text("statusText") == status;
  }
  QColor border() { return rig.tile(0)->property("statusColor").value<QColor>(); }
  double opacityOf(const char* name) { return rig.find(name)->opacity(); }

  LTCSignal signal{MTCFrameRate::fps25, Timecode{10, 0, 0, 0, MTCFrameRate::fps25}, 48000};
  bool connected = false;
  UiRig rig;
  SimulatedDevice* rack;
};

TEST_F(JamCard, WalksThroughTheStatesAsItsSignalComesAndGoes) {
  EXPECT_EQ(rig.text("outputChip"), "→ LTC");
  EXPECT_EQ(rig.text("statusText"), "NO SIGNAL");
  EXPECT_EQ(rig.text("jamButton"), "JAM SYNC");
  EXPECT_EQ(rig.find("jamButton")->property("symbol"), "lock-open");
  EXPECT_EQ(border(), kRed);

  rig.click(rig.find("jamButton"));
  EXPECT_EQ(rig.text("statusText"), "WAITING");
  EXPECT_EQ(rig.text("jamButton"), "STOP JAM");
  EXPECT_EQ(rig.find("jamButton")->property("symbol"), "lock");
  EXPECT_EQ(border(), kOrange);

  connected = true;
  EXPECT_TRUE(runUntil("ACQUIRING"));
  EXPECT_EQ(border(), kOrange);
  EXPECT_TRUE(runUntil("LOCKED"));
  rig.runFor(1s);
  EXPECT_EQ(border(), kOrange) << "jam sync is orange, not the green of a plain lock";
  EXPECT_EQ(rig.text("digits").left(5), "10:00");

  connected = false;
  EXPECT_TRUE(runUntil("FREEWHEELING"));
  const QString atLoss = rig.text("digits");
  rig.runFor(1s);
  EXPECT_NE(rig.text("digits"), atLoss) << "the display runs on with the output";
  connected = true;
  EXPECT_TRUE(runUntil("REACQUIRING"));
  EXPECT_TRUE(runUntil("LOCKED"));

  rig.click(rig.find("jamButton"));
  EXPECT_EQ(rig.text("statusText"), "LOCKED");
  EXPECT_EQ(rig.text("jamButton"), "JAM SYNC");
  EXPECT_EQ(border(), kGreen);
}

TEST_F(JamCard, LampAndButtonBreatheOnlyWhileJammed) {
  for (int i = 0; i < 20; ++i) {
    rig.runUnseen(70ms);
    ASSERT_EQ(opacityOf("lamp"), 1);
    ASSERT_EQ(opacityOf("jamButton"), 1);
  }
  rig.click(rig.find("jamButton"));
  double lowest = 1;
  double highest = 0;
  for (int i = 0; i < 100; ++i) {
    rig.runUnseen(16ms);
    const double phase = JamPulse::phaseAt(rig.renderClock->seconds());
    ASSERT_NEAR(opacityOf("lamp"), 0.4 + 0.6 * phase, 1e-9);
    ASSERT_NEAR(opacityOf("jamButton"), 0.35 + 0.65 * phase, 1e-9);
    lowest = std::min(lowest, phase);
    highest = std::max(highest, phase);
  }
  EXPECT_LT(lowest, 0.01);
  EXPECT_GT(highest, 0.99);
  rig.press(Qt::Key_Escape);
  rig.card(0).disableJam();
  rig.runFor(20ms);
  EXPECT_EQ(opacityOf("lamp"), 1);
  EXPECT_EQ(opacityOf("jamButton"), 1);
}

TEST_F(JamCard, ShowsItsOwnTimecodeAndNotTheInputsRunningOn) {
  rig.click(rig.find("jamButton"));
  connected = true;
  ASSERT_TRUE(runUntil("LOCKED"));
  connected = false;
  ASSERT_TRUE(runUntil("FREEWHEELING"));
  for (int i = 0; i < 60; ++i) {
    rig.runUnseen(16ms);
    ASSERT_EQ(rig.card(0).displayedTimecode(rig.renderClock->hostTime()), rig.card(0).currentTimecode());
  }
}

TEST_F(JamCard, IsJammedFromTheKeyboard) {
  for (int i = 0; i < 10 && rig.window->activeFocusItem() != rig.find("jamButton"); ++i) rig.press(Qt::Key_Tab);
  ASSERT_EQ(rig.window->activeFocusItem(), rig.find("jamButton"));
  rig.press(Qt::Key_Space);
  EXPECT_EQ(rig.text("statusText"), "WAITING");
  rig.press(Qt::Key_Space);
  EXPECT_EQ(rig.text("statusText"), "NO SIGNAL");
}

TEST_F(JamCard, IsThereInCompactButNotInMinimal) {
  rig.click(rig.find("modeButton"));
  EXPECT_NE(rig.find("jamButton"), nullptr);
  rig.click(rig.find("modeButton"));
  EXPECT_EQ(rig.find("jamButton"), nullptr);
}

TEST_F(JamCard, AReaderWithoutOutputCannotBeJammed) {
  rig.card(0).set(&ReaderSnapshot::outputProtocol, OutputProtocol::disabled);
  rig.runFor(20ms);
  EXPECT_EQ(rig.find("jamButton"), nullptr);
  EXPECT_EQ(rig.find("startButton"), nullptr);
  EXPECT_EQ(rig.find("outputChip"), nullptr);
}

TEST_F(JamCard, FooterFitsTheNarrowestCardInEveryState) {
  for (const TileSize size : {TileSize::small, TileSize::medium, TileSize::large}) {
    rig.store().setGlobalTileSize(size);
    rig.window->resize(rig.window->minimumWidth(), 400);
    rig.runFor(20ms);
    const QRectF before = rig.find("jamButton")->mapRectToScene(rig.find("jamButton")->boundingRect());
    rig.click(rig.find("jamButton"));
    connected = true;
    ASSERT_TRUE(runUntil("LOCKED"));
    connected = false;
    ASSERT_TRUE(runUntil("FREEWHEELING"));
    rig.runFor(20ms);
    const QRectF button = rig.find("jamButton")->mapRectToScene(rig.find("jamButton")->boundingRect());
    const QRectF status = rig.find("statusText")->mapRectToScene(rig.find("statusText")->boundingRect());
    const QRectF tile = rig.tile(0)->mapRectToScene(rig.tile(0)->boundingRect());
    EXPECT_EQ(button, before) << "the button keeps its place";
    EXPECT_FALSE(button.intersects(status));
    EXPECT_TRUE(tile.contains(status));
    EXPECT_TRUE(tile.contains(button));
    rig.click(rig.find("jamButton"));
  }
}

TEST_F(JamCard, ButtonsTextReadsOnEveryPaletteColour) {
  for (const bool jammed : {false, true}) {
    if (jammed) rig.click(rig.find("jamButton"));
    for (const std::string& hex : cardPalette()) {
      rig.card(0).set(&ReaderSnapshot::backgroundColorHex, hex);
      rig.runFor(20ms);
      const QQuickItem* button = rig.find("jamButton");
      const auto colour = [](const QColor& c) { return CardColour{c.redF(), c.greenF(), c.blueF(), c.alphaF()}; };
      const CardColour ground = blended(colour(button->property("fill").value<QColor>()), colourFromHex(hex).value());
      const CardColour text = blended(colour(button->property("labelColor").value<QColor>()), ground);
      EXPECT_GE(contrastRatio(text, ground), 4.5) << hex << (jammed ? " jammed" : "");
    }
  }
}

TEST(JamPulse, GoesUpAndDownInSevenTenthsOfASecondEach) {
  EXPECT_NEAR(JamPulse::phaseAt(0), 0, 1e-9);
  EXPECT_NEAR(JamPulse::phaseAt(0.35), 0.5, 1e-9);
  EXPECT_NEAR(JamPulse::phaseAt(0.7), 1, 1e-9);
  EXPECT_NEAR(JamPulse::phaseAt(1.05), 0.5, 1e-9);
  EXPECT_NEAR(JamPulse::phaseAt(1.4), 0, 1e-9);
  EXPECT_LT(JamPulse::phaseAt(0.1), 0.1 / 0.7) << "it eases in";
  EXPECT_GT(JamPulse::phaseAt(0.6), 0.6 / 0.7) << "it eases out";
}

}  // namespace
}  // namespace tallyrig
