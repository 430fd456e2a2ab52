#include "ui/FileToolsWindow.h"

namespace tallyrig {
namespace {

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

}  // namespace
}  // namespace tallyrig
