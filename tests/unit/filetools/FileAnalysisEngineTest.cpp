#include "filetools/FileAnalysisEngine.h"

#include <cmath>

#include "platform/desktop/LocalUserFiles.h"
#include "platform/simulated/SimulatedClock.h"
#include "support/FrameRates.h"
#include "support/LTCSignal.h"
#include "support/LtcWriter.h"
#include "support/SimulatedAudioFiles.h"
#include "support/SimulatedMediaFiles.h"

namespace tallyrig {
namespace {

using testing::ElementsAre;
using Case = FileAnalysisError::Case;

constexpr double kRate = 48000;

std::vector<float> silence(double seconds) {
  return std::vector<float>(static_cast<std::size_t>(seconds * kRate), 0.0F);
}

/// LTC from `start` on, after `before` seconds of silence.
std::vector<float> code(double seconds, const Timecode& start = at25(1, 0, 0, 0), double before = 0) {
  std::vector<float> samples = silence(before + seconds);
  LTCSignal signal(start.frameRate, start, kRate);
  const auto begin = static_cast<std::size_t>(before * kRate);
  for (std::size_t at = begin; at < samples.size(); at += 4096) {
    signal.fill(static_cast<std::int64_t>(at - begin),
                std::span(samples).subspan(at, std::min<std::size_t>(4096, samples.size() - at)));
  }
  return samples;
}

struct FileAnalysis : testing::Test {
  FileAnalysisResult analyse(const std::string& url, const std::vector<int>& channels) {
    const auto outcome = engine.analyse(url, channels, stop.get_token());
    if (const auto* result = std::get_if<FileAnalysisResult>(&outcome)) return *result;
    ADD_FAILURE() << std::get<FileAnalysisError>(outcome).description();
    return {};
  }
  Case failureOf(const std::string& url, const std::vector<int>& channels) {
    const auto outcome = engine.analyse(url, channels, stop.get_token());
    if (const auto* error = std::get_if<FileAnalysisError>(&outcome)) return error->kind;
    ADD_FAILURE() << "there is a result";
    return {};
  }
  void addSound(const std::string& url, std::vector<std::vector<float>> channels) {
    audio.files[url].channels = std::move(channels);
  }
  /// A movie whose one audio track has these channels.
  void addMovie(const std::string& url, std::vector<std::vector<float>> channels) {
    SimulatedMedia movie;
    movie.format = {kRate, static_cast<int>(channels.size())};
    movie.frameCount = static_cast<std::int64_t>(channels.front().size());
    movie.description.durationSeconds = static_cast<double>(movie.frameCount) / kRate;
    movie.description.audioTracks.push_back({movie.format});
    movie.sample = [channels = std::move(channels)](std::int64_t frame, int channel) {
      return channels[static_cast<std::size_t>(channel)][static_cast<std::size_t>(frame)];
    };
    media.files[url] = std::move(movie);
  }

