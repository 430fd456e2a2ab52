#include "app/CardSurface.h"

#include <gtest/gtest.h>

#include <cmath>

#include "ui/UiRig.h"

namespace tallyrig {
namespace {

using namespace std::chrono_literals;

const QRectF kPlate(0, 0, 200, 100);

TEST(CardSurface, MiddleOfACornerIsThatOfTheCircle) {
  const QPainterPath outline = CardSurface::outline(kPlate, 16);
  const double middle = 16 - 16 / std::sqrt(2.0);
  for (const auto& [inside, corner] :
       {std::pair(QPointF(1, 1), kPlate.topLeft()), std::pair(QPointF(-1, 1), kPlate.topRight()),
        std::pair(QPointF(-1, -1), kPlate.bottomRight()), std::pair(QPointF(1, -1), kPlate.bottomLeft())}) {
    EXPECT_TRUE(outline.contains(corner + inside * (middle + 0.1)));
    EXPECT_FALSE(outline.contains(corner + inside * (middle - 0.1)));
  }
}

TEST(CardSurface, CornersBeginToBendBeforeTheCircleWould) {
  const QPainterPath outline = CardSurface::outline(kPlate, 16);
  EXPECT_FALSE(outline.contains(QPointF(16, 0.15)));
  EXPECT_TRUE(outline.contains(QPointF(25, 0.05)));
  EXPECT_EQ(outline.boundingRect(), kPlate);
}

TEST(CardSurface, ALowPlateKeepsItsSides) {
  const QRectF low(0, 0, 200, 30);
  const QPainterPath outline = CardSurface::outline(low, 16);
  EXPECT_EQ(outline.boundingRect(), low);
  EXPECT_TRUE(outline.contains(QPointF(100, 0.1)));
}

TEST(CardSurface, LineOfSixLiesOnTheEdgeOfTheCard) {
  UiRig rig;
  rig.open();
  const QQuickItem* surface = rig.find("surface");
  const QColor line = surface->property("lineColor").value<QColor>();
  const QColor fill = surface->property("color").value<QColor>();
  const QColor ground = rig.pixel(rig.tile(0), {-6, 60});
  for (const double x : {-3.0, 0.0, 2.0}) EXPECT_EQ(rig.pixel(rig.tile(0), {x, 60}), line) << x;
  for (const double x : {3.0, 24.0, 25.0}) EXPECT_EQ(rig.pixel(rig.tile(0), {x, 60}), fill) << x;
  EXPECT_EQ(rig.pixel(rig.tile(0), {-4, 60}), ground);
  EXPECT_EQ(rig.pixel(rig.tile(0), {0.5, 0.5}), ground) << "outside the corner";
}

TEST(CardSurface, ATransparentCardLetsTheWindowThrough) {
  UiRig rig;
  rig.open();
  rig.card(0).set(&ReaderSnapshot::backgroundColorHex, std::string("#00000000"));
  rig.runFor(20ms);
  EXPECT_EQ(rig.pixel(rig.tile(0), {30, 60}), rig.pixel(rig.tile(0), {-6, 60}));
}

}  // namespace
}  // namespace tallyrig
