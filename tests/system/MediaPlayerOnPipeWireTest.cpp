// Real files, routed channel by channel over a real sound server, and read there by a card.

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/desktop/LocalUserFiles.h"
#include "platform/ffmpeg/FFmpegMediaFiles.h"
#include "platform/ffmpeg/FFmpegSampleRateConverters.h"
#include "platform/mpv/MpvMoviePlayers.h"
#include "platform/sndfile/SndfileAudioFiles.h"
#include "player/FileMediaAudioRouter.h"
#include "player/FileMediaPlayer.h"
#include "player/MediaTimecode.h"
#include "rig/WavFile.h"
#include "support/EncodedLTC.h"
#include "support/MediaFolder.h"
#include "system/EngineOnPipeWire.h"

namespace tallyrig {
namespace {

using namespace std::chrono_literals;

constexpr Timecode kStart{10, 0, 0, 0, MTCFrameRate::fps25};
constexpr int kSeconds = 12;

/// A file of twelve seconds that carries LTC at 25 from 10:00:00:00, made by ffmpeg out of "ltc.wav".
struct Clip {
  const char* name;
  /// What comes between the input and the name.
  std::string recipe;
  double sampleRate;
  int channels;
  /// The channel that carries the code, from 0.
  int source;
};

/// Silence on all of so many channels but the last, as ffmpeg's filter for samples takes it.
std::string onLastOf(int channels) {
  std::string formula;
  for (int channel = 1; channel < channels; ++channel) formula += "0|";
  return formula + "val(0)";
}

class MediaPlayerOnPipeWire : public testing::TestWithParam<Clip> {
 protected:
  MediaPlayerOnPipeWire() {
    const Sound sound{encodedLTC(kStart, kSeconds * 25, 48000), 48000};
    EXPECT_EQ(writeWav(folder.file("ltc.wav"), sound), "");
    router.onReady = [this] { ++readyCount; };
    router.onFailure = [this](const std::string& text) { failure = text; };
  }

  std::string make(const char* name, const std::string& recipe) {
    return folder.make(name, "-i '" + folder.file("ltc.wav") + "' " + recipe);
  }
  AudioDeviceID desk() { return engine.audio().devices().front().id; }

