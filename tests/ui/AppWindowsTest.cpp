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

/// The visible items below that show or are named so, in the order of their drawing.
std::vector<QQuickItem*> itemsWith(QQuickItem* below, const char* property, const QVariant& value) {
  std::vector<QQuickItem*> found;
  if (!below->isVisible()) return found;
  if (below->property(property) == value) found.push_back(below);
  for (QQuickItem* child : below->childItems())
    for (QQuickItem* item : itemsWith(child, property, value)) found.push_back(item);
  return found;
}

QFont fontOf(const QQuickItem* item) {
  return item->property("font").value<QFont>();
}

QColor colourOf(const QObject* object) {
  return object->property("color").value<QColor>();
}

/// A panel's rounded surface with its hairline.
void expectPanel(const QQuickItem* panel) {
  EXPECT_EQ(panel->property("radius"), 12);
  const auto* border = panel->property("border").value<QObject*>();
  ASSERT_NE(border, nullptr);
  EXPECT_EQ(border->property("width"), 1);
  EXPECT_EQ(colourOf(border), QColor::fromRgbF(0, 0, 0, 0.25F));
  const QQuickItem* content = panel->childItems().constFirst();
  EXPECT_EQ(content->position(), QPointF(16, 16));
  EXPECT_EQ(content->width(), panel->width() - 32);
  EXPECT_EQ(panel->height(), content->height() + 32);
}

QQuickItem* in(const UiRig& rig, QQuickWindow* window, const QString& name) {
  return rig.find(name, window->contentItem());
}

/// The window of the global settings, opened by its button, in the light look.
class GlobalSettings : public testing::Test {
 protected:
  void SetUp() override {
    rig.open();
    rig.store().setAppearanceOverride(AppearanceMode::light);
    rig.click(rig.find("globalSettings"));
    settings = rig.windowTitled("Settings");
    ASSERT_NE(settings, nullptr);
  }

  UiRig rig;
  QQuickWindow* settings = nullptr;
};

TEST_F(GlobalSettings, OpensByButtonMenuAndKeysAndClosesByEscape) {
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

TEST_F(GlobalSettings, StandsInTheMiddleOfTheScreenAndOnceMoreWhenItHasSettled) {
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

TEST_F(GlobalSettings, PartThatMovesToASecondWindowCentresThatOneToo) {
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

TEST_F(GlobalSettings, CanNotBeMinimisedAlsoAfterItsContentsChange) {
  rig.click(in(rig, settings, "appearanceDark"));
  rig.click(in(rig, settings, "segmentLarge"));
  EXPECT_TRUE(settings->flags().testFlag(Qt::WindowCloseButtonHint));
  EXPECT_FALSE(settings->flags().testFlag(Qt::WindowMinimizeButtonHint));
}

TEST_F(GlobalSettings, ChoosesAppearanceAndTileSize) {
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

TEST_F(GlobalSettings, ClearAllReadersAsksFirst) {
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

TEST_F(GlobalSettings, GroupsAreLabelledPanelsOneBelowTheOther) {
  QQuickItem* content = settings->contentItem();
  const auto titles = itemsWith(content, "text", "Settings");
  ASSERT_EQ(titles.size(), 1U);
  EXPECT_EQ(fontOf(titles[0]).pixelSize(), 17);
  EXPECT_EQ(titles[0]->mapToScene({0, 0}), QPointF(24, 24));
  qreal last = titles[0]->mapToScene({0, 0}).y();
  for (const char* name : {"Appearance", "Tile Size", "Readers"}) {
    SCOPED_TRACE(name);
    const auto labels = itemsWith(content, "text", name);
    ASSERT_EQ(labels.size(), 1U);
    EXPECT_EQ(fontOf(labels[0]).letterSpacing(), 0.5);
    EXPECT_EQ(fontOf(labels[0]).pixelSize(), 11);
    EXPECT_EQ(fontOf(labels[0]).weight(), QFont::DemiBold);
    EXPECT_EQ(labels[0]->mapToScene({0, 0}).x(), 24);
    EXPECT_GT(labels[0]->mapToScene({0, 0}).y(), last);
    const QQuickItem* panel = labels[0]->parentItem()->childItems().at(1);
    EXPECT_EQ(panel->width(), 360 - 2 * 24);
    expectPanel(panel);
    last = panel->mapToScene({0, panel->height()}).y();
  }
  EXPECT_LE(last, 400);
}

TEST_F(GlobalSettings, AppearanceIsOneOfThreeEqualChoices) {
  const std::vector<std::pair<QString, QString>> choices{{"System", "circle-half"}, {"Light", "sun"}, {"Dark", "moon"}};
  qreal place = 0;
  for (const auto& [text, symbol] : choices) {
    SCOPED_TRACE(text.toStdString());
    QQuickItem* choice = in(rig, settings, "appearance" + text);
    ASSERT_NE(choice, nullptr);
    EXPECT_EQ(choice->width(), in(rig, settings, "appearanceSystem")->width());
    EXPECT_GT(choice->mapToScene({0, 0}).x(), place);
    place = choice->mapToScene({0, 0}).x();
    EXPECT_EQ(itemsWith(choice, "name", symbol).size(), 1U);
    const bool isChosen = text == "Light";
    const auto* background = choice->property("background").value<QQuickItem*>();
    EXPECT_EQ(background->property("radius"), 12);
    EXPECT_EQ(colourOf(background),
              isChosen ? QColor::fromRgbF(0.2F, 0.4F, 0.59F) : QColor::fromRgbF(0.865F, 0.91F, 0.94F));
    const auto labels = itemsWith(choice->property("contentItem").value<QQuickItem*>(), "text", text);
    ASSERT_EQ(labels.size(), 1U);
    EXPECT_EQ(colourOf(labels[0]), isChosen ? QColor("white") : QColor("#555c67"));
  }
}

TEST(About, ItsPartsStandInTheirOrder) {
  UiRig rig;
  rig.open();
  rig.store().setAppearanceOverride(AppearanceMode::light);
  rig.click(rig.find("about"));
  QQuickItem* content = rig.windowTitled("About Tallyrig")->contentItem();
  const auto icons = itemsWith(content, "name", "clock-check");
  ASSERT_EQ(icons.size(), 1U);
  EXPECT_EQ(icons[0]->property("size"), 24);
  const QQuickItem* tile = icons[0]->parentItem();
  EXPECT_EQ(tile->size(), QSizeF(48, 48));
  EXPECT_EQ(tile->property("radius"), 12);
  const auto names = itemsWith(content, "text", "Tallyrig");
  ASSERT_EQ(names.size(), 1U);
  EXPECT_EQ(fontOf(names[0]).pixelSize(), 19);
  qreal last = tile->mapToScene({0, 48}).y();
  for (const char* text :
       {"Tallyrig", "Professional timecode tools for Linux", "Version", "Build", "Protocols", "LTC Engine"}) {
    SCOPED_TRACE(text);
    const auto found = itemsWith(content, "text", text);
    ASSERT_EQ(found.size(), 1U);
    EXPECT_GE(found[0]->mapToScene({0, 0}).y(), last);
    last = found[0]->mapToScene({0, found[0]->height()}).y();
  }
  const QQuickItem* panel = itemsWith(content, "text", "Version")[0]->parentItem()->parentItem()->parentItem();
  EXPECT_EQ(panel->width(), 390 - 2 * 24);
  expectPanel(panel);
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
