#include <gtest/gtest.h>

#include <QGuiApplication>
#include <QScreen>
#include <QtTest/QTest>

#include "app/AppWindowCentering.h"
#include "app/WindowFrame.h"
#include "ui/UiRig.h"

namespace tallyrig {
namespace {

using namespace std::chrono_literals;

QPoint centreOfScreen() {
  return QGuiApplication::primaryScreen()->availableGeometry().center();
}

QQuickItem* in(const UiRig& rig, QQuickWindow* window, const QString& name) {
  return rig.find(name, window->contentItem());
}

TEST(GlobalSettings, OpensByButtonMenuAndKeysAndClosesByEscape) {
  UiRig rig;
  rig.open();
  rig.click(rig.find("globalSettings"));
  QQuickWindow* settings = rig.windowTitled("Settings");
  ASSERT_NE(settings, nullptr);
  EXPECT_EQ(settings->size(), QSize(360, 400));
  EXPECT_EQ(settings->minimumSize(), settings->maximumSize());
  EXPECT_TRUE(settings->flags().testFlag(Qt::WindowCloseButtonHint));
  EXPECT_FALSE(settings->flags().testFlag(Qt::WindowMinimizeButtonHint));
  rig.pressIn(settings, Qt::Key_Escape);
  EXPECT_EQ(rig.windowTitled("Settings"), nullptr);
  rig.chooseCommand("Tallyrig", "Settings…");
  EXPECT_NE(rig.windowTitled("Settings"), nullptr);
  rig.windowTitled("Settings")->close();
  rig.runFor(20ms);
  EXPECT_EQ(rig.windowTitled("Settings"), nullptr);
  rig.press(Qt::Key_Comma, Qt::ControlModifier);
  EXPECT_NE(rig.windowTitled("Settings"), nullptr);
}

TEST(GlobalSettings, StandsInTheMiddleOfTheScreenAndOnceMoreWhenItHasSettled) {
  UiRig rig;
  rig.open();
  rig.click(rig.find("globalSettings"));
  QQuickWindow* settings = rig.windowTitled("Settings");
  ASSERT_NE(settings, nullptr);
  // How thick its frame is shows only later.
  EXPECT_LE((settings->frameGeometry().center() - centreOfScreen()).manhattanLength(), 4);
  settings->setPosition(3, 3);
  rig.runFor(430ms);
  EXPECT_LE((settings->frameGeometry().center() - centreOfScreen()).manhattanLength(), 2);
  settings->setPosition(3, 3);
  rig.runFor(1s);
  EXPECT_EQ(settings->position(), QPoint(3, 3));
  settings->close();
  rig.runFor(20ms);
  rig.click(rig.find("globalSettings"));
  EXPECT_LE((rig.windowTitled("Settings")->frameGeometry().center() - centreOfScreen()).manhattanLength(), 4);
}

TEST(GlobalSettings, PartThatMovesToASecondWindowCentresThatOneToo) {
  UiRig rig;
  rig.open();
  rig.click(rig.find("globalSettings"));
  QQuickWindow* settings = rig.windowTitled("Settings");
  ASSERT_NE(settings, nullptr);
  const auto parts = settings->findChildren<AppWindowCentering*>();
  ASSERT_EQ(parts.size(), 1);
  QQuickWindow other;
  other.setGeometry(7, 9, 200, 100);
  other.show();
  parts.front()->setParentItem(other.contentItem());
  EXPECT_LE((other.frameGeometry().center() - centreOfScreen()).manhattanLength(), 4);
  other.setPosition(7, 9);
  rig.runFor(450ms);
  EXPECT_LE((other.frameGeometry().center() - centreOfScreen()).manhattanLength(), 4);
  parts.front()->setParentItem(settings->contentItem());
}

TEST(GlobalSettings, CanNotBeMinimisedAlsoAfterItsContentsChange) {
  UiRig rig;
  rig.open();
  rig.click(rig.find("globalSettings"));
  QQuickWindow* settings = rig.windowTitled("Settings");
  ASSERT_NE(settings, nullptr);
  rig.click(in(rig, settings, "appearanceDark"));
  rig.click(in(rig, settings, "segmentLarge"));
  EXPECT_TRUE(settings->flags().testFlag(Qt::WindowCloseButtonHint));
  EXPECT_FALSE(settings->flags().testFlag(Qt::WindowMinimizeButtonHint));
}

TEST(GlobalSettings, ChoosesAppearanceAndTileSize) {
  UiRig rig;
  rig.open();
  rig.click(rig.find("globalSettings"));
  QQuickWindow* settings = rig.windowTitled("Settings");
  ASSERT_NE(settings, nullptr);
  rig.click(in(rig, settings, "appearanceDark"));
  EXPECT_EQ(rig.store().appearanceOverride(), AppearanceMode::dark);
  EXPECT_TRUE(rig.appearance->dark());
  rig.click(in(rig, settings, "appearanceLight"));
  EXPECT_EQ(rig.store().appearanceOverride(), AppearanceMode::light);
  rig.pressIn(settings, Qt::Key_Left);
  EXPECT_EQ(rig.store().appearanceOverride(), AppearanceMode::system);
  rig.click(in(rig, settings, "segmentLarge"));
  EXPECT_EQ(rig.store().globalTileSize(), TileSize::large);
  EXPECT_EQ(rig.card(0).settings().tileSize, TileSize::large);
}

TEST(GlobalSettings, ClearAllReadersAsksFirst) {
  UiRig rig;
  rig.open();
  rig.click(rig.find("globalSettings"));
  QQuickWindow* settings = rig.windowTitled("Settings");
  ASSERT_NE(settings, nullptr);
  rig.click(in(rig, settings, "clearAll"));
  QQuickWindow* question = rig.windowTitled("Clear all readers?");
  ASSERT_NE(question, nullptr);
  EXPECT_EQ(question->transientParent(), settings);
  rig.click(in(rig, question, "cancel"));
  EXPECT_EQ(rig.store().count(), 1);
  rig.click(in(rig, settings, "clearAll"));
  rig.click(in(rig, rig.windowTitled("Clear all readers?"), "confirm"));
  EXPECT_EQ(rig.store().count(), 0);
  EXPECT_NE(rig.find("emptyWall"), nullptr);
}

TEST(About, ButtonTogglesItAndSaysSo) {
  UiRig rig;
  rig.open();
  EXPECT_EQ(rig.find("about")->property("toolTip"), "About Tallyrig");
  rig.click(rig.find("about"));
  QQuickWindow* about = rig.windowTitled("About Tallyrig");
  ASSERT_NE(about, nullptr);
  EXPECT_EQ(about->size(), QSize(390, 360));
  EXPECT_EQ(rig.find("about")->property("toolTip"), "Close About");
  rig.click(rig.find("about"));
  EXPECT_EQ(rig.windowTitled("About Tallyrig"), nullptr);
  rig.chooseCommand("Tallyrig", "About Tallyrig");
  ASSERT_NE(rig.windowTitled("About Tallyrig"), nullptr);
  rig.pressIn(rig.windowTitled("About Tallyrig"), Qt::Key_Escape);
  EXPECT_FALSE(rig.find("about")->property("toolTip") == "Close About");
}

TEST(About, NamesTheSystemTheVersionAndTheEngine) {
  UiRig rig;
  rig.open();
  QCoreApplication::setApplicationVersion("3.2.1");
  rig.click(rig.find("about"));
  QQuickItem* content = rig.windowTitled("About Tallyrig")->contentItem();
  EXPECT_EQ(rig.text("purpose", content), "Professional timecode tools for Linux");
  EXPECT_EQ(rig.text("aboutVersion", content), "3.2.1");
  EXPECT_EQ(rig.text("aboutBuild", content), "—");
  EXPECT_EQ(rig.text("aboutProtocols", content), "LTC · MTC");
  EXPECT_EQ(rig.text("aboutLTC Engine", content), "libltc");
  QCoreApplication::setApplicationVersion({});
}

}  // namespace
}  // namespace tallyrig
