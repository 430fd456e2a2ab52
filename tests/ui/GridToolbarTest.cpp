#include <gtest/gtest.h>

#include <QtTest/QTest>

#include "ui/UiRig.h"

namespace tallyrig {
namespace {

using namespace std::chrono_literals;

class GridToolbar : public testing::Test {
 protected:
  GridToolbar() { rig.open(); }

  /// What comes to stand beside the pointer while it rests on the control. The text takes its time to appear.
  QString toolTipOf(const QString& control) {
    QTest::mouseMove(rig.window, {500, 600});
    rig.runFor(20ms);
    const QQuickItem* item = rig.find(control);
    if (item == nullptr) return "<no control>";
    QTest::mouseMove(rig.window, item->mapToScene({item->width() / 2, item->height() / 2}).toPoint());
    if (!QTest::qWaitFor([&] { return rig.find("toolTip") != nullptr; }, 20'000)) return "<nothing>";
    return rig.text("toolTip");
  }

  UiRig rig;
};

TEST_F(GridToolbar, EachControlSaysWhatItDoesUnderThePointer) {
  const std::vector<std::pair<QString, QString>> controls{{"addReader", "Add Reader"},
                                                          {"pin", "Float above all other windows"},
                                                          {"globalSettings", "Global Settings"},
                                                          {"tools", "Tallyrig"},
                                                          {"about", "About Tallyrig"}};
  for (const auto& [control, text] : controls) EXPECT_EQ(toolTipOf(control), text);
  QTest::mouseMove(rig.window, {500, 600});
  rig.runFor(20ms);
  EXPECT_EQ(rig.find("toolTip"), nullptr);
  rig.app->setProperty("aboutIsOpen", true);
  rig.runFor(20ms);
  EXPECT_EQ(toolTipOf("about"), "Close About");
}

TEST_F(GridToolbar, ControlsStandInTheirOrderFromTheChiefOne) {
  qreal last = 0;
  for (const char* control : {"addReader", "pin", "globalSettings", "tools", "about"}) {
    const qreal place = rig.find(control)->mapToScene({0, 0}).x();
    EXPECT_GT(place, last) << control;
    last = place;
  }
  EXPECT_EQ(rig.window->title(), "Tallyrig");
}

TEST_F(GridToolbar, KeysLeadToTheMenusAndThroughThem) {
  rig.press(Qt::Key_F10);
  ASSERT_FALSE(rig.findAll("command").empty());
  EXPECT_EQ(rig.text("command"), "About Tallyrig");
  rig.press(Qt::Key_Right);
  EXPECT_EQ(rig.text("command"), "Clear All Readers");
  rig.press(Qt::Key_Down);
  rig.press(Qt::Key_Return);
  EXPECT_TRUE(rig.app->confirmingClearAll());
  rig.app->cancelClearAll();
  rig.runFor(20ms);
  rig.press(Qt::Key_F, Qt::AltModifier);
  ASSERT_FALSE(rig.findAll("command").empty());
  EXPECT_EQ(rig.text("command"), "Clear All Readers");
  rig.press(Qt::Key_Escape);
  EXPECT_TRUE(rig.findAll("command").empty());
}

}  // namespace
}  // namespace tallyrig