  EngineOnPipeWire engine{8, 1024};
  MediaFolder folder;
  LocalUserFiles userFiles;
  FFmpegMediaFiles files{[this](const std::filesystem::path& path, std::unique_ptr<ByteSource>& bytes) {
    return userFiles.openForReading(path, bytes);
  }};
  FFmpegSampleRateConverters converters;
  FileMediaAudioRouter router{engine.audio(), engine.scheduler(), files, converters};
  int readyCount = 0;
  std::optional<std::string> failure;
};

TEST_P(MediaPlayerOnPipeWire, IsReadByACardOnTheOutputItIsRoutedTo) {
  const Clip& clip = GetParam();
  const auto loaded = StreamingMediaAudio::load(make(clip.name, clip.recipe), files);
  ASSERT_TRUE(std::holds_alternative<StreamingMediaAudio>(loaded)) << std::get<std::string>(loaded);
  const auto& stream = std::get<StreamingMediaAudio>(loaded);
  EXPECT_EQ(stream.sampleRate, clip.sampleRate);
  EXPECT_EQ(stream.channelCount, clip.channels);
  EXPECT_NEAR(stream.durationSeconds, kSeconds, 0.1);

  std::vector<int> assignments(static_cast<std::size_t>(clip.channels), -1);
  assignments[static_cast<std::size_t>(clip.source)] = 4;
  ASSERT_EQ(router.prepare(stream, assignments, 8, desk()), std::nullopt);
  const auto card = engine.reader(4);
  router.restart(stream, 5, true);
  ASSERT_TRUE(engine.runUntil([&] { return failure || card->liveAnchor(); })) << "no code arrives";
  EXPECT_EQ(failure, std::nullopt);
  const auto from = kStart.advanced(5 * 25).signedFrameDistance(card->liveAnchor()->timecode);
  ASSERT_TRUE(from);
  EXPECT_GE(*from, 0) << card->liveAnchor()->timecode.text();
  EXPECT_LE(*from, 7 * 25);
  EXPECT_GE(readyCount, 1);
}

INSTANTIATE_TEST_SUITE_P(
    Clips, MediaPlayerOnPipeWire,
    testing::Values(
        Clip{"mono.wav", "-c:a pcm_s16le", 48000, 1, 0},
        Clip{"other_rate.wav", "-ar 44100 -af 'pan=stereo|c1=c0'", 44100, 2, 1},
        Clip{"eight.flac", "-ar 96000 -af 'pan=8c|c1=c0'", 96000, 8, 1},
        Clip{"many.wav", "-af 'aeval=" + onLastOf(64) + "'", 48000, 64, 63},
        Clip{"fast.wav", "-ar 192000 -c:a pcm_s24le -af 'pan=stereo|c1=c0'", 192000, 2, 1},
        Clip{"aac.m4a", "-c:a aac -b:a 256k -af 'pan=stereo|c1=c0'", 48000, 2, 1},
        Clip{"mp3.mp3", "-c:a libmp3lame -b:a 320k -af 'pan=stereo|c1=c0'", 48000, 2, 1},
        Clip{"movie.mov",
             "-f lavfi -i \"testsrc=s=64x48:r=25:d=12,select='not(mod(n\\,3))'\" -vsync vfr -map 1:v -map 0:a "
             "-c:v libx264 -c:a pcm_s16le",
             48000, 1, 0}),
    [](const auto& tested) {
      std::string name = tested.param.name;
      return name.substr(0, name.find('.'));
    });

using MediaFaultsOnPipeWire = MediaPlayerOnPipeWire;

TEST_F(MediaFaultsOnPipeWire, AFileCutOffPlaysWhatIsThereAndThenIsSilentOrSaysWhy) {
  const std::string whole = make("whole.wav", "-c:a pcm_s16le");
  std::filesystem::resize_file(whole, 500'000);
  const auto loaded = StreamingMediaAudio::load(whole, files);
  ASSERT_TRUE(std::holds_alternative<StreamingMediaAudio>(loaded)) << std::get<std::string>(loaded);
  ASSERT_EQ(router.prepare(std::get<StreamingMediaAudio>(loaded), {1}, 8, desk()), std::nullopt);
  const auto card = engine.reader(1);
  router.setPlayback(true);
  EXPECT_TRUE(engine.runUntil([&] { return card->liveAnchor().has_value(); }));
}

TEST_F(MediaFaultsOnPipeWire, WhatIsNoSoundIsRefusedWithAText) {
  const std::string picture =
      folder.make("picture.mp4", "-f lavfi -i testsrc=s=64x48:r=25:d=1 -c:v libx264 -pix_fmt yuv420p");
  EXPECT_EQ(std::get<std::string>(StreamingMediaAudio::load(picture, files)), "No audio track was found.");
  std::ofstream(folder.file("empty.wav")).flush();
  EXPECT_NE(std::get<std::string>(StreamingMediaAudio::load(folder.file("empty.wav"), files)), "");
  EXPECT_NE(std::get<std::string>(StreamingMediaAudio::load(folder.file("missing.wav"), files)), "");
}

TEST_F(MediaFaultsOnPipeWire, ADamagedPlaceInTheMiddleEndsNothing) {
  const std::string damaged = make("damaged.mp3", "-c:a libmp3lame -b:a 320k");
  {
    std::fstream file(damaged, std::ios::in | std::ios::out | std::ios::binary);
    file.seekp(200'000);
    file << std::string(4000, '\x5a');
  }
  const auto loaded = StreamingMediaAudio::load(damaged, files);
  ASSERT_TRUE(std::holds_alternative<StreamingMediaAudio>(loaded)) << std::get<std::string>(loaded);
  ASSERT_EQ(router.prepare(std::get<StreamingMediaAudio>(loaded), {1}, 8, desk()), std::nullopt);
  const auto card = engine.reader(1);
  router.restart(std::get<StreamingMediaAudio>(loaded), 4, true);
  // The damage lies at about five seconds.
  EXPECT_TRUE(engine.runUntil([&] {
    if (failure) return true;
    const auto anchor = card->liveAnchor();
    return anchor && kStart.advanced(6 * 25).signedFrameDistance(anchor->timecode).value_or(-1) > 0;
  }));
  EXPECT_EQ(failure, std::nullopt);
}

TEST_F(MediaFaultsOnPipeWire, ADeviceThatIsUnpluggedEndsTheSoundWithAText) {
  const auto loaded = StreamingMediaAudio::load(make("whole.wav", "-c:a pcm_s16le"), files);
  ASSERT_TRUE(std::holds_alternative<StreamingMediaAudio>(loaded)) << std::get<std::string>(loaded);
  ASSERT_EQ(router.prepare(std::get<StreamingMediaAudio>(loaded), {1}, 8, desk()), std::nullopt);
  const auto card = engine.reader(1);
  router.setPlayback(true);
  ASSERT_TRUE(engine.runUntil([&] { return card->liveAnchor().has_value(); }));
  engine.rig().add({.name = "other", .description = "Other", .channels = 2});
  engine.rig().remove("duplex");
  EXPECT_TRUE(engine.runUntil([&] { return failure.has_value(); }));
  EXPECT_EQ(failure, "The selected output device could not be configured (Core Audio error -19).");
  EXPECT_EQ(router.stream(), std::nullopt);
  const int before = readyCount;
  EXPECT_EQ(router.applyRouting(desk(), 2, {1}, 3), std::nullopt);
  EXPECT_TRUE(engine.runUntil([&] { return readyCount > before; })) << "another device takes over";
}

TEST_F(MediaFaultsOnPipeWire, AFileOfThreeHoursPlaysFromItsEndAtOnce) {
  // Silence that takes no room on the disk, and the code two and a half hours into it.
  constexpr std::uint32_t kRate = 48000;
  constexpr std::uint32_t kBytes = 3 * 3600 * kRate * 2;
  const std::string path = folder.file("long.wav");
  const std::string code = readWhole(make("code.wav", "-c:a pcm_s16le -bitexact"));
  std::string header = code.substr(0, 44);
  const auto put = [&header](std::size_t at, std::uint32_t value) {
    for (int byte = 0; byte < 4; ++byte)
      header[at + static_cast<std::size_t>(byte)] = static_cast<char>(value >> (8 * byte));
  };
  ASSERT_EQ(header.substr(36, 4), "data");
  put(4, kBytes + 36);
  put(40, kBytes);
  writeWhole(path, header);
  std::filesystem::resize_file(path, 44ULL + kBytes);
  {
    std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
    file.seekp(44 + 9000LL * kRate * 2);
    file << code.substr(44);
  }
  const auto loaded = StreamingMediaAudio::load(path, files);
  ASSERT_TRUE(std::holds_alternative<StreamingMediaAudio>(loaded)) << std::get<std::string>(loaded);
  const auto& stream = std::get<StreamingMediaAudio>(loaded);
  EXPECT_EQ(stream.durationSeconds, 10800);
  ASSERT_EQ(router.prepare(stream, {2}, 8, desk()), std::nullopt);
  const auto card = engine.reader(2);
  router.restart(stream, 9004, true);
  ASSERT_TRUE(engine.runUntil([&] { return failure || card->liveAnchor(); }));
  EXPECT_EQ(failure, std::nullopt);
  EXPECT_GE(kStart.advanced(4 * 25).signedFrameDistance(card->liveAnchor()->timecode).value_or(-1), 0);
}

TEST_F(MediaFaultsOnPipeWire, TheRunningTimecodeAgreesWithACardThatReadsTheClip) {
  SndfileAudioFiles audioFiles{[this](const std::filesystem::path& path, std::unique_ptr<ByteSource>& bytes) {
    return userFiles.openForReading(path, bytes);
  }};
  MpvMoviePlayers movies(engine.scheduler().mainQueue(), "null");
  FileMediaPlayer player({engine.audio(), engine.scheduler(), files, converters, movies,
                          FileAnalysisEngine({files, audioFiles, userFiles, engine.clock()})});
  player.player()->setPictureSize(64, 48);
  player.selectOutput(1);
  const std::string movie = make("show.mov",
                                 "-f lavfi -i testsrc=s=64x48:r=25:d=12 -filter_complex '[0:a]pan=stereo|c1=c0[a]' "
                                 "-map 1:v -map '[a]' -c:v libx264 -c:a pcm_s16le");
  player.loadClip(QUrl::fromLocalFile(QString::fromStdString(movie)));
  ASSERT_TRUE(engine.runUntil([&] { return !player.isAnalysing() && !player.isAudioRoutePreparing(); }));
  EXPECT_EQ(player.startText(), "10:00:00:00");
  EXPECT_EQ(player.channelMarks(), (QStringList{"Ch 1", "TC 25"}));
  EXPECT_EQ(player.audioRoutingError(), "");
  const auto card = engine.reader(1);
  player.togglePlayback();
  ASSERT_TRUE(engine.runUntil([&] { return card->liveAnchor() && player.shownPosition() > 0.5; }));
  const auto medianApart = [&]() -> std::int64_t {
    std::vector<std::int64_t> apart;
    while (player.isPlaying() && apart.size() < 40) {
      engine.runUntil([] { return false; }, 50ms);
      const auto anchor = card->liveAnchor();
      const auto shown = positionOfTimecode(kStart, player.timecodeText().toStdString());
      if (!anchor || !shown) continue;
      const Timecode read = anchor->extrapolated(engine.clock().now(), engine.clock());
      apart.push_back(kStart.signedFrameDistance(read).value_or(0) - std::llround(*shown * 25));
    }
    EXPECT_GE(apart.size(), 20U);
    if (apart.empty()) return kSeconds * 25;
    std::ranges::sort(apart);
    return apart[apart.size() / 2];
  };
  // Where the machine is too busy for it the picture falls behind, until a seek brings the two together again.
  constexpr int kSeeks = 4;
  std::int64_t frames = medianApart();
  for (int seek = 0; seek < kSeeks && std::abs(frames) > 2; ++seek) {
    player.scrub(1);
    player.commitScrub();
    ASSERT_TRUE(engine.runUntil([&] { return player.shownPosition() > 1.5; }));
    frames = medianApart();
  }
  EXPECT_LE(std::abs(frames), 2) << "frames";
}

}  // namespace
}  // namespace tallyrig
