#include "app/GridMetrics.h"

#include <gtest/gtest.h>

namespace tallyrig {
namespace {

using enum TileDisplayMode;

TEST(GridMetrics, WindowIsAtLeastOneTileAndItsMarginsWide) {
  EXPECT_EQ(GridMetrics::minimumWidthFor(TileSize::small, false), 220 + 64);
  EXPECT_EQ(GridMetrics::minimumWidthFor(TileSize::medium, false), 320 + 64);
  EXPECT_EQ(GridMetrics::minimumWidthFor(TileSize::large, false), 460 + 64);
}

TEST(GridMetrics, EmptyWallNeedsTwoHundredAndTwenty) {
  for (const TileSize size : {TileSize::small, TileSize::medium, TileSize::large})
    EXPECT_EQ(GridMetrics::minimumHeightFor(size, {}, false), 220);
}

TEST(GridMetrics, HeightFollowsTheDisplayMode) {
  EXPECT_DOUBLE_EQ(GridMetrics::minimumHeightFor(TileSize::medium, {full}, false), 124 + 48);
  EXPECT_DOUBLE_EQ(GridMetrics::minimumHeightFor(TileSize::medium, {compact}, false), 124 * 0.72 + 48);
  EXPECT_DOUBLE_EQ(GridMetrics::minimumHeightFor(TileSize::medium, {minimal, minimal}, false), 107.52);
  EXPECT_DOUBLE_EQ(GridMetrics::minimumHeightFor(TileSize::large, {full}, false), 190 + 48);
}

TEST(GridMetrics, SmallestCardSetsTheHeight) {
  EXPECT_DOUBLE_EQ(GridMetrics::minimumHeightFor(TileSize::medium, {minimal, full, compact, minimal}, false), 107.52);
  EXPECT_DOUBLE_EQ(GridMetrics::minimumHeightFor(TileSize::small, {full, compact}, false), 88 * 0.72 + 48);
}

TEST(GridMetrics, HeightIsNeverBelowSeventyTwo) {
  for (const TileSize size : {TileSize::small, TileSize::medium, TileSize::large})
    for (const TileDisplayMode mode : {full, compact, minimal})
      for (const bool pinned : {false, true}) EXPECT_GE(GridMetrics::minimumHeightFor(size, {mode}, pinned), 72);
}

TEST(GridMetrics, PinnedWindowLeavesEightAroundTheCards) {
  EXPECT_EQ(GridMetrics::minimumWidthFor(TileSize::medium, true), 320 + 8);
  EXPECT_DOUBLE_EQ(GridMetrics::minimumHeightFor(TileSize::medium, {full}, true), 124 + 8);
  EXPECT_EQ(GridMetrics::minimumHeightFor(TileSize::medium, {}, true), 220);
}

TEST(GridMetrics, SmallestPinnedCardIsRaisedToSeventyTwo) {
  EXPECT_DOUBLE_EQ(GridMetrics::minimumHeightFor(TileSize::small, {minimal, minimal}, true), 72);
}

}  // namespace
}  // namespace tallyrig
