#include <gtest/gtest.h>

#include "ui/UiRig.h"

namespace tallyrig {
namespace {

using namespace std::chrono_literals;

/// One below the other, about two of them in sight.
void openSixCardsInALowWindow(UiRig& rig) {
  rig.open();
  rig.window->resize(384, 400);
  for (int i = 0; i < 5; ++i) rig.store().addReader();
  rig.runFor(20ms);
}

TEST(ReaderGridView, StartsTheSavedCardsWhenTheWindowAppears) {
  UiRig rig;
  rig.open();
  EXPECT_EQ(rig.wall.world.logCount("ReaderInstance: no device selected, not requesting audio permission"), 1U);
}

TEST(ReaderGridView, NewCardGetsATileOfItsOwn) {
  UiRig rig;
  rig.open();
  ASSERT_EQ(rig.findAll("tile").size(), 1U);
  rig.click(rig.find("addReader"));
  ASSERT_EQ(rig.findAll("tile").size(), 2U);
  EXPECT_EQ(rig.text("label", rig.tile(1)), "Reader 2");
  EXPECT_EQ(rig.store().count(), 2);
}

TEST(ReaderGridView, RemoveButtonTakesItsCardAway) {
  UiRig rig;
  rig.open();
  rig.click(rig.find("addReader"));
  rig.click(rig.find("addReader"));
  rig.click(rig.find("removeButton", rig.tile(1)));
  ASSERT_EQ(rig.findAll("tile").size(), 2U);
  EXPECT_EQ(rig.text("label", rig.tile(0)), "Reader 1");
  EXPECT_EQ(rig.text("label", rig.tile(1)), "Reader 3");
}

TEST(ReaderGridView, EmptyWallSaysSoUntilACardIsAdded) {
  UiRig rig;
  rig.open();
  EXPECT_EQ(rig.find("emptyWall"), nullptr);
  rig.click(rig.find("removeButton"));
  EXPECT_TRUE(rig.findAll("tile").empty());
  EXPECT_NE(rig.find("emptyWall"), nullptr);
  EXPECT_EQ(rig.window->minimumHeight(), 220);
  rig.click(rig.find("addReader"));
  EXPECT_EQ(rig.find("emptyWall"), nullptr);
  EXPECT_EQ(rig.findAll("tile").size(), 1U);
}

TEST(ReaderGridView, ClearingAllCardsLeavesTheEmptyWall) {
  UiRig rig;
  rig.open();
  rig.click(rig.find("addReader"));
  rig.store().clearAllReaders();
  rig.runFor(20ms);
  EXPECT_TRUE(rig.findAll("tile").empty());
  EXPECT_NE(rig.find("emptyWall"), nullptr);
}

TEST(ReaderGridView, ColumnsAreAsManyAsFitSixteenApart) {
  UiRig rig;
  rig.open();
  for (int i = 0; i < 4; ++i) rig.click(rig.find("addReader"));
  rig.window->resize(1080, 700);
  rig.runFor(20ms);
  EXPECT_EQ(rig.tile(0)->y(), rig.tile(2)->y());
  EXPECT_LT(rig.tile(2)->y(), rig.tile(3)->y());
  EXPECT_EQ(rig.tile(1)->x() - rig.tile(0)->x() - rig.tile(0)->width(), 16);
  EXPECT_EQ(rig.tile(3)->y() - rig.tile(0)->y() - rig.tile(0)->height(), 16);
  EXPECT_GE(rig.tile(0)->width(), 320);

  rig.window->resize(700, 700);
  rig.runFor(20ms);
  EXPECT_EQ(rig.tile(0)->y(), rig.tile(1)->y());
  EXPECT_LT(rig.tile(1)->y(), rig.tile(2)->y());
  rig.window->resize(384, 700);
  rig.runFor(20ms);
  EXPECT_LT(rig.tile(0)->y(), rig.tile(1)->y());
  EXPECT_GE(rig.tile(0)->width(), 320);
}

TEST(ReaderGridView, ATileIsNeverWiderThanEightHundred) {
  UiRig rig;
  rig.open();
  rig.store().setGlobalTileSize(TileSize::large);
  rig.window->resize(940, 700);
  rig.runFor(20ms);
  EXPECT_EQ(rig.tile(0)->width(), 800);
  EXPECT_EQ(rig.tile(0)->mapToScene({0, 0}).x(), 70);
}

TEST(ReaderGridView, WindowsLeastSizeFollowsTileSizeAndModes) {
  UiRig rig;
  rig.open();
  EXPECT_EQ(rig.window->minimumWidth(), 384);
  EXPECT_EQ(rig.window->minimumHeight(), 172);
  rig.click(rig.find("addReader"));
  rig.card(1).set(&ReaderSnapshot::displayMode, TileDisplayMode::minimal);
  EXPECT_EQ(rig.window->minimumHeight(), 108);
  rig.store().setGlobalTileSize(TileSize::small);
  EXPECT_EQ(rig.window->minimumWidth(), 284);
  EXPECT_EQ(rig.window->minimumHeight(), 91);
}

TEST(ReaderGridView, CardsOutOfSightDrawNothing) {
  UiRig rig;
  openSixCardsInALowWindow(rig);
  ASSERT_EQ(rig.findAll("tile").size(), 6U);
  EXPECT_NE(rig.find("digits", rig.tile(0)), nullptr);
  EXPECT_EQ(rig.find("digits", rig.tile(5)), nullptr);
  QQuickItem* scroller = rig.find("scroller");
  scroller->setProperty("contentY", scroller->property("contentHeight").toDouble() - scroller->height());
  rig.runFor(20ms);
  EXPECT_EQ(rig.find("digits", rig.tile(0)), nullptr);
  EXPECT_NE(rig.find("digits", rig.tile(5)), nullptr);
}

TEST(ReaderGridView, KeyboardBringsACardIntoSight) {
  UiRig rig;
  openSixCardsInALowWindow(rig);
  const qreal height = rig.tile(0)->height();
  EXPECT_EQ(rig.tile(5)->height(), height);
  rig.press(Qt::Key_Backtab, Qt::ShiftModifier);
  ASSERT_EQ(rig.window->activeFocusItem(), rig.find("removeButton", rig.tile(5)));
  EXPECT_NE(rig.find("digits", rig.tile(5)), nullptr);
  EXPECT_EQ(rig.find("digits", rig.tile(0)), nullptr);
  EXPECT_LE(rig.tile(5)->mapToScene({0, height}).y(), 400);
  rig.tabTo(rig.find("modeButton", rig.tile(0)));
  EXPECT_NE(rig.find("digits", rig.tile(0)), nullptr);
}

TEST(ReaderGridView, PressedButtonsStayUnderTheMouse) {
  UiRig rig;
  openSixCardsInALowWindow(rig);
  QQuickItem* scroller = rig.find("scroller");
  for (const std::size_t card : {std::size_t{1}, std::size_t{2}}) {
    // The first of two cards in sight is cut off above, the second below.
    const qreal above = rig.tile(card)->mapToItem(scroller, {}).y();
    const qreal place = scroller->property("contentY").toDouble() + above + 3;
    scroller->setProperty("contentY", place);
    rig.runFor(20ms);
    for (const std::size_t pressed : {card, card + 1}) {
      QQuickItem* button = rig.find("modeButton", rig.tile(pressed));
      const QString before = rig.card(pressed).displayModeText();
      rig.click(button);
      ASSERT_EQ(rig.window->activeFocusItem(), button);
      EXPECT_NE(rig.card(pressed).displayModeText(), before);
      EXPECT_EQ(scroller->property("contentY").toDouble(), place);
    }
  }
}

TEST(ReaderGridView, KeyboardReachesAddAndTheTilesButtons) {
  UiRig rig;
  rig.open();
  rig.press(Qt::Key_Tab);
  ASSERT_EQ(rig.window->activeFocusItem(), rig.find("addReader"));
  rig.press(Qt::Key_Space);
  EXPECT_EQ(rig.store().count(), 2);
  for (const char* tool : {"pin", "globalSettings", "tools", "about"}) {
    rig.press(Qt::Key_Tab);
    EXPECT_EQ(rig.window->activeFocusItem(), rig.find(tool));
  }
  rig.press(Qt::Key_Tab);
  ASSERT_EQ(rig.window->activeFocusItem(), rig.find("modeButton", rig.tile(0)));
  rig.press(Qt::Key_Space);
  EXPECT_EQ(rig.card(0).displayModeText(), "compact");
  rig.press(Qt::Key_Tab);
  EXPECT_EQ(rig.window->activeFocusItem(), rig.find("settingsButton", rig.tile(0)));
  rig.press(Qt::Key_Tab);
  ASSERT_EQ(rig.window->activeFocusItem(), rig.find("removeButton", rig.tile(0)));
  rig.press(Qt::Key_Space);
  EXPECT_EQ(rig.store().count(), 1);
}

TEST(ReaderGridView, ARemovedCardThatHadTheKeyboardLeavesItUsable) {
  UiRig rig;
  rig.open();
  rig.tabTo(rig.find("removeButton"));
  rig.press(Qt::Key_Space);
  ASSERT_EQ(rig.store().count(), 0);
  rig.press(Qt::Key_Tab);
  ASSERT_EQ(rig.window->activeFocusItem(), rig.find("addReader"));
}

}  // namespace
}  // namespace tallyrig
