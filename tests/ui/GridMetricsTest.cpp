#include "app/GridMetrics.h"

#include <gtest/gtest.h>

namespace tallyrig {
namespace {

using enum TileDisplayMode;

TEST(GridMetrics, WindowIsAtLeastOneTileAndItsMarginsWide) {
  EXPECT_EQ(GridMetrics::minimumWidthFor(TileSize::small), 220 + 64);
  EXPECT_EQ(GridMetrics::minimumWidthFor(TileSize::medium), 320 + 64);
  EXPECT_EQ(GridMetrics::minimumWidthFor(TileSize::large), 460 + 64);
}

TEST(GridMetrics, EmptyWallNeedsTwoHundredAndTwenty) {
  for (const TileSize size : {TileSize::small, TileSize::medium, TileSize::large})
    EXPECT_EQ(GridMetrics::minimumHeightFor(size, {}), 220);
}

TEST(GridMetrics, HeightFollowsTheDisplayMode) {
  EXPECT_DOUBLE_EQ(GridMetrics::minimumHeightFor(TileSize::medium, {full}), 124 + 48);
  EXPECT_DOUBLE_EQ(GridMetrics::minimumHeightFor(TileSize::medium, {compact}), 124 * 0.72 + 48);
  EXPECT_DOUBLE_EQ(GridMetrics::minimumHeightFor(TileSize::medium, {minimal, minimal}), 107.52);
  EXPECT_DOUBLE_EQ(GridMetrics::minimumHeightFor(TileSize::large, {full}), 190 + 48);
}

TEST(GridMetrics, SmallestCardSetsTheHeight) {
  EXPECT_DOUBLE_EQ(GridMetrics::minimumHeightFor(TileSize::medium, {minimal, full, compact, minimal}), 107.52);
  EXPECT_DOUBLE_EQ(GridMetrics::minimumHeightFor(TileSize::small, {full, compact}), 88 * 0.72 + 48);
}

TEST(GridMetrics, HeightIsNeverBelowSeventyTwo) {
  for (const TileSize size : {TileSize::small, TileSize::medium, TileSize::large})
    for (const TileDisplayMode mode : {full, compact, minimal})
      EXPECT_GE(GridMetrics::minimumHeightFor(size, {mode}), 72);
}

}  // namespace
}  // namespace tallyrig
