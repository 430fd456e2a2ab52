// The contents of the file tools' windows, driven by mouse, keyboard and drops.

#include <gtest/gtest.h>

#include <QtGui/qevent.h>
#include <QMimeData>
#include <QQmlComponent>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickWindow>
#include <QTest>
#include <QUrl>

#include "app/FileTools.h"
#include "platform/simulated/SimulatedWorld.h"
#include "support/TemporaryFolder.h"
#include "ui/UiRig.h"

// Qt's own file panel leaves the textures of its pictures behind. From the sanitizers' run-time library, whose header
// is not part of the compiler's package. NOLINTBEGIN(bugprone-reserved-identifier): the names are given
extern "C" __attribute__((weak)) void __lsan_disable();
extern "C" __attribute__((weak)) void __lsan_enable();
// NOLINTEND(bugprone-reserved-identifier)

namespace tallyrig {
namespace {

using namespace std::chrono_literals;

const Timecode kStart{1, 0, 0, 0, MTCFrameRate::fps25};

class FileToolsWindow : public testing::Test {
 protected:
  FileToolsWindow() {
    qtWarnings().clear();
    engine.addImportPath("qrc:/qt/qml");
  }
  ~FileToolsWindow() override {
    window.reset();
    EXPECT_THAT(qtWarnings(), testing::IsEmpty());
  }

  void open(const char* view, const char* size) {
    QQmlComponent component(&engine);
    const QString text = QString(
                             "import QtQuick\nimport Tallyrig\nWindow { id: frame; required property FileTools tools; "
                             "%1; visible: true; color: Theme.window; %2 { anchors.fill: parent; focus: true; "
                             "tools: frame.tools } }")
                             .arg(size, view);
    component.setData(text.toUtf8(), QUrl("qrc:/qt/qml/Tallyrig/FileToolsTest.qml"));
    window.reset(
        qobject_cast<QQuickWindow*>(component.createWithInitialProperties({{"tools", QVariant::fromValue(&tools)}})));
    ASSERT_TRUE(window) << component.errorString().toStdString();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(window.get()));
    settle();
  }
  void settle() {
    world.runFor(10ms);
    QCoreApplication::processEvents();
    window->grabWindow();
  }
  QQuickItem* find(const QString& name, QQuickItem* below = nullptr) {
    QQuickItem* root = below != nullptr ? below : window->contentItem();
    if (root->objectName() == name && root->isVisible()) return root;
    for (QQuickItem* child : root->childItems()) {
      if (QQuickItem* found = find(name, child)) return found;
    }
    return nullptr;
  }
  QString text(const QString& name, const char* property = "text") {
    QQuickItem* item = find(name);
    return item != nullptr ? item->property(property).toString() : "absent";
  }
  void click(const QString& name) {
    QQuickItem* item = find(name);
    ASSERT_NE(item, nullptr) << name.toStdString();
    const QPointF centre = item->mapToScene(QPointF(item->width() / 2, item->height() / 2));
    QTest::mouseClick(window.get(), Qt::LeftButton, {}, centre.toPoint());
    settle();
  }
  void type(const QString& keys) {
    for (const QChar key : keys) QTest::keyClick(window.get(), key.toLatin1());
    settle();
  }
  /// As a file manager does it. Whether the window takes it.
  bool drop(const QString& onto, const QList<QUrl>& urls) {
    QQuickItem* item = find(onto);
    QMimeData data;
    data.setUrls(urls);
    const QPointF place = item->mapToScene(QPointF(item->width() / 2, item->height() / 2));
    QDragEnterEvent enter(place.toPoint(), Qt::CopyAction, &data, Qt::LeftButton, {});
    QCoreApplication::sendEvent(window.get(), &enter);
    settle();
    targetedDuringDrag = item->property("isTargeted").toBool();
    QDropEvent event(place, Qt::CopyAction, &data, Qt::LeftButton, {});
    QCoreApplication::sendEvent(window.get(), &event);
    const bool taken = event.isAccepted();
    settle();
    return taken;
  }

