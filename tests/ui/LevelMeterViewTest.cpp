#include "app/LevelMeterView.h"

#include <gtest/gtest.h>

#include <cmath>

#include "ui/UiRig.h"

namespace tallyrig {
namespace {

using namespace std::chrono_literals;

TEST(LevelMeterView, FirstBarIsLitInSilenceAndAllAtFullScale) {
  EXPECT_EQ(LevelMeterView::litCountAt(0), 1);
  EXPECT_EQ(LevelMeterView::litCountAt(1), 20);
}

TEST(LevelMeterView, BarIsLitUpToItsOwnPosition) {
  EXPECT_EQ(LevelMeterView::litCountAt(std::nextafter(0.25F, 0.0F)), 5);
  EXPECT_EQ(LevelMeterView::litCountAt(0.25F), 6);
  EXPECT_EQ(LevelMeterView::litCountAt(0.5F), 11);
  EXPECT_EQ(LevelMeterView::litCountAt(0.96F), 20);
}

TEST(LevelMeterView, LevelsOutsideTheScaleStayInsideTheMeter) {
  EXPECT_EQ(LevelMeterView::litCountAt(-1), 0);
  EXPECT_EQ(LevelMeterView::litCountAt(7), 20);
  EXPECT_EQ(LevelMeterView::litCountAt(NAN), 0);
}

TEST(LevelMeterView, BarsAreGreenThenAmberThenRed) {
  const QColor green = QColor::fromRgbF(0.2F, 0.85F, 0.35F);
  const QColor amber = QColor::fromRgbF(1.0F, 0.7F, 0.0F);
  const QColor red = QColor::fromRgbF(0.95F, 0.25F, 0.25F);
  EXPECT_EQ(LevelMeterView::litColour(0), green);
  EXPECT_EQ(LevelMeterView::litColour(12), green);  // position 0.60
  EXPECT_EQ(LevelMeterView::litColour(13), amber);  // position 0.65
  EXPECT_EQ(LevelMeterView::litColour(16), amber);  // position 0.80
  EXPECT_EQ(LevelMeterView::litColour(17), red);    // position 0.85
  EXPECT_EQ(LevelMeterView::litColour(19), red);
}

TEST(LevelMeterView, ShowsThePeakOfTheCardsInput) {
  UiRig rig;
  SimulatedDevice& device = rig.wall.world.audio().addDevice({.name = "Rack", .inputGroups = {2}});
  device.feed(0, [](std::int64_t, std::span<float> samples) { std::ranges::fill(samples, 0.72F); });
  rig.open();
  rig.card(0).selectInputDevice(device.id(), rig.wall.registry->audioInputs());
  rig.card(0).startMonitoring();
  rig.runFor(1s);

  QQuickItem* meter = rig.find("meter");
  ASSERT_NE(meter, nullptr);
  EXPECT_EQ(meter->property("litCount").toInt(), 15);
  const auto barColour = [&](int segment) {
    return rig.pixel(meter, {(segment + 0.5) * (meter->width() + 2) / 20 - 1, meter->height() / 2});
  };
  EXPECT_EQ(barColour(0), QColor::fromRgb(LevelMeterView::litColour(0).rgb()));
  EXPECT_EQ(barColour(14), QColor::fromRgb(LevelMeterView::litColour(14).rgb()));
  EXPECT_NE(barColour(15), QColor::fromRgb(LevelMeterView::litColour(15).rgb()));
}

}  // namespace
}  // namespace tallyrig
