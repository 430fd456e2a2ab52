#include "app/TallyrigApp.h"

#include <gtest/gtest.h>

#include <QGuiApplication>
#include <QSignalSpy>
#include <QtTest/QTest>

#include "ui/UiRig.h"

namespace tallyrig {
namespace {

using namespace std::chrono_literals;

constexpr const char* kQuitTitle = "Quit Tallyrig?";
constexpr const char* kClearTitle = "Clear all readers?";
constexpr const char* kCardStarted = "ReaderInstance: no device selected";

/// The window of a question, with its parts.
struct Question {
  Question(const UiRig& rig, const QString& title) : window(rig.windowTitled(title)) {
    if (!window) return;
    heading = rig.text("heading", window->contentItem());
    message = rig.text("message", window->contentItem());
    cancel = rig.find("cancel", window->contentItem());
    confirm = rig.find("confirm", window->contentItem());
  }

  QQuickWindow* window;
  QString heading{};
  QString message{};
  QQuickItem* cancel = nullptr;
  QQuickItem* confirm = nullptr;
};

TEST(TallyrigApp, CardsStartWhenTheWindowFirstAppearsAndOnlyThen) {
  UiRig rig;
  rig.open();
  ASSERT_EQ(rig.wall.world.logCount(kCardStarted), 1U);
  rig.window->hide();
  rig.runUnseen(20ms);
  rig.window->show();
  rig.runFor(20ms);
  EXPECT_EQ(rig.wall.world.logCount(kCardStarted), 1U);
}

TEST(TallyrigApp, CardsWaitForTheStepAfterTheWindowsAppearance) {
  Wall wall;
  wall.open();
  TallyrigApp app(*wall.store, wall.world.scheduler().mainQueue(), wall.world.log(), QString());
  app.mainWindowAppeared();
  EXPECT_EQ(wall.world.logCount(kCardStarted), 0U);
  wall.world.runPending();
  EXPECT_EQ(wall.world.logCount(kCardStarted), 1U);
}

TEST(TallyrigApp, CloseButtonAsksAndCancelLeavesEverythingRunning) {
  UiRig rig;
  SimulatedDevice& device = rig.wall.world.audio().addDevice({.name = "Rack", .inputGroups = {2}});
  rig.open();
  rig.card(0).selectInputDevice(device.id(), rig.wall.registry->audioInputs());
  rig.card(0).startMonitoring();
  rig.runFor(100ms);
  QSignalSpy terminations(&*rig.app, &TallyrigApp::terminationRequested);

  EXPECT_FALSE(rig.window->close());
  rig.runFor(20ms);
  const Question question(rig, kQuitTitle);
  ASSERT_NE(question.window, nullptr);
  EXPECT_EQ(question.heading, "Quit Tallyrig?");
  EXPECT_EQ(question.message, "Are you sure you want to close Tallyrig?");
  EXPECT_EQ(question.cancel->property("text"), "Cancel");
  EXPECT_EQ(question.confirm->property("text"), "Quit");
  EXPECT_EQ(question.window->width(), 390);
  EXPECT_EQ(question.window->transientParent(), rig.window);
  EXPECT_EQ(question.window->modality(), Qt::WindowModal);
  rig.click(question.cancel);
  rig.runFor(2s);
  EXPECT_EQ(rig.windowTitled(kQuitTitle), nullptr);
  EXPECT_TRUE(rig.window->isVisible());
  EXPECT_TRUE(device.isRunning());
  EXPECT_EQ(terminations.count(), 0);
  EXPECT_FALSE(rig.window->close());
}

TEST(TallyrigApp, QuitKeysAndMenuLeadToTheSameQuestion) {
  UiRig rig;
  rig.open();
  rig.press(Qt::Key_Q, Qt::ControlModifier);
  ASSERT_NE(rig.windowTitled(kQuitTitle), nullptr);
  rig.pressIn(rig.windowTitled(kQuitTitle), Qt::Key_Escape);
  EXPECT_EQ(rig.windowTitled(kQuitTitle), nullptr);
  rig.chooseCommand("Tallyrig", "Quit Tallyrig…");
  ASSERT_NE(rig.windowTitled(kQuitTitle), nullptr);
  rig.windowTitled(kQuitTitle)->close();
  rig.runFor(20ms);
  EXPECT_FALSE(rig.app->confirmingQuit());
  EXPECT_EQ(rig.windowTitled(kQuitTitle), nullptr);
}

TEST(TallyrigApp, QuitLetsTheWindowCloseAndEndsATenthOfASecondLater) {
  UiRig rig;
  rig.open();
  QSignalSpy terminations(&*rig.app, &TallyrigApp::terminationRequested);
  rig.press(Qt::Key_Q, Qt::ControlModifier);
  QQuickWindow* question = rig.windowTitled(kQuitTitle);
  ASSERT_NE(question, nullptr);
  question->requestActivate();
  ASSERT_TRUE(QTest::qWaitForWindowActive(question));
  QTest::keyClick(question, Qt::Key_Return);
  EXPECT_TRUE(rig.wall.world.hasLogged("TallyrigApp: Tallyrig.confirmedApplicationQuit"));
  rig.runFor(99ms);
  EXPECT_EQ(rig.windowTitled(kQuitTitle), nullptr);
  EXPECT_EQ(terminations.count(), 0);
  rig.runFor(1ms);
  EXPECT_EQ(terminations.count(), 1);
  EXPECT_TRUE(rig.window->close());
}

TEST(TallyrigApp, TheSecondWishToQuitAsksOnce) {
  UiRig rig;
  rig.open();
  rig.window->close();
  rig.app->requestQuit();
  rig.runFor(20ms);
  int questions = 0;
  for (const QWindow* window : QGuiApplication::topLevelWindows())
    if (window->isVisible() && window->title() == kQuitTitle) ++questions;
  EXPECT_EQ(questions, 1);
}

TEST(TallyrigApp, ClearAllAsksFirst) {
  UiRig rig;
  rig.open();
  rig.click(rig.find("addReader"));
  rig.chooseCommand("File", "Clear All Readers");
  const Question question(rig, kClearTitle);
  ASSERT_NE(question.window, nullptr);
  EXPECT_EQ(question.heading, "Clear all readers?");
  EXPECT_EQ(question.message, "This removes all reader tiles and resets the layout. This cannot be undone.");
  EXPECT_EQ(question.confirm->property("text"), "Clear All Readers");
  rig.click(question.cancel);
  EXPECT_EQ(rig.windowTitled(kClearTitle), nullptr);
  EXPECT_EQ(rig.store().count(), 2);

  rig.chooseCommand("File", "Clear All Readers");
  rig.click(Question(rig, kClearTitle).confirm);
  EXPECT_EQ(rig.windowTitled(kClearTitle), nullptr);
  EXPECT_EQ(rig.store().count(), 0);
  EXPECT_NE(rig.find("emptyWall"), nullptr);
}

TEST(TallyrigApp, ReturnDoesNotClearUnlessItsButtonIsChosen) {
  UiRig rig;
  rig.open();
  rig.chooseCommand("File", "Clear All Readers");
  rig.pressIn(rig.windowTitled(kClearTitle), Qt::Key_Return);
  EXPECT_EQ(rig.windowTitled(kClearTitle), nullptr);
  EXPECT_EQ(rig.store().count(), 1);
  rig.chooseCommand("File", "Clear All Readers");
  rig.pressIn(rig.windowTitled(kClearTitle), Qt::Key_Tab);
  rig.pressIn(rig.windowTitled(kClearTitle), Qt::Key_Return);
  EXPECT_EQ(rig.store().count(), 0);
}

TEST(TallyrigApp, MenusOfferNoUpdates) {
  UiRig rig;
  rig.open();
  for (const QString menu : {"Tallyrig", "File"}) {
    rig.click(rig.find("menuBar" + menu));
    EXPECT_FALSE(rig.findAll("command").empty());
    for (QQuickItem* item : rig.findAll("command")) EXPECT_FALSE(item->property("text").toString().contains("Update"));
    rig.press(Qt::Key_Escape);
    EXPECT_TRUE(rig.findAll("command").empty());
  }
}

}  // namespace
}  // namespace tallyrig
