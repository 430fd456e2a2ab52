#include <gtest/gtest.h>

#include <QGuiApplication>
#include <QQmlComponent>
#include <QQmlProperty>
#include <QScreen>
#include <QtTest/QTest>

#include "app/WindowFrame.h"
#include "ui/UiRig.h"

namespace tallyrig {
namespace {

using namespace std::chrono_literals;

/// A tool window as the window's scene lists it.
struct Tool {
  const char* id;
  const char* entry;
  const char* title;
  QSize size;
  bool isFixed;
};

const Tool kWavGenerator{"wav-generator", "Generate WAV…", "Generate WAV", {460, 420}, true};
const Tool kFileAnalyser{"file-analyser", "Analyse File…", "Analyse File", {680, 640}, false};
const Tool kMediaPlayer{"media-player", "Media Player…", "Media Player", {1180, 720}, false};
const std::vector<Tool> kTools{kWavGenerator, kFileAnalyser, kMediaPlayer};

/// The wall with contents of the test's own in its tool windows.
class ToolWindows : public testing::Test {
 protected:
  void open() {
    rig.open();
    contents.emplace(&*rig.engine);
    contents->setData(
        "import QtQuick\nFocusScope { property size minimumSize: Qt.size(300, 200)\n"
        "TextInput { objectName: \"typed\"; focus: true; width: 100; height: 20 } }",
        QUrl("qrc:/Contents.qml"));
    ASSERT_TRUE(contents->isReady()) << contents->errorString().toStdString();
    int filled = 0;
    for (QObject* object : rig.window->findChildren<QObject*>()) {
      if (object->property("windowId").isNull() || !object->property("contentSize").isValid()) continue;
      if (object->setProperty("content", QVariant::fromValue(&*contents))) ++filled;
    }
    ASSERT_EQ(filled, 3);
  }
  void choose(const Tool& tool) {
    rig.click(rig.find("tools"));
    for (QQuickItem* item : rig.findAll("command"))
      if (item->property("text") == tool.entry) return rig.click(item);
    FAIL() << "no entry " << tool.entry;
  }
  QQuickWindow* shown(const Tool& tool) { return rig.windowTitled(tool.title); }
  std::optional<std::string> saved(const Tool& tool) {
    return rig.wall.world.preferences().string(std::string("Tallyrig.ToolWindowFrame.") + tool.id);
  }
  QRect frame(const Tool& tool) { return {shown(tool)->framePosition(), shown(tool)->size()}; }
  static QRect available() { return QGuiApplication::primaryScreen()->availableGeometry(); }