  SimulatedWorld world;
  int channels = 2;
  std::optional<double> pictureRate;
  FileAnalysisOutcome outcome = FileAnalysisResult{MTCFrameRate::fps25, kStart, 1, 2, 75, {{0, kStart}, {61, {}}}, "x"};
  TimecodeTrackResult written;
  std::vector<std::vector<int>> analysed;
  int writes = 0;
  std::vector<std::filesystem::path> rendered;
  std::optional<std::string> renderFailure;
  bool targetedDuringDrag = false;
  FileTools tools{world.scheduler(),
                  {[this](const auto&) {
                     return FileSummary{channels, pictureRate};
                   },
                   [this](const auto&, const auto& tried, const auto&) {
                     analysed.push_back(tried);
                     return outcome;
                   },
                   [this](const auto&, const Timecode&, const auto&) {
                     ++writes;
                     return written;
                   }},
                  [this](const WAVStretch&, const std::filesystem::path& url) {
                    rendered.push_back(url);
                    return renderFailure;
                  }};
  QQmlEngine engine;
  std::unique_ptr<QQuickWindow> window;
};

class FileAnalyserViewTest : public FileToolsWindow {
 protected:
  FileAnalyserViewTest() { open("FileAnalyserView", "width: 680; height: 640"); }
};

TEST_F(FileAnalyserViewTest, AsksForAFile) {
  EXPECT_EQ(text("dropText"), "Drop a WAV, AIFF, MP3, MOV, or MP4 file here");
  EXPECT_EQ(text("dropHint"), "or click to browse");
  EXPECT_EQ(text("dropSymbol", "name"), "arrow-down-doc");
  for (const char* name :
       {"analysing", "writing", "channels", "duration", "reAnalyse", "writeMetadata", "error", "success"}) {
    EXPECT_EQ(find(name), nullptr) << name;
  }
}

TEST_F(FileAnalyserViewTest, ADropIsAnalysedAndShown) {
  EXPECT_TRUE(drop("dropArea", {QUrl("file:///tmp/Take%201.mov"), QUrl("file:///tmp/other.wav")}));
  EXPECT_TRUE(targetedDuringDrag);
  EXPECT_FALSE(find("dropArea")->property("isTargeted").toBool());
  EXPECT_EQ(text("dropText"), "Take 1.mov");
  EXPECT_EQ(text("dropSymbol", "name"), "checkmark-circle");
  EXPECT_EQ(find("dropHint"), nullptr);
  EXPECT_EQ(text("duration", "value"), "1m 15s");
  EXPECT_EQ(text("start", "value"), "01:00:00:00");
  EXPECT_EQ(text("start", "detail"), QString::fromUtf8("25 · Ch 2 of 2"));
  EXPECT_EQ(text("metadata", "value"), "x");
  EXPECT_EQ(text("probe", "value"), "01:00:00:00");
  EXPECT_NE(find("reAnalyse"), nullptr);
}

TEST_F(FileAnalyserViewTest, NoValueIsCutShortWhereThereIsRoom) {
  for (const char* tag : {"", "x", "yy", "01:00:00:00", "a tag of some length"}) {
    auto& found = std::get<FileAnalysisResult>(outcome);
    found.metadataTimecode = *tag != '\0' ? std::optional<std::string>(tag) : std::nullopt;
    drop("dropArea", {QUrl("file:///tmp/a.mov")});
    EXPECT_EQ(text("metadata", "value"), *tag != '\0' ? tag : "Not found");
    for (const char* row : {"duration", "start", "metadata", "probe"}) {
      ASSERT_NE(find(row), nullptr) << row;
      EXPECT_FALSE(find("value", find(row))->property("truncated").toBool()) << row << " with \"" << tag << "\"";
    }
  }
}

TEST_F(FileAnalyserViewTest, WhatIsNoFileIsNotTaken) {
  EXPECT_FALSE(drop("dropArea", {QUrl("https://example.org/a.mov")}));
  EXPECT_EQ(text("dropText"), "Drop a WAV, AIFF, MP3, MOV, or MP4 file here");
}

TEST_F(FileAnalyserViewTest, WorkUnderWayIsSaid) {
  // The world stands still, so that the work stays under way.
  QMimeData data;
  data.setUrls({QUrl("file:///tmp/a.mov")});
  QQuickItem* area = find("dropArea");
  const QPointF place = area->mapToScene(QPointF(10, 10));
  QDragEnterEvent enter(place.toPoint(), Qt::CopyAction, &data, Qt::LeftButton, {});
  QCoreApplication::sendEvent(window.get(), &enter);
  QDropEvent event(place, Qt::CopyAction, &data, Qt::LeftButton, {});
  QCoreApplication::sendEvent(window.get(), &event);
  EXPECT_EQ(text("analysing"), "Analysing...");
  settle();
  EXPECT_EQ(find("analysing"), nullptr);
}

TEST_F(FileAnalyserViewTest, TheFoundChannelIsChosenAndAnotherCanBe) {
  channels = 3;
  drop("dropArea", {QUrl("file:///tmp/a.wav")});
  EXPECT_TRUE(find("channel1")->property("isChosen").toBool());
  EXPECT_FALSE(find("autoDetect")->property("isChosen").toBool());
  EXPECT_EQ(find("channelHint"), nullptr);
  EXPECT_EQ(text("channel2"), "Ch 3");
  click("channel2");
  EXPECT_TRUE(find("channel2")->property("isChosen").toBool());
  EXPECT_EQ(analysed.size(), 1U);
  click("reAnalyse");
  EXPECT_EQ(analysed.back(), std::vector<int>{2});
  click("autoDetect");
  EXPECT_EQ(text("channelHint"), "Will try all 3 channels and use whichever decodes LTC.");
  EXPECT_TRUE(find("autoDetect")->property("isChosen").toBool());
}

TEST_F(FileAnalyserViewTest, WritingIsForMoviesThatFit) {
  drop("dropArea", {QUrl("file:///tmp/a.wav")});
  EXPECT_EQ(find("writeMetadata"), nullptr);
  pictureRate = 24;
  drop("dropArea", {QUrl("file:///tmp/a.mov")});
  ASSERT_NE(find("writeMetadata"), nullptr);
  EXPECT_FALSE(find("writeMetadata")->isEnabled());
  click("writeMetadata");
  EXPECT_EQ(writes, 0);
  pictureRate = 25;
  drop("dropArea", {QUrl("file:///tmp/b.mov")});
  EXPECT_TRUE(find("writeMetadata")->isEnabled());
  click("writeMetadata");
  EXPECT_EQ(writes, 1);
  EXPECT_EQ(analysed.size(), 4U) << "the file is analysed again";
}

TEST_F(FileAnalyserViewTest, AFailureIsSaidBelowTheResultThatItLeaves) {
  written = {.text = "Choose the original .mov file rather than a symbolic link.", .failed = true};
  drop("dropArea", {QUrl("file:///tmp/a.mov")});
  click("writeMetadata");
  EXPECT_EQ(text("error"), "Choose the original .mov file rather than a symbolic link.");
  EXPECT_EQ(text("start", "value"), "01:00:00:00");
}

TEST_F(FileAnalyserViewTest, AFileWithoutCodeSaysSo) {
  outcome = FileAnalysisError{};
  drop("dropArea", {QUrl("file:///tmp/a.wav")});
  EXPECT_EQ(text("error"), "No LTC timecode signal found in the file.");
  EXPECT_EQ(find("duration"), nullptr);
}

class WAVGeneratorViewTest : public FileToolsWindow {
 protected:
  WAVGeneratorViewTest() { open("WAVGeneratorView", "width: 460; height: 420"); }
};

TEST_F(WAVGeneratorViewTest, FieldsTakeDigitsAndReturnMovesOn) {
  EXPECT_EQ(text("field0"), "01");
  click("field0");
  type("2a3");
  EXPECT_EQ(text("field0").toStdString(), "2a3");
  QTest::keyClick(window.get(), Qt::Key_Return);
  settle();
  EXPECT_EQ(text("field0"), "23");
  EXPECT_TRUE(find("field1")->hasActiveFocus());
  type("99");
  QTest::keyClick(window.get(), Qt::Key_Return);
  EXPECT_EQ(text("field1"), "59");
  EXPECT_TRUE(find("field2")->hasActiveFocus());
  QTest::keyClick(window.get(), Qt::Key_Return);
  QTest::keyClick(window.get(), Qt::Key_Return);
  EXPECT_FALSE(find("field3")->hasActiveFocus());
  click("field4");
  QTest::keyClick(window.get(), Qt::Key_Return);
  EXPECT_TRUE(find("field5")->hasActiveFocus());
  type("30");
  QTest::keyClick(window.get(), Qt::Key_Return);
  EXPECT_FALSE(find("field5")->hasActiveFocus());
  EXPECT_EQ(text("sizeEstimate"), QString::fromUtf8("≈ 8.2 MB · 1:30"));
}

TEST_F(WAVGeneratorViewTest, ChoicesChangeTheEstimate) {
  EXPECT_EQ(text("sizeEstimate"), QString::fromUtf8("≈ 5.5 MB · 1:00"));
  click("segment24-bit");
  EXPECT_EQ(text("sizeEstimate"), QString::fromUtf8("≈ 8.2 MB · 1:00"));
  click("segment44.1 kHz");
  EXPECT_EQ(text("sizeEstimate"), QString::fromUtf8("≈ 7.6 MB · 1:00"));
  click("segment29.97 DF");
  EXPECT_EQ(text("frameRate", "current"), "29.97 DF");
  EXPECT_EQ(text("levelText"), "-6 dBFS");
  find("level")->forceActiveFocus();
  QTest::keyClick(window.get(), Qt::Key_Right);
  settle();
  EXPECT_EQ(text("levelText"), "-5 dBFS");
}

/// With a home of its own, in which the save panel begins.
class SavePanelTest : public FileToolsWindow {
 protected:
  SavePanelTest() {
    qputenv("HOME", folder_.path().c_str());
    if (__lsan_disable != nullptr) __lsan_disable();
    open("WAVGeneratorView", "width: 640; height: 560");
  }
  ~SavePanelTest() override {
    qputenv("HOME", home_);
    if (__lsan_enable != nullptr) __lsan_enable();
  }

