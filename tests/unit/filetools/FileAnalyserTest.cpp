#include "filetools/FileAnalyser.h"

#include <map>

#include "platform/simulated/SimulatedWorld.h"

namespace tallyrig {
namespace {

using namespace std::chrono_literals;

const Timecode kStart{1, 2, 3, 4, MTCFrameRate::fps25};

FileAnalysisResult found(int channel, int channels) {
  return {.detectedFrameRate = MTCFrameRate::fps25,
          .timecodeAtFileStart = kStart,
          .detectedChannel = channel,
          .totalChannels = channels,
          .fileDurationSeconds = 75.9,
          .probeResults = {{0, std::nullopt}, {61.5, kStart}},
          .metadataTimecode = std::nullopt};
}

struct FileAnalyserWindow : testing::Test {
  struct Answers {
    int channels = 2;
    std::optional<double> pictureRate;
    FileAnalysisOutcome outcome = FileAnalysisError{};
    TimecodeTrackResult written;
  };

  FileAnalyserOperations operations() {
    return {[this](const auto& url) {
              const Answers& answer = answers[url.string()];
              return FileSummary{answer.channels, answer.pictureRate};
            },
            [this](const auto& url, const auto& channels, const auto& stop) {
              analysed.emplace_back(url.string(), channels);
              if (duringAnalysis) duringAnalysis();
              if (stop.stop_requested()) ++stopped;
              return answers[url.string()].outcome;
            },
            [this](const auto& url, const Timecode& timecode, const auto&) {
              written.emplace_back(url.string(), timecode);
              return answers[url.string()].written;
            }};
  }
  void run() { world.runFor(10ms); }
  void load(const char* url) {
    analyser.loadFile(url);
    run();
  }