  UiRig rig;
  std::optional<QQmlComponent> contents;
};

TEST_F(ToolWindows, TheMenuOpensEachWithItsTitleAndSizeAndEscapeClosesIt) {
  open();
  EXPECT_EQ(rig.find("tools")->property("toolTip"), "Tallyrig");
  rig.click(rig.find("tools"));
  const auto entries = rig.findAll("command");
  ASSERT_EQ(entries.size(), 3U);
  for (std::size_t i = 0; i < 3; ++i) EXPECT_EQ(entries[i]->property("text"), kTools[i].entry);
  rig.click(rig.find("tools"));
  EXPECT_TRUE(rig.findAll("command").empty());

  for (const Tool& tool : kTools) {
    SCOPED_TRACE(tool.id);
    choose(tool);
    QQuickWindow* window = shown(tool);
    ASSERT_NE(window, nullptr);
    EXPECT_EQ(window->width(), std::min(tool.size.width(), available().width()));
    EXPECT_EQ(window->minimumSize(), tool.isFixed ? tool.size : QSize(300, 200));
    EXPECT_EQ(window->maximumSize() == window->minimumSize(), tool.isFixed);
    EXPECT_TRUE(window->flags().testFlag(Qt::WindowCloseButtonHint));
    EXPECT_FALSE(window->flags().testFlag(Qt::WindowMinimizeButtonHint));
    EXPECT_EQ(window->transientParent(), nullptr);
    rig.pressIn(window, Qt::Key_Escape);
    EXPECT_EQ(shown(tool), nullptr);
  }
}

TEST_F(ToolWindows, OneThatStandsOpenIsOpenedOnceAndClosedByItsButton) {
  open();
  choose(kFileAnalyser);
  QQuickWindow* window = shown(kFileAnalyser);
  rig.window->requestActivate();
  ASSERT_TRUE(QTest::qWaitForWindowActive(rig.window));
  choose(kFileAnalyser);
  EXPECT_EQ(shown(kFileAnalyser), window);
  EXPECT_TRUE(QTest::qWaitForWindowActive(window));
  EXPECT_EQ(rig.windowManager->openWindows(), QStringList{"file-analyser"});
  choose(kWavGenerator);
  window->close();
  rig.runFor(20ms);
  EXPECT_EQ(rig.windowManager->openWindows(), QStringList{"wav-generator"});
  EXPECT_EQ(shown(kFileAnalyser), nullptr);
}

TEST_F(ToolWindows, ContentsAreNewAtEachOpening) {
  open();
  choose(kFileAnalyser);
  rig.find("typed", shown(kFileAnalyser)->contentItem())->setProperty("text", "kept?");
  rig.windowManager->dismissWindow("file-analyser");
  rig.runFor(20ms);
  choose(kFileAnalyser);
  EXPECT_EQ(rig.text("typed", shown(kFileAnalyser)->contentItem()), "");
}

TEST_F(ToolWindows, TheFirstTimeItStandsInTheMiddleAndThenWhereItStoodLast) {
  open();
  choose(kFileAnalyser);
  const QPoint off = shown(kFileAnalyser)->frameGeometry().center() - available().center();
  EXPECT_LE(off.manhattanLength(), 4);
  rig.runFor(1s);
  shown(kFileAnalyser)->resize(400, 300);
  shown(kFileAnalyser)->setFramePosition({31, 47});
  rig.runFor(20ms);
  EXPECT_EQ(saved(kFileAnalyser), "{{31, 47}, {400, 300}}");
  shown(kFileAnalyser)->close();
  rig.runFor(20ms);
  choose(kFileAnalyser);
  EXPECT_EQ(frame(kFileAnalyser), QRect(31, 47, 400, 300));
}

TEST_F(ToolWindows, OneOfAFixedSizeRemembersItsPlaceOnly) {
  rig.wall.world.preferences().setString("Tallyrig.ToolWindowFrame.wav-generator", "{{20, 30}, {200, 100}}");
  open();
  choose(kWavGenerator);
  EXPECT_EQ(frame(kWavGenerator), QRect(20, 30, 460, 420));
}

TEST_F(ToolWindows, OneThatOpensAsHighAsTheScreenComesBackToItsSize) {
  const QSize whole = available().size();
  rig.wall.world.preferences().setString("Tallyrig.ToolWindowFrame.file-analyser", toFrameText({{0, 0}, whole}));
  open();
  choose(kFileAnalyser);
  EXPECT_EQ(shown(kFileAnalyser)->size(), QSize(680, 640).boundedTo(whole));
  // The desktop's own restoring comes late.
  shown(kFileAnalyser)->resize(whole);
  rig.runFor(360ms);
  EXPECT_EQ(shown(kFileAnalyser)->size(), QSize(680, 640).boundedTo(whole));
  // From then on it is the user's.
  shown(kFileAnalyser)->resize(whole);
  rig.runFor(1s);
  EXPECT_EQ(shown(kFileAnalyser)->size(), whole);
}

TEST_F(ToolWindows, OneWithinRangeIsLeftAlone) {
  rig.wall.world.preferences().setString("Tallyrig.ToolWindowFrame.file-analyser", "{{20, 30}, {700, 333}}");
  open();
  choose(kFileAnalyser);
  rig.runFor(1s);
  EXPECT_EQ(shown(kFileAnalyser)->size(), QSize(700, 333));
}

TEST_F(ToolWindows, NoneStandsOpenAfterTheStart) {
  open();
  rig.wall.world.runFor(1s);
  Wall other;
  other.open();
  TallyrigApp app(*other.store, other.world.scheduler().mainQueue(), other.world.log(), QString());
  QStringList dismissed;
  QObject::connect(&app, &TallyrigApp::toolWindowDismissed, [&](const QString& id) { dismissed += id; });
  app.mainWindowAppeared();
  EXPECT_TRUE(dismissed.isEmpty());
  other.world.runPending();
  EXPECT_EQ(dismissed, (QStringList{"wav-generator", "file-analyser", "media-player"}));

  choose(kMediaPlayer);
  ASSERT_NE(shown(kMediaPlayer), nullptr);
  emit rig.app->toolWindowDismissed("media-player");
  rig.runFor(20ms);
  EXPECT_EQ(shown(kMediaPlayer), nullptr);
}

TEST_F(ToolWindows, WhatQtDrawsInThemFollowsTheAppearance) {
  open();
  choose(kFileAnalyser);
  const QQuickItem* typed = rig.find("typed", shown(kFileAnalyser)->contentItem());
  ASSERT_NE(typed, nullptr);
  const auto lightness = [&](const char* role) {
    return QQmlProperty::read(typed, QString("palette.") + role).value<QColor>().lightnessF();
  };
  for (const AppearanceMode mode : {AppearanceMode::dark, AppearanceMode::light}) {
    rig.store().setAppearanceOverride(mode);
    for (const char* ground : {"window", "base", "button", "highlight"}) {
      EXPECT_EQ(lightness(ground) < 0.5, mode == AppearanceMode::dark) << ground;
    }
    for (const char* letters : {"windowText", "text", "buttonText", "highlightedText"}) {
      EXPECT_EQ(lightness(letters) > 0.5, mode == AppearanceMode::dark) << letters;
    }
  }
}

}  // namespace
}  // namespace tallyrig