  /// Qt's own panel: without a desktop there is no other.
  void save() {
    QQuickItem* button = nullptr;
    const auto shown = [&] { return (button = buttonOf(window->contentItem(), "Save")) != nullptr; };
    ASSERT_TRUE(QTest::qWaitFor(shown, 10000));
    settle();
    press(window.get(), button);
  }
  bool panelIsOpen() { return find("fileNameTextField") != nullptr; }

  /// The window that asks whether to replace a file.
  QQuickWindow* question() {
    for (QWindow* other : QGuiApplication::topLevelWindows()) {
      if (other != window.get() && other->isVisible()) return qobject_cast<QQuickWindow*>(other);
    }
    return nullptr;
  }
  void answer(const QString& button) {
    QQuickWindow* asking = question();
    ASSERT_NE(asking, nullptr);
    press(asking, find(button, asking->contentItem()));
  }

  static QQuickItem* buttonOf(QQuickItem* root, const QString& text) {
    if (!root->isVisible()) return nullptr;
    if (root->inherits("QQuickAbstractButton") && root->property("text") == text) return root;
    for (QQuickItem* child : root->childItems()) {
      if (QQuickItem* found = buttonOf(child, text)) return found;
    }
    return nullptr;
  }
  void press(QQuickWindow* in, QQuickItem* item) {
    ASSERT_NE(item, nullptr);
    QTest::mouseClick(in, Qt::LeftButton, {}, item->mapToScene(item->boundingRect().center()).toPoint());
    settle();
  }

