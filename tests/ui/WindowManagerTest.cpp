#include "app/WindowManager.h"

#include <gtest/gtest.h>

#include <QGuiApplication>
#include <QScreen>
#include <QtTest/QTest>

#include "app/WindowFrame.h"
#include "ui/UiRig.h"

namespace tallyrig {
namespace {

using namespace std::chrono_literals;

constexpr const char* kFrame = "Tallyrig.MainWindowFrame";
constexpr const char* kManual = "Tallyrig.MainWindowManuallySized";
constexpr int kBar = 46;

std::optional<std::string> saved(UiRig& rig, const char* key) {
  return rig.wall.world.preferences().string(key);
}

QRect frameOf(const UiRig& rig) {
  return {rig.window->framePosition(), rig.window->size()};
}

TEST(WindowManager, OpensWhereItStoodLastAndHoldsThatForHalfASecond) {
  UiRig rig;
  rig.wall.world.preferences().setString(kFrame, "{{60, 70}, {500, 400}}");
  rig.open();
  EXPECT_EQ(frameOf(rig), QRect(60, 70, 500, 400));
  const int writes = rig.wall.world.preferences().writeCount();
  rig.window->resize(600, 450);
  rig.runFor(20ms);
  EXPECT_EQ(frameOf(rig), QRect(60, 70, 500, 400));
  rig.window->setPosition(5, 5);
  rig.runFor(20ms);
  EXPECT_EQ(frameOf(rig), QRect(60, 70, 500, 400));
  EXPECT_EQ(rig.wall.world.preferences().writeCount(), writes);

  rig.runFor(500ms);
  rig.window->resize(600, 450);
  rig.runFor(20ms);
  EXPECT_EQ(rig.window->size(), QSize(600, 450));
  EXPECT_EQ(saved(rig, kFrame), "{{60, 70}, {600, 450}}");
}

TEST(WindowManager, FrameOfNoSizeCountsAsNone) {
  UiRig rig;
  rig.wall.world.preferences().setString(kFrame, "{{60, 70}, {0, 0}}");
  rig.open();
  EXPECT_EQ(rig.window->size(), QSize(1080, 700));
}

TEST(WindowManager, ResizeByHandEndsTheFitForGood) {
  UiRig rig;
  rig.fitsWindow = true;
  rig.open();
  EXPECT_FALSE(saved(rig, kManual));
  rig.window->resize(700, 500);
  rig.runFor(20ms);
  EXPECT_EQ(saved(rig, kManual), "true");
  rig.store().addReader();
  rig.store().addReader();
  rig.runFor(20ms);
  EXPECT_EQ(rig.window->size(), QSize(700, 500));
}

TEST(WindowManager, FitsTheCardsAsTheyComeAndGrow) {
  UiRig rig;
  rig.fitsWindow = true;
  rig.open();
  EXPECT_EQ(rig.window->size(), QSize(1080, 700));
  rig.store().setGlobalTileSize(TileSize::small);
  rig.store().addReader();
  rig.runFor(20ms);
  EXPECT_EQ(rig.window->size(), wallSize(2, TileSize::small) + QSize(0, kBar));
  rig.store().addReader();
  rig.store().addReader();
  rig.runFor(20ms);
  const QRect available = QGuiApplication::primaryScreen()->availableGeometry().adjusted(24, 24, -24, -24);
  EXPECT_EQ(rig.window->height(), wallSize(4, TileSize::small).height() + kBar);
  EXPECT_LE(rig.window->width(), available.width());
  EXPECT_FALSE(saved(rig, kManual));
  EXPECT_TRUE(available.contains(rig.window->frameGeometry())) << toFrameText(rig.window->frameGeometry());
}

TEST(WindowManager, SavedWallIsFittedOnceItIsShown) {
  UiRig rig;
  rig.fitsWindow = true;
  rig.wall.world.preferences().setString("Tallyrig.GlobalTileSize", "Small");
  rig.wall.world.files().put("/home/user/.local/share/Tallyrig/readers.json", R"([{"label":"A"},{"label":"B"}])");
  rig.open();
  EXPECT_EQ(rig.window->size(), wallSize(2, TileSize::small) + QSize(0, kBar));
}

TEST(WindowManager, ResizeSoonAfterAFitIsSavedButNotTakenForTheUsers) {
  UiRig rig;
  rig.fitsWindow = true;
  rig.open();
  rig.store().addReader();
  rig.runFor(20ms);
  rig.window->resize(720, 500);
  rig.runFor(20ms);
  EXPECT_FALSE(saved(rig, kManual));
  EXPECT_NE(saved(rig, kFrame)->find("{720, 500}"), std::string::npos);
  rig.runFor(1s);
  rig.window->resize(710, 510);
  rig.runFor(20ms);
  EXPECT_EQ(saved(rig, kManual), "true");
}

TEST(WindowManager, AnEmptyWallIsNeverSmallerThanItsLeastSize) {
  UiRig rig;
  rig.fitsWindow = true;
  rig.open();
  rig.store().clearAllReaders();
  rig.runFor(20ms);
  EXPECT_EQ(rig.window->height(), 220);
}

TEST(WindowManager, PinnedWindowHasNoFrameFloatsAndFitsItsCard) {
  UiRig rig;
  rig.open();
  rig.click(rig.find("pin"));
  rig.runFor(20ms);
  EXPECT_TRUE(rig.windowManager->isOnTop());
  EXPECT_TRUE(rig.window->flags().testFlag(Qt::FramelessWindowHint));
  EXPECT_TRUE(rig.window->flags().testFlag(Qt::WindowStaysOnTopHint));
  EXPECT_EQ(rig.find("addReader"), nullptr);
  ASSERT_NE(rig.find("tile"), nullptr);
  EXPECT_EQ(rig.tile(0)->mapToScene({0, 0}), QPointF(4, 4));
  EXPECT_EQ(rig.tile(0)->width(), rig.window->width() - 8);
  EXPECT_EQ(rig.window->width(), 320 + 8);
  EXPECT_EQ(rig.window->height(), rig.tile(0)->height() + 8);
  EXPECT_FALSE(rig.find("scroller")->property("interactive").toBool());
  EXPECT_EQ(rig.window->framePosition().y(), QGuiApplication::primaryScreen()->geometry().y());
  EXPECT_EQ(rig.window->color().alpha(), 0);
}

TEST(WindowManager, EscapeUnpinsAndTheToolbarComesBack) {
  UiRig rig;
  rig.open();
  const QRect before = frameOf(rig);
  const Qt::WindowFlags flags = rig.window->flags();
  rig.click(rig.find("pin"));
  rig.runFor(2s);
  rig.press(Qt::Key_Escape);
  EXPECT_FALSE(rig.windowManager->isOnTop());
  EXPECT_EQ(rig.window->flags(), flags);
  EXPECT_EQ(rig.find("addReader"), nullptr);
  rig.runFor(150ms);
  EXPECT_NE(rig.find("addReader"), nullptr);
  EXPECT_EQ(frameOf(rig), before);
  EXPECT_EQ(rig.window->color().alpha(), 255);
  rig.press(Qt::Key_Escape);
  EXPECT_FALSE(rig.windowManager->isOnTop());
  EXPECT_TRUE(rig.window->isVisible());
}

TEST(WindowManager, PinnedFramesAreNotSaved) {
  UiRig rig;
  rig.fitsWindow = true;
  rig.open();
  rig.window->setPosition(30, 40);
  rig.runFor(20ms);
  const auto frame = saved(rig, kFrame);
  ASSERT_TRUE(frame);
  rig.click(rig.find("pin"));
  rig.runFor(2s);
  rig.window->setPosition(90, 90);
  rig.runFor(20ms);
  EXPECT_EQ(saved(rig, kFrame), frame);
  EXPECT_FALSE(saved(rig, kManual));
}

TEST(WindowManager, ContextMenuOfThePinnedWindowUnpinsIt) {
  UiRig rig;
  rig.open();
  QTest::mouseClick(rig.window, Qt::RightButton, {}, QPoint(200, 150));
  rig.runFor(20ms);
  EXPECT_TRUE(rig.findAll("command").empty());
  rig.click(rig.find("pin"));
  rig.runFor(20ms);
  QTest::mouseClick(rig.window, Qt::RightButton, {}, QPoint(100, 100));
  rig.runFor(20ms);
  ASSERT_EQ(rig.findAll("command").size(), 1U);
  EXPECT_EQ(rig.text("command"), "Exit Pinned Mode");
  rig.click(rig.find("command"));
  EXPECT_FALSE(rig.windowManager->isOnTop());
}

TEST(WindowManager, PinButtonSaysWhatItWillDoAndWhatTheDesktopDoesNotLetItDo) {
  for (const bool canFloat : {true, false}) {
    UiRig rig;
    rig.canFloat = canFloat;
    rig.open();
    EXPECT_EQ(rig.find("pin")->property("toolTip"),
              canFloat ? "Float above all other windows" : "Show the cards alone; this desktop lets no window float");
    rig.windowManager->setIsOnTop(true);
    EXPECT_EQ(rig.find("pin")->property("toolTip"), "Stop floating above other windows");
  }
}

TEST(WindowManager, TakesNoOtherWindowWhileItHasOne) {
  UiRig rig;
  rig.open();
  QWindow other;
  rig.windowManager->attach(&other);
  rig.windowManager->setIsOnTop(true);
  rig.windowManager->applyPinState();
  EXPECT_FALSE(other.flags().testFlag(Qt::FramelessWindowHint));
  EXPECT_TRUE(rig.window->flags().testFlag(Qt::FramelessWindowHint));
}

}  // namespace
}  // namespace tallyrig