  SimulatedWorld world;
  std::map<std::string, Answers> answers;
  std::vector<std::pair<std::string, std::vector<int>>> analysed;
  std::vector<std::pair<std::string, Timecode>> written;
  std::function<void()> duringAnalysis;
  int stopped = 0;
  FileAnalyser analyser{world.scheduler(), operations()};
};

TEST_F(FileAnalyserWindow, BeginsWithoutAFile) {
  EXPECT_FALSE(analyser.hasFile());
  EXPECT_TRUE(analyser.autoDetect());
  EXPECT_FALSE(analyser.isAnalysing());
  analyser.startAnalysis();
  analyser.startWrite();
  run();
  EXPECT_TRUE(analysed.empty());
  EXPECT_TRUE(written.empty());
  EXPECT_FALSE(analyser.isAnalysing());
}

TEST_F(FileAnalyserWindow, LearnsTheFileThenAnalysesAllItsChannels) {
  answers["/a.mov"] = {.channels = 3, .pictureRate = 25, .outcome = found(2, 3), .written = {}};
  analyser.loadFile("/a.mov");
  EXPECT_TRUE(analyser.isAnalysing());
  EXPECT_EQ(analyser.fileChannelCount(), 0);
  run();
  EXPECT_FALSE(analyser.isAnalysing());
  ASSERT_EQ(analysed.size(), 1U);
  EXPECT_THAT(analysed[0].second, testing::ElementsAre(0, 1, 2));
  EXPECT_EQ(analyser.fileChannelCount(), 3);
  EXPECT_EQ(analyser.videoFrameRate(), 25);
  EXPECT_EQ(analyser.result(), found(2, 3));
  EXPECT_EQ(analyser.selectedChannel(), 2) << "the found channel becomes the manual choice";
  EXPECT_FALSE(analyser.autoDetect());
}

TEST_F(FileAnalyserWindow, FewerThanTwoChannelsTryTheFirst) {
  for (const int channels : {-1, 0, 1}) {
    answers["/a.wav"].channels = channels;
    load("/a.wav");
    EXPECT_THAT(analysed.back().second, testing::ElementsAre(0));
  }
}

TEST_F(FileAnalyserWindow, ASecondFileReplacesTheFirstWhoseOutcomeIsNeverShown) {
  answers["/first.wav"].outcome = found(0, 1);
  answers["/second.wav"].outcome = FileAnalysisError{FileAnalysisError::Case::cannotReadFile, {}};
  duringAnalysis = [&] {
    duringAnalysis = nullptr;
    analyser.loadFile("/second.wav");
  };
  load("/first.wav");
  EXPECT_EQ(stopped, 1);
  EXPECT_EQ(analysed.size(), 2U);
  EXPECT_EQ(analyser.fileName(), "second.wav");
  EXPECT_FALSE(analyser.result());
  EXPECT_EQ(analyser.errorMessage(), "Could not open the file for reading.");
}

TEST_F(FileAnalyserWindow, TheSameFileLoadedAgainIsAnotherSession) {
  int round = 0;
  answers["/a.wav"].outcome = found(0, 1);
  duringAnalysis = [&] {
    if (++round == 1) analyser.loadFile("/a.wav");
  };
  load("/a.wav");
  EXPECT_EQ(round, 2);
  EXPECT_TRUE(analyser.result());
  EXPECT_FALSE(analyser.isAnalysing());
}

TEST_F(FileAnalyserWindow, AnOutcomeUnderWayToTheMainThreadIsDroppedToo) {
  answers["/first.wav"].outcome = found(0, 1);
  analyser.loadFile("/first.wav");
  while (analysed.empty()) world.runFor(1ns);
  analyser.loadFile("/second.wav");
  EXPECT_FALSE(analyser.result());
  EXPECT_TRUE(analyser.isAnalysing());
  run();
  EXPECT_FALSE(analyser.result());
  EXPECT_EQ(analyser.fileName(), "second.wav");
}

TEST_F(FileAnalyserWindow, CancellingLeavesNothingUnderWay) {
  answers["/a.wav"].outcome = found(0, 1);
  analyser.loadFile("/a.wav");
  analyser.cancelTasks();
  EXPECT_FALSE(analyser.isAnalysing());
  run();
  EXPECT_FALSE(analyser.result());
  EXPECT_TRUE(analysed.empty());
}

TEST_F(FileAnalyserWindow, AChannelIsChosenAndTriedByReAnalysing) {
  answers["/a.wav"] = {.channels = 4, .pictureRate = {}, .outcome = found(1, 4), .written = {}};
  load("/a.wav");
  analyser.chooseChannel(3);
  EXPECT_EQ(analysed.size(), 1U) << "a choice alone starts nothing";
  analyser.startAnalysis();
  EXPECT_FALSE(analyser.result());
  run();
  EXPECT_THAT(analysed.back().second, testing::ElementsAre(3));
  analyser.chooseAutoDetect();
  EXPECT_EQ(analyser.channelHint(), "Will try all 4 channels and use whichever decodes LTC.");
  analyser.startAnalysis();
  run();
  EXPECT_EQ(analysed.back().second.size(), 4U);
}

TEST_F(FileAnalyserWindow, ShowsWhatWasFound) {
  answers["/a.wav"] = {.channels = 8, .pictureRate = {}, .outcome = found(4, 8), .written = {}};
  load("/a.wav");
  EXPECT_EQ(analyser.durationText(), "1m 15s");
  EXPECT_EQ(analyser.startText(), "01:02:03:04");
  EXPECT_EQ(analyser.startDetail(), QString::fromUtf8("25 · Ch 5 of 8"));
  EXPECT_EQ(analyser.metadataText(), "Not found");
  const auto rows = analyser.probeRows();
  ASSERT_EQ(rows.size(), 2);
  EXPECT_EQ(rows[0].toMap()["time"], "@0s");
  EXPECT_EQ(rows[0].toMap()["text"], "No LTC decoded");
  EXPECT_EQ(rows[1].toMap()["time"], "@1m 1s");
  EXPECT_EQ(rows[1].toMap()["text"], "01:02:03:04");
}

TEST_F(FileAnalyserWindow, ATagAloneIsShownWithoutAStart) {
  FileAnalysisResult tagged;
  tagged.metadataTimecode = "10:00:00:00";
  answers["/a.mov"].outcome = tagged;
  load("/a.mov");
  EXPECT_EQ(analyser.startText(), "Not detected");
  EXPECT_EQ(analyser.startDetail(), "");
  EXPECT_EQ(analyser.metadataText(), "10:00:00:00");
  EXPECT_FALSE(analyser.canWriteTimecode());
}

TEST_F(FileAnalyserWindow, OnlyAMovieThatFitsCanBeWritten) {
  const auto tryWith = [&](const char* url, std::optional<double> pictureRate) {
    answers[url] = {.channels = 1, .pictureRate = pictureRate, .outcome = found(0, 1), .written = {}};
    load(url);
    return analyser.canWriteTimecode();
  };
  const QString help =
      "Write LTC start timecode to the file's timecode track using a verified transactional replacement";
  EXPECT_FALSE(tryWith("/a.wav", std::nullopt));
  EXPECT_FALSE(analyser.offersWriting());
  EXPECT_FALSE(tryWith("/a.mp4", 25));
  EXPECT_FALSE(analyser.cadenceWarning());
  EXPECT_TRUE(tryWith("/a.mov", std::nullopt));
  EXPECT_TRUE(tryWith("/a.MOV", 25.009));
  EXPECT_EQ(analyser.writeHelp(), help);
  EXPECT_FALSE(tryWith("/b.mov", 23.976));
  EXPECT_TRUE(analyser.offersWriting());
  EXPECT_EQ(analyser.writeHelp(),
            QString::fromUtf8("LTC is 25 but picture is 23.976 fps — cannot write a matching timecode track."));
}

TEST_F(FileAnalyserWindow, AWriteIsFollowedByANewAnalysisThatTakesItsRemarkAway) {
  answers["/a.mov"] = {.channels = 1, .pictureRate = {}, .outcome = found(0, 1), .written = {}};
  load("/a.mov");
  std::vector<QString> remarks;
  QObject::connect(&analyser, &FileAnalyser::changed, [&] { remarks.push_back(analyser.writeSuccessText()); });
  analyser.startWrite();
  EXPECT_TRUE(analyser.isWritingTimecode());
  run();
  ASSERT_EQ(written.size(), 1U);
  EXPECT_EQ(written[0], (std::pair<std::string, Timecode>{"/a.mov", kStart}));
  EXPECT_FALSE(analyser.isWritingTimecode());
  EXPECT_EQ(analysed.size(), 2U);
  EXPECT_THAT(remarks, testing::Contains("Timecode track written successfully."));
  EXPECT_FALSE(analyser.writeSuccessMessage());
  EXPECT_TRUE(analyser.result());
}

TEST_F(FileAnalyserWindow, AFailedWriteKeepsTheResult) {
  answers["/a.mov"] = {
      .channels = 1, .pictureRate = {}, .outcome = found(0, 1), .written = {.text = "It went wrong.", .failed = true}};
  load("/a.mov");
  analyser.startWrite();
  run();
  EXPECT_EQ(analyser.errorMessage(), "It went wrong.");
  EXPECT_TRUE(analyser.result());
  EXPECT_FALSE(analyser.isWritingTimecode());
  EXPECT_EQ(analysed.size(), 1U);
}

TEST_F(FileAnalyserWindow, AWriteOfAReplacedFileShowsNothing) {
  answers["/a.mov"] = {
      .channels = 1, .pictureRate = {}, .outcome = found(0, 1), .written = {.text = "It went wrong.", .failed = true}};
  load("/a.mov");
  analyser.startWrite();
  analyser.loadFile("/b.wav");
  EXPECT_FALSE(analyser.isWritingTimecode());
  run();
  EXPECT_NE(analyser.errorMessage(), "It went wrong.");
}

TEST_F(FileAnalyserWindow, ItsEndLeavesTheOutcomeBehind) {
  answers["/a.wav"].outcome = found(0, 1);
  {
    FileAnalyser closed(world.scheduler(), operations());
    closed.loadFile("/a.wav");
    duringAnalysis = [&] { ADD_FAILURE() << "analysed for a closed window"; };
  }
  run();
  EXPECT_EQ(stopped, 0);
}

TEST_F(FileAnalyserWindow, TakesTheFirstOfWhatIsDropped) {
  EXPECT_FALSE(analyser.loadDropped({}));
  EXPECT_FALSE(analyser.loadDropped({QUrl("http://example.org/a.wav"), QUrl("file:///b.wav")}));
  EXPECT_FALSE(analyser.loadDropped({QUrl("file://elsewhere/b.wav")}));
  EXPECT_FALSE(analyser.hasFile());
  EXPECT_TRUE(analyser.loadDropped({QUrl("file:///tmp/a%20b.wav"), QUrl("file:///c.wav")}));
  EXPECT_EQ(analyser.droppedFileURL(), "/tmp/a b.wav");
}

TEST_F(FileAnalyserWindow, ANameIsTakenByteForByteAndShownOnOneLine) {
  EXPECT_TRUE(analyser.loadDropped({QUrl::fromEncoded("file:///tmp/a%FF%0Ab%25.wav")}));
  EXPECT_EQ(analyser.droppedFileURL()->string(), "/tmp/a\xff\nb%.wav");
  EXPECT_EQ(analyser.fileName(), QString::fromUtf8("a\uFFFD\uFFFDb%.wav"));
}

TEST(ShortTime, CountsWholeSeconds) {
  EXPECT_EQ(shortTime(0), "0s");
  EXPECT_EQ(shortTime(59.99), "59s");
  EXPECT_EQ(shortTime(60), "1m 0s");
  EXPECT_EQ(shortTime(3 * 3600 + 5.5), "180m 5s");
}

}  // namespace
}  // namespace tallyrig