  const QByteArray home_ = qgetenv("HOME");
  const TemporaryFolder folder_;
  const std::filesystem::path suggested_ = folder_ / "LTC_01000000_1mins_25fps_48x16.wav";
};

TEST_F(SavePanelTest, ANewFileIsWrittenWithoutAQuestion) {
  click("generate");
  save();
  EXPECT_EQ(question(), nullptr);
  EXPECT_EQ(rendered, std::vector{suggested_});
}

TEST_F(SavePanelTest, AFileThatIsThereIsReplacedOnlyIfTheUserSaysSo) {
  ASSERT_TRUE(writeWhole(suggested_, "a recording"));
  click("generate");
  save();
  ASSERT_TRUE(QTest::qWaitFor([&] { return question() != nullptr; }, 10000));
  EXPECT_EQ(question()->title(), QString::fromUtf8("Replace “LTC_01000000_1mins_25fps_48x16.wav”?"));
  EXPECT_TRUE(rendered.empty());

  answer("cancel");
  EXPECT_TRUE(QTest::qWaitFor([&] { return panelIsOpen() && question() == nullptr; }, 10000));
  EXPECT_TRUE(rendered.empty());

  save();
  ASSERT_TRUE(QTest::qWaitFor([&] { return question() != nullptr; }, 10000));
  answer("confirm");
  EXPECT_EQ(rendered, std::vector{suggested_});
  EXPECT_TRUE(QTest::qWaitFor([&] { return question() == nullptr; }, 10000));
}

TEST_F(WAVGeneratorViewTest, ALowerRateLowersTheFrames) {
  click("segment30");
  click("field3");
  type("29");
  QTest::keyClick(window.get(), Qt::Key_Return);
  EXPECT_EQ(text("field3"), "29");
  click("segment25");
  EXPECT_EQ(text("field3"), "24");
}

}  // namespace
}  // namespace tallyrig
