#include <gtest/gtest.h>

#include <QtTest/QTest>

#include "ui/UiRig.h"

namespace tallyrig {
namespace {

using namespace std::chrono_literals;

class Reordering : public testing::Test {
 protected:
  void SetUp() override {
    rig.wall.world.files().put("/home/user/.local/share/Tallyrig/readers.json",
                               R"([{"label":"A"},{"label":"B"},{"label":"C"},{"label":"D"}])");
    rig.open();
  }

  std::string order() {
    std::string labels;
    for (const auto& reader : rig.store().readers()) labels += reader->settings().label;
    return labels;
  }
  std::string savedOrder() {
    std::string text;
    EXPECT_FALSE(rig.wall.world.files().readFile("/home/user/.local/share/Tallyrig/readers.json", 1U << 20U, text));
    std::string labels;
    for (std::size_t at = text.find("\"label\":\""); at != std::string::npos; at = text.find("\"label\":\"", at + 1))
      labels += text[at + 9];
    return labels;
  }
  QQuickItem* tileOf(const QString& label) {
    for (QQuickItem* tile : rig.findAll("tile"))
      if (rig.text("label", tile) == label) return tile;
    return nullptr;
  }
  QPoint middle(const QString& label) {
    QQuickItem* tile = tileOf(label);
    return tile->mapToScene(QPointF(tile->width() / 2, tile->height() / 2)).toPoint();
  }
  void hold(const QString& label) {
    const QPoint start = middle(label);
    QTest::mousePress(rig.window, Qt::LeftButton, {}, start);
    for (int step = 1; step <= 4; ++step) moveTo(start + QPoint(6 * step, 0));
  }
  void moveTo(QPoint place) {
    QTest::mouseMove(rig.window, place);
    rig.runFor(20ms);
  }
  void drop(QPoint place) {
    QTest::mouseRelease(rig.window, Qt::LeftButton, {}, place);
    rig.runFor(20ms);
  }

  UiRig rig;
};

TEST_F(Reordering, DraggedCardTakesThePlaceOfTheOneItIsDroppedOn) {
  const QPoint target = middle("C");
  hold("A");
  EXPECT_NE(rig.find("dragGhost"), nullptr);
  EXPECT_TRUE(QTest::qWaitFor([&] { return tileOf("A")->opacity() == 0.5; }));
  moveTo(target);
  EXPECT_EQ(order(), "BCAD");
  EXPECT_EQ(savedOrder(), "ABCD");
  drop(target);
  EXPECT_EQ(order(), "BCAD");
  EXPECT_EQ(savedOrder(), "BCAD");
  EXPECT_EQ(rig.find("dragGhost"), nullptr);
  EXPECT_TRUE(QTest::qWaitFor([&] { return tileOf("A")->opacity() == 1; }));
}

TEST_F(Reordering, CardsGlideToTheirPlaces) {
  const QPointF first = tileOf("A")->position();
  const QPoint target = middle("B");
  hold("A");
  moveTo(target);
  EXPECT_EQ(order(), "BACD");
  EXPECT_TRUE(QTest::qWaitFor([&] { return tileOf("B")->position() == first; }));
  drop(target);
}

TEST_F(Reordering, DroppingACardOnItselfChangesNothing) {
  const QPointF place = tileOf("B")->position();
  hold("B");
  drop(middle("B"));
  EXPECT_EQ(order(), "ABCD");
  EXPECT_EQ(tileOf("B")->position(), place);
}

TEST_F(Reordering, EscapePutsTheCardBack) {
  const QPoint target = middle("D");
  hold("A");
  moveTo(target);
  ASSERT_EQ(order(), "BCDA");
  rig.press(Qt::Key_Escape);
  EXPECT_EQ(order(), "ABCD");
  EXPECT_EQ(rig.find("dragGhost"), nullptr);
  drop(target);
  EXPECT_EQ(order(), "ABCD");
}

TEST_F(Reordering, PinnedCardsStay) {
  rig.click(rig.find("pin"));
  rig.runFor(20ms);
  EXPECT_TRUE(rig.find("scroller")->property("interactive").toBool()) << "several cards still scroll";
  const QPoint target = middle("B");
  hold("A");
  moveTo(target);
  drop(target);
  EXPECT_EQ(order(), "ABCD");
  EXPECT_EQ(rig.find("dragGhost"), nullptr);
}

TEST_F(Reordering, ControlAndArrowsMoveTheCardThatHasTheKeyboard) {
  rig.find("settingsButton", tileOf("A"))->forceActiveFocus();
  rig.press(Qt::Key_Right, Qt::ControlModifier);
  EXPECT_EQ(order(), "BACD");
  EXPECT_EQ(savedOrder(), "BACD");
  EXPECT_EQ(rig.window->activeFocusItem(), rig.find("settingsButton", tileOf("A")));
  rig.press(Qt::Key_Left, Qt::ControlModifier);
  EXPECT_EQ(order(), "ABCD");
  rig.press(Qt::Key_Left, Qt::ControlModifier);
  EXPECT_EQ(order(), "ABCD");
  rig.press(Qt::Key_Down, Qt::ControlModifier);
  EXPECT_EQ(order(), "BCDA");
  rig.press(Qt::Key_Up, Qt::ControlModifier);
  EXPECT_EQ(order(), "ABCD");
}

}  // namespace
}  // namespace tallyrig
