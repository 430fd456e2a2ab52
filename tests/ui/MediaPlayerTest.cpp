#include <gtest/gtest.h>

#include <QDropEvent>
#include <QMimeData>
#include <QtTest/QTest>
#include <algorithm>
#include <chrono>
#include <fstream>
#include <memory>

#include "support/LTCSignal.h"
#include "support/TemporaryFolder.h"
#include "ui/UiRig.h"

namespace tallyrig {
namespace {

using namespace std::chrono_literals;

/// The Media Player's window with a clip of ten seconds at hand: LTC at 25 from 10:00:00:00 on its second channel.
/// There is one device, "Desk", with four outputs.
class MediaPlayerTest : public testing::Test {
 protected:
  void open() {
    rig.wall.world.audio().addDevice({.name = "Desk", .outputGroups = {4}});
    SimulatedMedia media = countedMedia(48000, 2, 480'000);
    auto code = std::make_shared<std::vector<float>>(480'000);
    LTCSignal signal(MTCFrameRate::fps25, {10, 0, 0, 0, MTCFrameRate::fps25}, 48000);
    for (std::size_t at = 0; at < code->size(); at += 4800)
      signal.fill(static_cast<std::int64_t>(at), std::span(*code).subspan(at, 4800));
    media.sample = [code](std::int64_t frame, int channel) {
      return channel == 1 ? (*code)[static_cast<std::size_t>(frame)] : 0.1F;
    };
    rig.mediaFiles.files["/show.mov"] = std::move(media);
    rig.movies.movies["/show.mov"] = {10, true};
    rig.open();
    rig.windowManager->openWindow("media-player");
    rig.runFor(50ms);
    window = rig.windowTitled("Media Player");
    ASSERT_NE(window, nullptr);
  }

  void drop(const char* file = "/show.mov") {
    QMimeData data;
    data.setUrls({QUrl::fromLocalFile(file), QUrl::fromLocalFile("/second.mov")});
    const QPoint place(100, 100);
    QDragEnterEvent enter(place, Qt::CopyAction, &data, Qt::LeftButton, {});
    QCoreApplication::sendEvent(window, &enter);
    QDropEvent dropped(place, Qt::CopyAction, &data, Qt::LeftButton, {});
    QCoreApplication::sendEvent(window, &dropped);
    rig.runFor(300ms);
  }

  QQuickItem* item(const char* name) { return rig.find(name, window->contentItem()); }
  QString text(const char* name) { return item(name)->property("text").toString(); }
  QString value(const char* name) { return item(name)->property("value").toString(); }

  UiRig rig;
  QQuickWindow* window = nullptr;
};

TEST_F(MediaPlayerTest, WithoutAClipItAsksForOne) {
  open();
  EXPECT_EQ(text("clipName"), "No clip loaded");
  EXPECT_EQ(text("runningTimecode"), "--:--:--:--");
  EXPECT_FALSE(item("playButton")->isEnabled());
  EXPECT_EQ(value("summaryStart"), "--");
}

TEST_F(MediaPlayerTest, ADroppedClipIsShownWithItsTimecodeAndItsRouting) {
  open();
  drop();
  EXPECT_EQ(text("clipName"), "show.mov");
  EXPECT_EQ(value("summaryTimecode"), "Channel 2");
  EXPECT_EQ(value("summaryStart"), "10:00:00:00");
  EXPECT_EQ(value("summaryRate"), "25");
  EXPECT_EQ(text("runningTimecode"), "10:00:00:00");
  EXPECT_EQ(text("positionLine"), "00:00.000 / 00:10.000");
  const auto marks = rig.findAll("channelMark", window->contentItem());
  ASSERT_EQ(marks.size(), 2U);
  EXPECT_EQ(marks[0]->property("text"), "Ch 1");
  EXPECT_EQ(marks[1]->property("text"), "TC 25");
  EXPECT_EQ(rig.findAll("assignmentMenu", window->contentItem())[1]->property("displayText"), "Output 2");
  EXPECT_EQ(item("outputMenu")->property("displayText"), "System Default");
  EXPECT_EQ(item("routingError"), nullptr);
}

TEST_F(MediaPlayerTest, SpaceAndArrowsMoveTheClip) {
  open();
  drop();
  rig.pressIn(window, Qt::Key_Space);
  rig.runFor(1s);
  EXPECT_EQ(text("playButton"), "Pause");
  EXPECT_EQ(text("runningTimecode"), "10:00:01:00");
  rig.pressIn(window, Qt::Key_Space);
  rig.pressIn(window, Qt::Key_Right);
  rig.runFor(100ms);
  EXPECT_EQ(text("playButton"), "Play");
  EXPECT_EQ(text("positionLine").left(5), "00:06");
  rig.pressIn(window, Qt::Key_Left);
  rig.runFor(100ms);
  EXPECT_EQ(text("positionLine").left(5), "00:01");
}

TEST_F(MediaPlayerTest, TheButtonsDoWhatTheySay) {
  open();
  drop();
  rig.click(item("playButton"));
  rig.runFor(500ms);
  EXPECT_EQ(text("playButton"), "Pause");
  rig.click(item("forwardButton"));
  rig.runFor(100ms);
  EXPECT_EQ(text("positionLine").left(5), "00:05");
  rig.click(item("backButton"));
  rig.runFor(100ms);
  EXPECT_EQ(text("positionLine").left(5), "00:00");
  rig.click(item("ejectButton"));
  rig.runFor(100ms);
  EXPECT_EQ(text("clipName"), "No clip loaded");
}

TEST_F(MediaPlayerTest, AJumpIsTypedAndEntered) {
  open();
  drop();
  item("jumpField")->forceActiveFocus();
  QMetaObject::invokeMethod(item("jumpField"), "selectAll");
  for (const char letter : std::string("10:00:04:05")) QTest::keyClick(window, letter);
  rig.pressIn(window, Qt::Key_Return);
  rig.runFor(100ms);
  EXPECT_EQ(text("runningTimecode"), "10:00:04:05");
}

TEST_F(MediaPlayerTest, AfterAClickOrAJumpSpaceStillPlays) {
  open();
  drop();
  rig.click(item("forwardButton"));
  rig.pressIn(window, Qt::Key_Space);
  rig.runFor(200ms);
  EXPECT_EQ(text("playButton"), "Pause");
  EXPECT_EQ(text("positionLine").left(5), "00:05") << "Space has not pressed the button once more";
  rig.pressIn(window, Qt::Key_Space);
  item("jumpField")->forceActiveFocus();
  rig.pressIn(window, Qt::Key_Return);
  rig.runFor(100ms);
  EXPECT_EQ(text("runningTimecode"), "10:00:00:00");
  rig.pressIn(window, Qt::Key_Space);
  rig.runFor(200ms);
  EXPECT_EQ(text("playButton"), "Pause");
}

TEST_F(MediaPlayerTest, AfterAClipWasChosenByAClickSpacePlays) {
  open();
  // The dialog takes no file that does not exist.
  const TemporaryFolder folder;
  const auto file = folder / "show.mov";
  std::ofstream(file) << "a movie";
  rig.mediaFiles.files[file] = rig.mediaFiles.files["/show.mov"];
  rig.movies.movies[file] = rig.movies.movies["/show.mov"];
  rig.click(item("dropPlaceholder"));
  rig.runFor(300ms);
  const auto objects = window->findChildren<QObject*>();
  const auto found = std::ranges::find_if(objects, [](const QObject* o) { return o->inherits("QQuickFileDialog"); });
  ASSERT_NE(found, objects.end());
  QObject& dialog = **found;
  EXPECT_EQ(dialog.property("visible"), true);
  dialog.setProperty("currentFolder", QUrl::fromLocalFile(QString::fromStdString(folder.path().string())));
  const QUrl url = QUrl::fromLocalFile(QString::fromStdString(file.string()));
  ASSERT_TRUE(QTest::qWaitFor(
      [&] {
        rig.runFor(20ms);
        const QQuickItem* const first = item("fileDialogDelegate0");
        return first != nullptr && first->property("file") == url;
      },
      60'000))
      << "Qt reads the folder on a thread of its own";
  rig.click(item("fileDialogDelegate0"));
  rig.pressIn(window, Qt::Key_Return);
  rig.runFor(500ms);
  EXPECT_EQ(dialog.property("visible"), false);
  EXPECT_EQ(text("clipName"), "show.mov");
  rig.pressIn(window, Qt::Key_Space);
  rig.runFor(1s);
  EXPECT_EQ(text("playButton"), "Pause");
  EXPECT_EQ(text("runningTimecode"), "10:00:01:00");
  rig.pressIn(window, Qt::Key_Space);
  rig.runFor(100ms);
  EXPECT_EQ(text("playButton"), "Play");
  // Qt lets go of the dialog's icons while something is drawn after them, and else never.
  rig.pressIn(window, Qt::Key_Escape);
  rig.runFor(100ms);
  rig.window->releaseResources();
  rig.runFor(100ms);
}

TEST_F(MediaPlayerTest, TheLastOfSixtyFourChannelsCanBeRouted) {
  rig.wall.world.audio().addDevice({.name = "Stage Box", .outputGroups = {64}});
  rig.mediaFiles.files["/wide.mov"] = countedMedia(48000, 64, 12'000);
  rig.movies.movies["/wide.mov"] = {0.25, false};
  open();
  item("outputMenu")->setProperty("currentIndex", 1);
  QMetaObject::invokeMethod(item("outputMenu"), "activated", Q_ARG(int, 1));
  drop("/wide.mov");
  QQuickItem* const table = item("routingTable");
  EXPECT_EQ(table->property("count"), 64);
  QMetaObject::invokeMethod(table, "positionViewAtEnd");
  rig.runFor(50ms);
  const auto menus = rig.findAll("assignmentMenu", window->contentItem());
  ASSERT_FALSE(menus.empty());
  EXPECT_LT(menus.size(), 64U) << "only what is seen is made";
  const auto found = std::ranges::find_if(
      menus, [](const QQuickItem* menu) { return menu->property("accessibleName") == "Output of channel 64"; });
  ASSERT_NE(found, menus.end());
  QQuickItem* const last = *found;
  EXPECT_EQ(last->property("displayText"), "Output 64");
  last->forceActiveFocus();
  rig.pressIn(window, Qt::Key_Up);
  rig.runFor(100ms);
  EXPECT_EQ(last->property("displayText"), "Output 63");
  EXPECT_EQ(table->property("atYEnd"), true) << "the choice has not thrown the list back to its beginning";
}

TEST_F(MediaPlayerTest, WhatIsNoFileIsNotTaken) {
  open();
  QMimeData data;
  data.setUrls({QUrl("https://example.org/show.mov")});
  QDragEnterEvent enter(QPoint(100, 100), Qt::CopyAction, &data, Qt::LeftButton, {});
  QCoreApplication::sendEvent(window, &enter);
  QDropEvent dropped(QPoint(100, 100), Qt::CopyAction, &data, Qt::LeftButton, {});
  QCoreApplication::sendEvent(window, &dropped);
  rig.runFor(100ms);
  EXPECT_FALSE(dropped.isAccepted());
  EXPECT_EQ(text("clipName"), "No clip loaded");
}

TEST_F(MediaPlayerTest, ClosingTheWindowEndsTheSound) {
  open();
  drop();
  rig.pressIn(window, Qt::Key_Space);
  rig.runFor(500ms);
  rig.pressIn(window, Qt::Key_Escape);
  rig.runFor(100ms);
  EXPECT_EQ(rig.windowTitled("Media Player"), nullptr);
  EXPECT_EQ(rig.mediaFiles.openFiles, 0);
  EXPECT_FALSE(rig.movies.isLoaded);
}

}  // namespace
}  // namespace tallyrig