  SimulatedMediaFiles media;
  SimulatedAudioFiles audio;
  LocalUserFiles files;
  SimulatedClock clock;
  std::stop_source stop;
  FileAnalysisEngine engine{{media, audio, files, clock}};
};

TEST_F(FileAnalysis, FindsWhatTheFirstSampleCarries) {
  addSound("/a.wav", {code(30)});
  addMovie("/a.mov", {code(30)});
  for (const char* url : {"/a.wav", "/a.mov"}) {
    const auto result = analyse(url, {0});
    EXPECT_EQ(result.detectedFrameRate, MTCFrameRate::fps25);
    EXPECT_EQ(result.timecodeAtFileStart, at25(1, 0, 0, 0));
    EXPECT_EQ(result.detectedChannel, 0);
    EXPECT_EQ(result.totalChannels, 1);
    EXPECT_DOUBLE_EQ(result.fileDurationSeconds, 30);
    EXPECT_EQ(result.metadataTimecode, std::nullopt);
    ASSERT_EQ(result.probeResults.size(), 5U);
    for (std::size_t row = 0; row < 5; ++row) {
      const double seconds = 7 * static_cast<double>(row);
      EXPECT_DOUBLE_EQ(result.probeResults[row].probeTimeSeconds, seconds);
      ASSERT_TRUE(result.probeResults[row].timecode);
      const auto frames = at25(1, 0, 0, 0).signedFrameDistance(*result.probeResults[row].timecode).value();
      EXPECT_GE(frames, seconds * 25);
      EXPECT_LE(frames, seconds * 25 + 2);
    }
  }
}

TEST_F(FileAnalysis, EveryRateIsFoundAndProjectedByItself) {
  for (const MTCFrameRate rate :
       {MTCFrameRate::fps24, MTCFrameRate::fps25, MTCFrameRate::fps2997, MTCFrameRate::fps30}) {
    const Timecode start{10, 20, 30, 4, rate};
    for (const double before : {0.0, 1.0, 5.0}) {
      addSound("/a.wav", {code(20, start, before)});
      const auto result = analyse("/a.wav", {0});
      EXPECT_EQ(result.detectedFrameRate, rate);
      const auto frames = static_cast<std::int64_t>(std::floor(before * exactFrameRate(rate)));
      EXPECT_EQ(result.timecodeAtFileStart->text(), start.advanced(-frames).text()) << before;
    }
  }
}

TEST_F(FileAnalysis, TwoSecondsAreOneRowAndASampleMoreIsFive) {
  addSound("/two.wav", {code(2)});
  EXPECT_THAT(analyse("/two.wav", {0}).probeResults, ElementsAre(testing::Field(&ProbeResult::probeTimeSeconds, 0)));
  auto samples = code(2);
  samples.push_back(0);
  addSound("/more.wav", {samples});
  const auto rows = analyse("/more.wav", {0}).probeResults;
  ASSERT_EQ(rows.size(), 5U);
  for (const auto& row : rows) {
    EXPECT_GE(row.probeTimeSeconds, 0);
    EXPECT_LE(row.probeTimeSeconds, 1 / kRate);
  }
}

TEST_F(FileAnalysis, TheFirstChannelWithCodeEndsTheSearch) {
  addSound("/stereo.wav", {silence(10), code(10), code(10, at25(2, 0, 0, 0))});
  addMovie("/stereo.mov", {silence(10), code(10), code(10, at25(2, 0, 0, 0))});
  EXPECT_EQ(failureOf("/stereo.wav", {0}), Case::noLTCFound);
  for (const char* url : {"/stereo.wav", "/stereo.mov"}) {
    const auto result = analyse(url, {0, 1, 2});
    EXPECT_EQ(result.detectedChannel, 1);
    EXPECT_EQ(result.totalChannels, 3);
    EXPECT_EQ(result.timecodeAtFileStart, at25(1, 0, 0, 0));
    EXPECT_EQ(analyse(url, {2, 1}).timecodeAtFileStart, at25(2, 0, 0, 0));
  }
}

TEST_F(FileAnalysis, CodeFromTheMiddleOnIsProjectedOverTheGap) {
  // Probes at 0, 4.5, 9, 13.5 and 18 s; code from 9 s on.
  addSound("/late.wav", {code(11, at25(1, 0, 9, 0), 9)});
  const auto result = analyse("/late.wav", {0});
  ASSERT_EQ(result.probeResults.size(), 5U);
  EXPECT_FALSE(result.probeResults[0].timecode);
  EXPECT_FALSE(result.probeResults[1].timecode);
  EXPECT_TRUE(result.probeResults[2].timecode);
  EXPECT_TRUE(result.probeResults[3].timecode);
  EXPECT_TRUE(result.probeResults[4].timecode);
  EXPECT_EQ(result.timecodeAtFileStart, at25(1, 0, 0, 0));
}

TEST_F(FileAnalysis, LaterProbesDoNotMoveTheAnchor) {
  auto samples = code(10);
  const auto other = code(10, at25(5, 0, 0, 0));
  samples.insert(samples.end(), other.begin(), other.end());
  addSound("/spliced.wav", {samples});
  const auto result = analyse("/spliced.wav", {0});
  EXPECT_EQ(result.timecodeAtFileStart, at25(1, 0, 0, 0));
  EXPECT_EQ(result.probeResults.back().timecode->hours, 5);
}

TEST_F(FileAnalysis, TheStartIsProjectedRoundMidnight) {
  addSound("/midnight.wav", {code(10, at25(0, 0, 1, 0), 2)});
  EXPECT_EQ(analyse("/midnight.wav", {0}).timecodeAtFileStart, at25(23, 59, 59, 0));
}

TEST_F(FileAnalysis, AMovieWithoutSoundHasNoCode) {
  media.files["/silent.mov"].description.videoTracks.push_back({25});
  EXPECT_EQ(failureOf("/silent.mov", {0}), Case::noLTCFound);
  EXPECT_EQ(engine.channelCount("/silent.mov"), 1);
}

TEST_F(FileAnalysis, ATagAloneGivesAResultWithoutAStart) {
  media.files["/tagged.mov"].description.metadata = {{"title", "Take"}, {"slate", "01:00:00:00"}};
  const auto result = analyse("/tagged.mov", {0, 1, 2});
  EXPECT_EQ(result, (FileAnalysisResult{.detectedFrameRate = MTCFrameRate::fps25,
                                        .timecodeAtFileStart = std::nullopt,
                                        .detectedChannel = 0,
                                        .totalChannels = 3,
                                        .fileDurationSeconds = 0,
                                        .probeResults = {},
                                        .metadataTimecode = "01:00:00:00"}));
  EXPECT_EQ(analyse("/tagged.mov", {}).totalChannels, 1);
}

TEST_F(FileAnalysis, ATagStandsBesideTheCode) {
  addMovie("/both.mov", {code(5)});
  media.files["/both.mov"].description.metadata = {{"Timecode", "anything"}};
  const auto result = analyse("/both.mov", {0});
  EXPECT_EQ(result.metadataTimecode, "anything");
  EXPECT_EQ(result.timecodeAtFileStart, at25(1, 0, 0, 0));
}

TEST_F(FileAnalysis, TheTagIsThatOfTheFileAsItWasAtFirst) {
  addSound("/a.wav", {silence(3)});
  media.files["/a.wav"].description.metadata = {{"timecode", "01:00:00:00"}};
  audio.beforeRead = [&] { media.files.erase("/a.wav"); };
  EXPECT_EQ(analyse("/a.wav", {0}).metadataTimecode, "01:00:00:00");
}

TEST_F(FileAnalysis, TagsThatMentionTimeComeBeforeThoseThatLookLikeIt) {
  const auto read = [&](std::vector<MediaDescription::MetadataItem> items) {
    media.files["/tags.mov"].description.metadata = std::move(items);
    return engine.readMetadataTimecode("/tags.mov");
  };
  EXPECT_EQ(read({{"slate", "01:00:00:00"}, {"runtime", "long"}}), "long");
  EXPECT_EQ(read({{"StartTime", std::nullopt}, {"TIMECODE", "x"}}), "x");
  EXPECT_EQ(read({{"TIME", "12"}, {"slate", "01:00:00:00"}}), "01:00:00:00");
  EXPECT_EQ(read({{"slate", "1:2:3:4"}}), std::nullopt);
  EXPECT_EQ(read({}), std::nullopt);
  EXPECT_EQ(engine.readMetadataTimecode("/absent.mov"), std::nullopt);
}

TEST_F(FileAnalysis, ARealFailureOutlivesThePlainAbsenceOfCode) {
  addMovie("/stereo.mov", {silence(3), silence(3)});
  EXPECT_EQ(failureOf("/stereo.mov", {2, 0, 1}), Case::cannotReadFile);
  EXPECT_EQ(failureOf("/stereo.mov", {-1, 0}), Case::cannotReadFile);
  EXPECT_EQ(failureOf("/stereo.mov", {0, 1}), Case::noLTCFound);
  EXPECT_EQ(failureOf("/stereo.mov", {}), Case::noLTCFound);
  EXPECT_EQ(failureOf("/absent.wav", {0}), Case::cannotReadFile);
  EXPECT_EQ(failureOf("/absent.wav", {}), Case::noLTCFound);
}

TEST_F(FileAnalysis, AMovieThatCannotBeLoadedSaysWhy) {
  media.files["/broken.mov"].openError = std::make_error_code(std::errc::io_error);
  const auto outcome = engine.analyse("/broken.mov", {0}, {});
  const auto& error = std::get<FileAnalysisError>(outcome);
  EXPECT_EQ(error.kind, Case::assetLoadFailed);
  EXPECT_EQ(error.description(), "Could not load media asset: Input/output error");
}

TEST_F(FileAnalysis, SoundThatDoesNotDecodeCannotBeRead) {
  addMovie("/odd.mov", {code(3)});
  media.files["/odd.mov"].audioError = std::make_error_code(std::errc::not_supported);
  EXPECT_EQ(failureOf("/odd.mov", {0}), Case::cannotReadFile);
}

TEST_F(FileAnalysis, AMovieThatBreaksOffIsDecodedAsFarAsItGoes) {
  addMovie("/cut.mov", {code(20)});
  media.files["/cut.mov"].faultAt = static_cast<std::int64_t>(6 * kRate);
  const auto result = analyse("/cut.mov", {0});
  ASSERT_EQ(result.probeResults.size(), 5U);
  EXPECT_TRUE(result.probeResults[1].timecode);
  EXPECT_FALSE(result.probeResults[2].timecode);
  EXPECT_EQ(result.timecodeAtFileStart, at25(1, 0, 0, 0));
}

TEST_F(FileAnalysis, AnAudioFileThatCannotBeReadThereHasAnEmptyRow) {
  addSound("/cut.wav", {code(20)});
  audio.files["/cut.wav"].failingFrom = static_cast<std::int64_t>(6 * kRate);
  const auto result = analyse("/cut.wav", {0});
  ASSERT_EQ(result.probeResults.size(), 5U);
  EXPECT_TRUE(result.probeResults[0].timecode);
  EXPECT_FALSE(result.probeResults[1].timecode);
}

TEST_F(FileAnalysis, AChannelThatAnAudioFileDoesNotHaveCarriesNoCode) {
  addSound("/mono.wav", {code(5)});
  EXPECT_EQ(failureOf("/mono.wav", {1, -1}), Case::noLTCFound);
}

TEST_F(FileAnalysis, AnHourIsReadAsLittleAsAMinute) {
  addSound("/minute.wav", {silence(60)});
  addSound("/hour.wav", {silence(3600)});
  EXPECT_EQ(failureOf("/minute.wav", {0}), Case::noLTCFound);
  EXPECT_EQ(audio.framesRead, 5 * 96000);
  audio.framesRead = 0;
  EXPECT_EQ(failureOf("/hour.wav", {0}), Case::noLTCFound);
  EXPECT_EQ(audio.framesRead, 5 * 96000);
}

TEST_F(FileAnalysis, AMovieIsOpenedOnceForAllItsChannels) {
  addMovie("/wide.mov", std::vector<std::vector<float>>(8, silence(4)));
  EXPECT_EQ(failureOf("/wide.mov", {0, 1, 2, 3, 4, 5, 6, 7}), Case::noLTCFound);
  EXPECT_EQ(media.opens, 1);
  EXPECT_EQ(engine.summary("/wide.mov"), (FileSummary{8, std::nullopt}));
  EXPECT_EQ(media.opens, 2);
  EXPECT_EQ(media.openFiles, 0);
  EXPECT_EQ(media.liveReaders, 0);
}

TEST_F(FileAnalysis, CancelledBeforeItBeginsItReadsNothing) {
  addSound("/a.wav", {code(5)});
  stop.request_stop();
  EXPECT_EQ(failureOf("/a.wav", {0}), Case::cancelled);
  EXPECT_EQ(audio.opens, 0);
}

TEST_F(FileAnalysis, CancelledDuringAProbeItEndsAndTheNextCallIsAsEver) {
  addSound("/a.wav", {code(20)});
  addMovie("/a.mov", {code(20)});
  for (const char* url : {"/a.wav", "/a.mov"}) {
    for (const int reads : {1, 2, 24, 25, 26, 60}) {
      std::stop_source one;
      int left = reads;
      audio.beforeRead = media.beforeRead = [&] {
        if (--left == 0) one.request_stop();
      };
      const auto outcome = engine.analyse(url, {0}, one.get_token());
      ASSERT_TRUE(std::holds_alternative<FileAnalysisError>(outcome)) << url << " " << reads;
      EXPECT_EQ(std::get<FileAnalysisError>(outcome).kind, Case::cancelled);
      EXPECT_GE(left, -1);
    }
    audio.beforeRead = media.beforeRead = nullptr;
    EXPECT_EQ(analyse(url, {0}).timecodeAtFileStart, at25(1, 0, 0, 0));
  }
}

TEST_F(FileAnalysis, TheExtensionAloneDecidesTheRoute) {
  addSound("/a.mov", {code(5)});
  EXPECT_EQ(failureOf("/a.mov", {0}), Case::assetLoadFailed);
  addMovie("/a.MP4", {code(5)});
  EXPECT_EQ(analyse("/a.MP4", {0}).totalChannels, 1);
  addMovie("/b.mkv", {code(5)});
  EXPECT_EQ(failureOf("/b.mkv", {0}), Case::cannotReadFile);
}

TEST_F(FileAnalysis, UnknownDurationsAreProbedAtTheBeginning) {
  addMovie("/a.mov", {code(10)});
  for (const double seconds :
       {std::numeric_limits<double>::quiet_NaN(), -1.0, std::numeric_limits<double>::infinity()}) {
    media.files["/a.mov"].description.durationSeconds = seconds;
    const auto result = analyse("/a.mov", {0});
    EXPECT_EQ(result.probeResults.size(), 1U);
    EXPECT_EQ(result.fileDurationSeconds, 0);
  }
}

TEST_F(FileAnalysis, AnEnormousDurationIsNoTrouble) {
  addMovie("/a.mov", {code(10)});
  media.files["/a.mov"].description.durationSeconds = 1e300;
  EXPECT_EQ(analyse("/a.mov", {0}).probeResults.size(), 5U);
}

TEST_F(FileAnalysis, CountsChannels) {
  addSound("/a.wav", {silence(1), silence(1), silence(1)});
  addMovie("/a.mov", {silence(1), silence(1)});
  media.files["/odd.mov"].description.audioTracks.emplace_back();
  EXPECT_EQ(engine.channelCount("/a.wav"), 3);
  EXPECT_EQ(engine.channelCount("/a.mov"), 2);
  EXPECT_EQ(engine.channelCount("/odd.mov"), 1);
  EXPECT_EQ(engine.channelCount("/absent.mov"), 1);
  EXPECT_EQ(engine.channelCount("/absent.wav"), 1);
}

TEST_F(FileAnalysis, ThePictureRateIsThatOfTheFirstPicture) {
  media.files["/a.mov"].description.videoTracks = {{24}, {25}};
  media.files["/b.mov"].description.videoTracks = {{0}, {25}};
  media.files["/c.mov"].description.videoTracks = {{std::numeric_limits<double>::quiet_NaN()}};
  media.files["/a.avi"].description.videoTracks = {{24}};
  EXPECT_EQ(engine.videoFrameRate("/a.mov"), 24);
  EXPECT_EQ(engine.videoFrameRate("/b.mov"), std::nullopt);
  EXPECT_EQ(engine.videoFrameRate("/c.mov"), std::nullopt);
  EXPECT_EQ(engine.videoFrameRate("/a.avi"), std::nullopt);
  EXPECT_EQ(engine.videoFrameRate("/absent.mov"), std::nullopt);
}

}  // namespace
}  // namespace tallyrig
