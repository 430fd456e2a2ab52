#include "player/FileMediaPlayer.h"

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "platform/desktop/LocalUserFiles.h"
#include "platform/ffmpeg/FFmpegSampleRateConverters.h"
#include "platform/simulated/SimulatedWorld.h"
#include "support/AudioWithDefault.h"
#include "support/LTCSignal.h"
#include "support/SimulatedAudioFiles.h"
#include "support/SimulatedMediaFiles.h"
#include "support/SimulatedMovies.h"

namespace tallyrig {
namespace {

using namespace std::chrono_literals;

constexpr int kSeconds = 12;

/// A media player with "/show.mov": twelve seconds at 48 kHz, two channels that count their samples and, on the third,
/// LTC at 25 from 10:00:00:00. The devices are "Desk" with four outputs, the system's first, and "Plug" with two.
class FileMediaPlayerTest : public testing::Test {
 protected:
  FileMediaPlayerTest() {
    addMovie("/show.mov", {10, 0, 0, 0, MTCFrameRate::fps25});
    for (std::size_t channel = 0; channel < heard.size(); ++channel) {
      desk.onOutput(channel, [this, channel](std::int64_t, std::span<const float> samples) {
        for (const float sample : samples) {
          if (sample != 0) heard[channel].push_back(sample);
        }
      });
    }
  }

  void addMovie(const std::string& path, const Timecode& start) {
    auto code = std::make_shared<std::vector<float>>(kSeconds * 48000);
    LTCSignal signal(start.frameRate, start, 48000);
    for (std::size_t at = 0; at < code->size(); at += 4096) {
      signal.fill(static_cast<std::int64_t>(at),
                  std::span(*code).subspan(at, std::min<std::size_t>(4096, code->size() - at)));
    }
    SimulatedMedia media = countedMedia(48000, 3, kSeconds * 48000);
    media.sample = [code](std::int64_t frame, int channel) {
      return channel == 2 ? (*code)[static_cast<std::size_t>(frame)] : countedSample(frame, channel) / 2'000'000;
    };
    files.files[path] = std::move(media);
    movies.movies[path] = {kSeconds, true};
  }

  static QUrl url(const char* path) { return QUrl::fromLocalFile(path); }
  void load(const char* path = "/show.mov") {
    player->loadClip(url(path));
    world.runFor(200ms);
  }
  /// The frame of the first counted sample that output 0 plays after what has been heard so far.
  double nextHeard() {
    heard[0].clear();
    EXPECT_TRUE(world.runUntil([this] { return !heard[0].empty(); }, 1s));
    return static_cast<double>(heard[0].front()) * 2'000'000 - 1;
  }

