#include <gtest/gtest.h>

#include <QQmlComponent>
#include <QQmlEngine>
#include <QQuickItem>
#include <QtTest/QTest>
#include <memory>

#include "ui/UiRig.h"

namespace tallyrig {
namespace {

using namespace std::chrono_literals;

QColor rgb(float red, float green, float blue, float alpha = 1) {
  return QColor::fromRgbF(red, green, blue, alpha);
}

/// The window with one control of a kind in place of its wall.
class Styles : public testing::Test {
 protected:
  void SetUp() override {
    rig.open();
    rig.store().setAppearanceOverride(AppearanceMode::light);
  }
  void TearDown() override { item.reset(); }

  QQuickItem* show(const QString& body) {
    item.reset();
    QQmlComponent component(&*rig.engine);
    component.setData(("import QtQuick\nimport Tallyrig\n" + body).toUtf8(), QUrl("qrc:/Styles.qml"));
    item.reset(qobject_cast<QQuickItem*>(component.create()));
    EXPECT_TRUE(item) << component.errorString().toStdString();
    item->setParentItem(rig.window->contentItem());
    item->setPosition({60, 200});
    item->setZ(100);
    rig.runFor(20ms);
    return item.get();
  }
  QColor theme(const char* name) {
    const auto value = std::unique_ptr<QQuickItem>(
        qobject_cast<QQuickItem*>(show(QString("Rectangle { width: 9; height: 9; color: Theme.%1 }").arg(name))));
    item.release();
    return value->property("color").value<QColor>();
  }
  static QColor fillOf(const QQuickItem* button) {
    return button->property("background").value<QQuickItem*>()->property("color").value<QColor>();
  }
  void press() {
    QTest::mousePress(rig.window, Qt::LeftButton, {}, item->mapToScene({10, 10}).toPoint());
    rig.runFor(20ms);
  }
  void release() {
    QTest::mouseRelease(rig.window, Qt::LeftButton, {}, item->mapToScene({10, 10}).toPoint());
    rig.runFor(20ms);
  }
  static void expectPadding(const QQuickItem* button, int horizontal, int vertical) {
    EXPECT_EQ(button->property("leftPadding"), horizontal);
    EXPECT_EQ(button->property("rightPadding"), horizontal);
    EXPECT_EQ(button->property("topPadding"), vertical);
    EXPECT_EQ(button->property("bottomPadding"), vertical);
  }

  UiRig rig;
  std::unique_ptr<QQuickItem> item;
};

TEST_F(Styles, ColoursOfTheLightAndTheDarkAppearance) {
  EXPECT_EQ(theme("accent"), rgb(0.2F, 0.4F, 0.59F));
  EXPECT_EQ(theme("destructive"), rgb(0.72F, 0.18F, 0.17F));
  EXPECT_EQ(theme("selectionFill"), rgb(0.865F, 0.91F, 0.94F));
  EXPECT_EQ(theme("hairline"), rgb(0, 0, 0, 0.25F));
  rig.store().setAppearanceOverride(AppearanceMode::dark);
  EXPECT_EQ(theme("accent"), rgb(0.39F, 0.64F, 0.84F));
  EXPECT_EQ(theme("destructive"), rgb(0.94F, 0.38F, 0.36F));
  EXPECT_EQ(theme("selectionFill"), rgb(0.205F, 0.24F, 0.28F));
  EXPECT_EQ(theme("hairline"), rgb(1, 1, 1, 0.25F));
}

TEST_F(Styles, TypeSizes) {
  const QQuickItem* sizes = show(
      "Item { property var all: [Theme.cardTitleSize, Theme.captionSize, "
      "Theme.sectionLabelSize, Theme.chipSize, Theme.buttonSize] }");
  EXPECT_EQ(sizes->property("all").toList(), (QVariantList{13, 11, 11, 10, 13}));
}

TEST_F(Styles, PrimaryButtonIsFilledWithTheAccent) {
  const QQuickItem* button = show("AppPrimaryButton { text: \"Go\" }");
  expectPadding(button, 14, 7);
  EXPECT_EQ(button->property("font").value<QFont>().pixelSize(), 13);
  EXPECT_EQ(button->property("font").value<QFont>().weight(), QFont::DemiBold);
  EXPECT_EQ(button->property("background").value<QQuickItem*>()->property("radius"), 8);
  EXPECT_EQ(button->property("contentItem").value<QQuickItem*>()->property("color").value<QColor>(), QColor("white"));
  EXPECT_EQ(fillOf(button), rgb(0.2F, 0.4F, 0.59F));
  EXPECT_EQ(button->scale(), 1);
  press();
  EXPECT_EQ(fillOf(button), rgb(0.2F, 0.4F, 0.59F, 0.82F));
  EXPECT_EQ(button->scale(), 0.985);
  release();
  item->setEnabled(false);
  EXPECT_EQ(fillOf(button), rgb(0.2F, 0.4F, 0.59F, 0.38F));
}

TEST_F(Styles, ProminentDestructiveButtonIsFilledWithItsOwnAccent) {
  const QQuickItem* button = show("AppProminentDestructiveButton { text: \"Clear\" }");
  expectPadding(button, 16, 8);
  EXPECT_EQ(fillOf(button), rgb(0.72F, 0.18F, 0.17F));
  press();
  EXPECT_EQ(fillOf(button), rgb(0.72F, 0.18F, 0.17F, 0.82F));
  EXPECT_EQ(button->scale(), 0.985);
  release();
  item->setEnabled(false);
  EXPECT_EQ(fillOf(button), rgb(0.72F, 0.18F, 0.17F, 0.38F));
}

TEST_F(Styles, SecondaryButtonHasAHairlineAndChangesWhilePressed) {
  const QQuickItem* button = show("AppSecondaryButton { text: \"Other\" }");
  expectPadding(button, 13, 6);
  EXPECT_EQ(button->property("font").value<QFont>().pixelSize(), 13);
  EXPECT_EQ(button->property("font").value<QFont>().weight(), QFont::Normal);
  const auto* background = button->property("background").value<QQuickItem*>();
  EXPECT_EQ(background->property("radius"), 8);
  const auto* border = background->property("border").value<QObject*>();
  EXPECT_EQ(border->property("width"), 1);
  EXPECT_EQ(border->property("color").value<QColor>(), rgb(0, 0, 0, 0.25F));
  press();
  EXPECT_EQ(fillOf(button), rgb(0.865F, 0.91F, 0.94F));
  EXPECT_EQ(button->scale(), 1);
  release();
}

TEST_F(Styles, DestructiveButtonIsASecondaryOneInTheDestructiveAccent) {
  const QQuickItem* button = show("AppDestructiveButton { text: \"Remove\" }");
  expectPadding(button, 13, 6);
  EXPECT_EQ(button->property("labelColor").value<QColor>(), rgb(0.72F, 0.18F, 0.17F));
  item->setEnabled(false);
  EXPECT_EQ(button->property("labelColor").value<QColor>(), rgb(0, 0, 0, 0.25F));
}

}  // namespace
}  // namespace tallyrig
