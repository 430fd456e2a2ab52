#include "app/WindowFrame.h"

#include <gtest/gtest.h>

namespace tallyrig {
namespace {

TEST(WindowFrame, TextHoldsPlaceAndSize) {
  EXPECT_EQ(toFrameText({-12, 34, 1080, 700}), "{{-12, 34}, {1080, 700}}");
  EXPECT_EQ(frameFromText("{{-12, 34}, {1080, 700}}"), QRect(-12, 34, 1080, 700));
  EXPECT_EQ(frameFromText(" {{1.4,2.6},{3,4}} "), QRect(1, 3, 3, 4));
}

TEST(WindowFrame, TextWithoutASizeOrOfAnotherShapeIsNone) {
  for (const char* text :
       {"", "{{0, 0}, {0, 0}}", "{{0, 0}, {100, 0}}", "{{0, 0}, {0, 100}}", "{{0, 0}, {-5, 100}}", "{{0, 0}}",
        "{{a, 0}, {1, 1}}", "{{0, 0}, {1, 1}", "{{0, 0}, {nan, inf}}", "{{0, 0}, {1e30, 1e30}}", "{{0, 0, 3}, {1, 1}}"})
    EXPECT_FALSE(frameFromText(text)) << text;
}

TEST(WindowFrame, FrameGoesToTheFirstScreenThatItTouches) {
  const std::vector<QRect> screens{{0, 0, 1000, 800}, {1000, 0, 500, 400}};
  EXPECT_EQ(clampedToScreens({100, 100, 300, 200}, screens), QRect(100, 100, 300, 200));
  EXPECT_EQ(clampedToScreens({900, 100, 300, 200}, screens), QRect(700, 100, 300, 200));
  EXPECT_EQ(clampedToScreens({1400, 300, 300, 200}, screens), QRect(1200, 200, 300, 200));
  EXPECT_EQ(clampedToScreens({-50, -50, 2000, 2000}, screens), QRect(0, 0, 1000, 800));
}

TEST(WindowFrame, FrameOfAScreenThatIsGoneOpensOnTheMainScreen) {
  EXPECT_EQ(clampedToScreens({5000, 5000, 300, 200}, {{0, 0, 1000, 800}}), QRect(700, 600, 300, 200));
  EXPECT_EQ(clampedToScreens({5000, 5000, 300, 200}, {}), QRect(5000, 5000, 300, 200));
}

TEST(WindowFrame, WallTakesUpToThreeColumns) {
  EXPECT_EQ(wallSize(0, TileSize::medium), QSize(320 + 64, 32));
  EXPECT_EQ(wallSize(1, TileSize::small), QSize(220 + 64, 145 + 48));
  EXPECT_EQ(wallSize(2, TileSize::large), QSize(2 * 460 + 16 + 64, 250 + 48));
  EXPECT_EQ(wallSize(3, TileSize::medium), QSize(3 * 320 + 2 * 16 + 64, 195 + 48));
  EXPECT_EQ(wallSize(4, TileSize::medium), QSize(3 * 320 + 2 * 16 + 64, 2 * 195 + 16 + 48));
  EXPECT_EQ(wallSize(9, TileSize::small), QSize(3 * 220 + 2 * 16 + 64, 3 * 145 + 2 * 16 + 48));
}

}  // namespace
}  // namespace tallyrig