  SimulatedWorld world;
  SimulatedDevice& desk = world.audio().addDevice({.name = "Desk", .outputGroups = {4}});
  SimulatedDevice& plug = world.audio().addDevice({.name = "Plug", .outputGroups = {2}});
  SimulatedMediaFiles files;
  SimulatedAudioFiles sounds;
  LocalUserFiles userFiles;
  SimulatedMovies movies{world.clock()};
  FFmpegSampleRateConverters converters;
  std::vector<std::vector<float>> heard{4};
  std::unique_ptr<FileMediaPlayer> player = std::make_unique<FileMediaPlayer>(
      FileMediaPlayerServices{world.audio(), world.scheduler(), files, converters, movies,
                              FileAnalysisEngine({files, sounds, userFiles, world.clock()})});
};

TEST_F(FileMediaPlayerTest, BeginsWithoutAClip) {
  EXPECT_FALSE(player->hasClip());
  EXPECT_EQ(player->outputNames(), (QStringList{"System Default", "Desk (4 ch)", "Plug (2 ch)"}));
  EXPECT_EQ(player->outputIndex(), 0);
  EXPECT_EQ(player->positionLine(), "00:00.000 / 00:00.000");
  EXPECT_EQ(player->timecodeText(), "--:--:--:--");
  player->togglePlayback();
  player->skip(5);
  player->jumpToTimecode();
  player->scrub(3);
  player->commitScrub();
  EXPECT_FALSE(player->isPlaying());
}

TEST_F(FileMediaPlayerTest, LoadingFindsTheTimecodeAndRoutesTheSound) {
  player->loadClip(url("/show.mov"));
  EXPECT_TRUE(player->isAnalysing());
  EXPECT_TRUE(player->isAudioRoutePreparing());
  EXPECT_EQ(player->clipName(), "show.mov");
  EXPECT_FALSE(movies.muted);
  world.runFor(200ms);
  EXPECT_FALSE(player->isAnalysing());
  EXPECT_FALSE(player->isAudioRoutePreparing());
  EXPECT_EQ(player->startText(), "10:00:00:00");
  EXPECT_EQ(player->rateText(), "25");
  EXPECT_EQ(player->channelText(), "3");
  EXPECT_EQ(player->jumpTimecodeText(), "10:00:00:00");
  EXPECT_EQ(player->channelMarks(), (QStringList{"Ch 1", "Ch 2", "TC 25"}));
  EXPECT_EQ(player->outputChoices(), (QStringList{"None", "Output 1", "Output 2", "Output 3", "Output 4"}));
  EXPECT_EQ(player->assignedChoices(), (QList<int>{1, 2, 3}));
  EXPECT_EQ(player->audioRoutingError(), "");
  EXPECT_EQ(player->errorMessage(), "");
  EXPECT_TRUE(player->hasVideo());
  EXPECT_TRUE(movies.muted) << "the routed sound has taken over";
  EXPECT_EQ(player->effectiveDuration(), kSeconds);
}

TEST_F(FileMediaPlayerTest, PlaysPauseAndPositionTogether) {
  load();
  player->togglePlayback();
  world.runFor(2s);
  EXPECT_TRUE(player->isPlaying());
  EXPECT_NEAR(player->shownPosition(), 2, 0.05);
  EXPECT_EQ(player->timecodeText(), "10:00:02:00");
  EXPECT_EQ(heard[0].front(), countedSample(0, 0) / 2'000'000);
  EXPECT_NEAR(static_cast<double>(heard[0].size()), 96'000, 2'000);
  player->togglePlayback();
  const auto count = heard[0].size();
  world.runFor(1s);
  EXPECT_FALSE(player->isPlaying());
  EXPECT_LE(heard[0].size(), count + 512);
}

TEST_F(FileMediaPlayerTest, AClipThatPlaysBeforeItsSoundIsRoutedIsNeverSilent) {
  player->loadClip(url("/show.mov"));
  player->togglePlayback();
  EXPECT_FALSE(movies.muted);
  // A disk that takes its time: the picture is well under way when the sound arrives.
  ASSERT_TRUE(world.runUntil([this] { return movies.muted; }, 1s));
  world.runFor(50ms);
  EXPECT_FALSE(heard[0].empty()) << "muted, and nothing else to be heard";
}

TEST_F(FileMediaPlayerTest, ASeekGivesTheClipsOwnSoundUntilTheRoutedOneIsThere) {
  load();
  player->togglePlayback();
  world.runFor(1s);
  bool heardOwn = false;
  QObject::connect(player.get(), &FileMediaPlayer::changed, [&] { heardOwn = heardOwn || !movies.muted; });
  player->skip(5);
  EXPECT_TRUE(heardOwn);
  EXPECT_TRUE(player->isAudioRoutePreparing());
  const double position = movies.lastSeek;
  EXPECT_NEAR(position, 6, 0.05);
  EXPECT_NEAR(nextHeard(), position * 48000, 1) << "the sample at that position";
  EXPECT_TRUE(movies.muted);
  EXPECT_FALSE(player->isAudioRoutePreparing());
}

TEST_F(FileMediaPlayerTest, SeeksStayWithinTheClip) {
  load();
  player->skip(-5);
  EXPECT_EQ(movies.lastSeek, 0);
  player->skip(100);
  EXPECT_EQ(movies.lastSeek, kSeconds);
  world.runFor(1s);
  EXPECT_EQ(player->audioRoutingError(), "");
}

TEST_F(FileMediaPlayerTest, PlayAtTheEndBeginsAgain) {
  load();
  player->skip(100);
  world.runFor(100ms);
  player->togglePlayback();
  world.runFor(1s);
  EXPECT_NEAR(player->shownPosition(), 1, 0.05);
}

TEST_F(FileMediaPlayerTest, TheSliderShowsWhereItIsHeldAndSeeksWhenLetGo) {
  load();
  player->scrub(7);
  EXPECT_EQ(player->positionLine(), "00:07.000 / 00:12.000");
  EXPECT_EQ(player->timecodeText(), "10:00:07:00");
  EXPECT_EQ(movies.lastSeek, -1);
  world.runFor(100ms);
  EXPECT_EQ(player->shownPosition(), 7);
  player->scrub(4);
  player->commitScrub();
  EXPECT_EQ(movies.lastSeek, 4);
  player->commitScrub();
  world.runFor(100ms);
  EXPECT_EQ(player->shownPosition(), 4);
}

TEST_F(FileMediaPlayerTest, JumpsToATimecode) {
  load();
  player->setJumpTimecodeText("10:00:03;05");
  player->jumpToTimecode();
  EXPECT_EQ(movies.lastSeek, 3.2);
  EXPECT_EQ(player->timecodeText(), "10:00:03:05");
}

TEST_F(FileMediaPlayerTest, AJumpOutOfTheClipIsIgnored) {
  load();
  for (const char* text : {"09:59:59:24", "10:00:12:01", "22:00:00:00", "10:00:01:25", "nonsense", ""}) {
    player->setJumpTimecodeText(text);
    player->jumpToTimecode();
    EXPECT_EQ(movies.lastSeek, -1) << text;
  }
}

TEST_F(FileMediaPlayerTest, AJumpCrossesMidnight) {
  addMovie("/night.mov", {23, 59, 55, 0, MTCFrameRate::fps25});
  load("/night.mov");
  ASSERT_EQ(player->startText(), "23:59:55:00");
  player->setJumpTimecodeText("00:00:02:00");
  player->jumpToTimecode();
  EXPECT_EQ(movies.lastSeek, 7);
}

TEST_F(FileMediaPlayerTest, ChannelsBeyondTheDeviceStartAsNone) {
  load();
  player->selectOutput(2);
  EXPECT_EQ(player->assignedChoices(), (QList<int>{1, 2, 0}));
  EXPECT_EQ(player->outputChoices(), (QStringList{"None", "Output 1", "Output 2"}));
  EXPECT_EQ(movies.device, "Plug");
  world.runFor(200ms);
  EXPECT_EQ(player->audioRoutingError(), "");
  player->selectOutput(0);
  EXPECT_EQ(movies.device, std::nullopt);
  EXPECT_EQ(player->assignedChoices(), (QList<int>{1, 2, 3}));
}

TEST_F(FileMediaPlayerTest, ARoutingByHandIsHeardFromThePresentPosition) {
  load();
  player->togglePlayback();
  world.runFor(1s);
  heard.assign(4, {});
  player->assign(0, 4);
  player->assign(1, 0);
  player->assign(9, 1);
  player->assign(0, 9);
  EXPECT_EQ(player->assignedChoices(), (QList<int>{4, 0, 3}));
  world.runFor(500ms);
  ASSERT_FALSE(heard[3].empty());
  EXPECT_NEAR(heard[3].front() * 2'000'000, 48'000, 2'500);
  EXPECT_TRUE(heard[0].empty());
  EXPECT_TRUE(heard[1].empty());
}

TEST_F(FileMediaPlayerTest, WithoutAnAudioTrackRoutingIsOff) {
  files.files["/show.mov"].description.audioTracks.clear();
  load();
  EXPECT_EQ(player->audioRoutingError(), "Audio routing unavailable: No audio track was found.");
  EXPECT_EQ(player->errorMessage(), "No LTC timecode signal found in the file.");
  EXPECT_FALSE(player->isAudioRoutePreparing());
  EXPECT_FALSE(movies.muted);
  EXPECT_EQ(player->startText(), "--");
  player->togglePlayback();
  world.runFor(1s);
  EXPECT_NEAR(player->shownPosition(), 1, 0.05) << "the picture plays all the same";
  player->skip(2);
  EXPECT_EQ(player->audioRoutingError(), "Audio routing unavailable: No audio track was found.");
}

TEST_F(FileMediaPlayerTest, AnAudioOnlyClipHasNoPicture) {
  movies.movies["/show.mov"].hasVideo = false;
  load();
  EXPECT_FALSE(player->hasVideo());
  EXPECT_TRUE(movies.muted);
}

TEST_F(FileMediaPlayerTest, ADeviceThatCannotBeOpenedLeavesTheClipItsOwnSound) {
  desk.failures().start = -7;
  load();
  EXPECT_EQ(player->audioRoutingError(),
            "Audio routing unavailable: The selected output device could not be configured (Core Audio error -7).");
  EXPECT_FALSE(movies.muted);
  player->selectOutput(2);
  world.runFor(200ms);
  EXPECT_EQ(player->audioRoutingError(), "") << "another one can";
  EXPECT_TRUE(movies.muted);
}

TEST_F(FileMediaPlayerTest, WhenTheDeviceVanishesTheClipsOwnSoundIsHeard) {
  load();
  player->selectOutput(1);
  player->togglePlayback();
  world.runFor(1s);
  ASSERT_TRUE(movies.muted);
  world.audio().unplug(desk);
  world.runFor(100ms);
  EXPECT_FALSE(movies.muted);
  EXPECT_TRUE(player->isPlaying());
  EXPECT_EQ(player->audioRoutingError(), "The selected output device could not be configured (Core Audio error -19).");
  EXPECT_EQ(player->outputIndex(), -1);
  EXPECT_EQ(player->outputNames(), (QStringList{"System Default", "Plug (2 ch)"}));
  player->selectOutput(1);
  world.runFor(200ms);
  EXPECT_TRUE(movies.muted);
  EXPECT_EQ(player->audioRoutingError(), "");
}

TEST_F(FileMediaPlayerTest, WithoutAChoiceItGoesOnWhereTheSystemPlays) {
  AudioWithDefault audio(world.audio());
  audio.output = plug.id();
  player = std::make_unique<FileMediaPlayer>(
      FileMediaPlayerServices{audio, world.scheduler(), files, converters, movies,
                              FileAnalysisEngine({files, sounds, userFiles, world.clock()})});
  load();
  EXPECT_EQ(player->assignedChoices(), (QList<int>{1, 2, 0})) << "two outputs";
  player->togglePlayback();
  world.runFor(1s);
  EXPECT_TRUE(heard[0].empty());
  player->assign(2, 1);
  audio.output = desk.id();
  world.audio().announceChange();
  world.runFor(1ms);
  EXPECT_EQ(player->assignedChoices(), (QList<int>{1, 2, 3})) << "a device with four";
  EXPECT_NEAR(nextHeard(), player->shownPosition() * 48000, 4800);
  EXPECT_EQ(player->outputIndex(), 0);
  player->assign(2, 1);
  world.audio().announceChange();
  world.runFor(1ms);
  EXPECT_EQ(player->assignedChoices(), (QList<int>{1, 2, 1})) << "the same device keeps the user's routing";

  world.audio().unplug(desk);
  world.audio().unplug(plug);
  world.runFor(100ms);
  EXPECT_FALSE(movies.muted);
  EXPECT_NE(player->audioRoutingError(), "");
  audio.output = std::nullopt;
  world.audio().plugIn(desk);
  world.runFor(200ms);
  EXPECT_TRUE(movies.muted) << "a device that comes is taken";
  EXPECT_EQ(player->audioRoutingError(), "");
  player.reset();
}

TEST_F(FileMediaPlayerTest, ADecodingFaultLaterGivesTheClipsOwnSound) {
  load();
  files.files["/show.mov"].faultAt = 5 * 48'000;
  player->togglePlayback();
  world.runFor(3s);
  EXPECT_EQ(player->audioRoutingError().toStdString(), std::make_error_code(std::errc::io_error).message());
  EXPECT_FALSE(movies.muted);
  EXPECT_TRUE(player->isPlaying());
}

TEST_F(FileMediaPlayerTest, ASecondClipStopsTheSoundOfTheFirst) {
  addMovie("/other.mov", {1, 0, 0, 0, MTCFrameRate::fps30});
  load();
  player->togglePlayback();
  world.runFor(1s);
  player->loadClip(url("/other.mov"));
  const auto count = heard[0].size();
  EXPECT_FALSE(player->isPlaying());
  EXPECT_EQ(player->startText(), "--");
  EXPECT_EQ(player->jumpTimecodeText(), "");
  world.runFor(1s);
  EXPECT_EQ(heard[0].size(), count);
  EXPECT_EQ(player->startText(), "01:00:00:00");
  EXPECT_EQ(player->rateText(), "30");
}

TEST_F(FileMediaPlayerTest, AResultOfAClipThatHasBeenReplacedIsDropped) {
  files.files["/empty.mov"] = countedMedia(48000, 1, 480);
  movies.movies["/empty.mov"] = {0.01, false};
  player->loadClip(url("/show.mov"));
  player->loadClip(url("/empty.mov"));
  world.runFor(1s);
  EXPECT_EQ(player->startText(), "--");
  EXPECT_EQ(player->channelMarks(), QStringList{"Ch 1"});
  EXPECT_EQ(player->errorMessage(), "No LTC timecode signal found in the file.");
}

TEST_F(FileMediaPlayerTest, EjectingLeavesAFreshWindow) {
  load();
  player->selectOutput(2);
  player->togglePlayback();
  world.runFor(1s);
  player->ejectClip();
  EXPECT_FALSE(player->hasClip());
  EXPECT_FALSE(player->isPlaying());
  EXPECT_FALSE(movies.isLoaded);
  EXPECT_EQ(player->outputIndex(), 0);
  EXPECT_EQ(player->channelMarks(), QStringList{});
  EXPECT_EQ(player->positionLine(), "00:00.000 / 00:00.000");
  EXPECT_EQ(plug.liveIOs(), 0U);
  world.runFor(1s);
  EXPECT_EQ(files.openFiles, 0);
  load();
  EXPECT_EQ(player->startText(), "10:00:00:00");
  EXPECT_TRUE(movies.muted);
}

TEST_F(FileMediaPlayerTest, EndsInTheMiddleOfAnything) {
  for (const auto moment : {0ms, 1ms, 30ms, 500ms}) {
    auto other = std::make_unique<FileMediaPlayer>(
        FileMediaPlayerServices{world.audio(), world.scheduler(), files, converters, movies,
                                FileAnalysisEngine({files, sounds, userFiles, world.clock()})});
    other->loadClip(url("/show.mov"));
    other->togglePlayback();
    world.runFor(moment);
    other.reset();
    world.runFor(100ms);
    EXPECT_EQ(files.openFiles, 0);
    EXPECT_EQ(desk.liveIOs(), 0U);
  }
}

TEST_F(FileMediaPlayerTest, WithoutAMoviePlayerTheSoundIsThereAllTheSame) {
  movies.isMissing = true;
  FileMediaPlayer blind({world.audio(), world.scheduler(), files, converters, movies,
                         FileAnalysisEngine({files, sounds, userFiles, world.clock()})});
  blind.loadClip(url("/show.mov"));
  world.runFor(500ms);
  EXPECT_EQ(blind.startText(), "10:00:00:00");
  EXPECT_FALSE(blind.hasVideo());
}

TEST_F(FileMediaPlayerTest, WhatIsNoFileIsNotLoaded) {
  player->loadClip(QUrl("https://example.com/clip.mov"));
  EXPECT_FALSE(player->hasClip());
  load("/missing.mov");
  EXPECT_TRUE(player->hasClip());
  EXPECT_NE(player->errorMessage(), "");
  EXPECT_TRUE(player->audioRoutingError().startsWith("Audio routing unavailable: "));
}

}  // namespace
}  // namespace tallyrig
