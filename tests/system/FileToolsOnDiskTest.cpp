// The file tools on real files: LTC in media made by ffmpeg, WAV files that other programs read, and files that are
// not what they seem.

#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <chrono>
#include <csignal>
#include <random>

#include "ForkedWriter.h"
#include "filetools/FileAnalysisEngine.h"
#include "filetools/WAVRenderer.h"
#include "platform/desktop/LocalUserFiles.h"
#include "platform/desktop/SystemClocks.h"
#include "platform/ffmpeg/FFmpegAudioFiles.h"
#include "platform/ffmpeg/FFmpegMediaFiles.h"
#include "platform/sndfile/SndfileAudioFiles.h"
#include "platform/sndfile/SndfileWavFiles.h"
#include "support/CountedFiles.h"
#include "support/MediaFolder.h"

/// libsndfile forgets what libvorbis has set up when an Ogg stream breaks off within its headers.
extern "C" const char* __lsan_default_suppressions();
extern "C" const char* __lsan_default_suppressions() {  // NOLINT(bugprone-reserved-identifier): the checker's own name
  return "leak:vorbis_info_init\n";
}

namespace tallyrig {
namespace {

namespace fs = std::filesystem;
using Case = FileAnalysisError::Case;

const Timecode kStart{10, 20, 30, 5, MTCFrameRate::fps25};

class FileToolsOnDisk : public testing::Test {
 protected:
  /// A WAV file of ours with LTC, and its name.
  std::string code(const std::string& name, std::int64_t seconds, const Timecode& start = kStart,
                   WAVFrameRate rate = WAVFrameRate::fps25, int sampleRate = 48000, int depth = 16) {
    EXPECT_EQ(renderWAV(wavs_, {start, rate, sampleRate, depth, -6, seconds}, folder_.file(name)), std::nullopt);
    return folder_.file(name);
  }
  FileAnalysisOutcome analyse(const std::string& path, const std::vector<int>& channels = {0, 1, 2, 3}) {
    return engine_.analyse(path, channels, {});
  }
  /// The start that is found, as text, or why none is.
  std::string startOf(const std::string& path, const std::vector<int>& channels = {0}) {
    const auto outcome = analyse(path, channels);
    if (const auto* error = std::get_if<FileAnalysisError>(&outcome)) return error->description();
    const auto& result = std::get<FileAnalysisResult>(outcome);
    return textOrNone(result.timecodeAtFileStart) + " " + rateText(result.detectedFrameRate);
  }
  /// All that the window asks of a file. It must come back, and soon.
  std::string surviving(const std::string& path) {
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_GE(engine_.summary(path).channelCount, 1) << path;
    const std::string found = startOf(path, {0});
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(30)) << path;
    EXPECT_FALSE(found.empty());
    return found;
  }

  MediaFolder folder_;
  CountedFiles counted_;
  LocalUserFiles files_;
  FFmpegMediaFiles media_{counted_.opener()};
  SndfileAudioFiles sndfile_{counted_.opener()};
  FFmpegAudioFiles audio_{sndfile_, counted_.opener()};
  SndfileWavFiles wavs_;
  SystemHostClock clock_;
  FileAnalysisEngine engine_{{media_, audio_, files_, clock_}};
};

TEST_F(FileToolsOnDisk, WhatTheGeneratorWritesTheAnalyserFinds) {
  for (const WAVFrameRate rate : kWAVFrameRates) {
    for (const int sampleRate : {44100, 48000}) {
      for (const int depth : {16, 24}) {
        const Timecode start{1, 59, 58, 21, wavNumbering(rate)};
        const std::string path = code("x.wav", 12, start, rate, sampleRate, depth);
        EXPECT_EQ(startOf(path), start.text() + " " + rateText(start.frameRate)) << wavRateLabel(rate) << sampleRate;
      }
    }
  }
}

TEST_F(FileToolsOnDisk, OthersReadWhatTheGeneratorWrites) {
  for (const int depth : {16, 24}) {
    const std::string path = code("x.wav", 7, kStart, WAVFrameRate::fps25, 44100, depth);
    EXPECT_EQ(outputOf("soxi -s " + path), "308700\n");
    EXPECT_EQ(outputOf("soxi -b " + path), std::to_string(depth) + "\n");
    EXPECT_EQ(outputOf("soxi -c " + path), "1\n");
    EXPECT_EQ(
        outputOf("ffprobe -v error -show_entries stream=codec_name,sample_rate,channels,duration_ts -of csv=p=0 " +
                 path),
        "pcm_s" + std::to_string(depth) + "le,44100,1,308700\n");
    EXPECT_EQ(fs::file_size(path), static_cast<std::uintmax_t>(44 + 308700 * depth / 8));
  }
  const std::string empty = code("empty.wav", 0);
  EXPECT_EQ(outputOf("soxi -s " + empty), "0\n");
}

TEST_F(FileToolsOnDisk, AGeneratedFileIsAHeaderAndItsSamplesAndNoMore) {
  const auto number = [](std::uint32_t value, int bytes) {
    std::string text;
    for (int byte = 0; byte < bytes; ++byte) text += static_cast<char>(value >> 8 * byte & 0xff);
    return text;
  };
  // The second and third take the place of a longer file.
  for (const auto& [depth, seconds] : {std::pair{24U, 60U}, {16U, 2U}, {24U, 1U}, {16U, 0U}}) {
    const std::string path = code("x.wav", seconds, kStart, WAVFrameRate::fps25, 44100, static_cast<int>(depth));
    const std::uint32_t width = depth / 8;
    const std::uint32_t size = 44100 * seconds * width;
    const std::string bytes = readWhole(path);
    EXPECT_EQ(bytes.size(), 44 + size);
    EXPECT_EQ(bytes.substr(0, 44), "RIFF" + number(36 + size, 4) + "WAVEfmt " + number(16, 4) + number(1, 2) +
                                       number(1, 2) + number(44100, 4) + number(44100 * width, 4) + number(width, 2) +
                                       number(depth, 2) + "data" + number(size, 4));
    struct stat status {};
    ASSERT_EQ(stat(path.c_str(), &status), 0);
    EXPECT_LT(status.st_blocks * 512, std::int64_t{size} + 65536) << "no room is kept beyond the end";
  }
}

TEST_F(FileToolsOnDisk, CodeIsFoundInEveryKindOfFile) {
  const std::string wav = code("code.wav", 20);
  const std::string expected = "10:20:30:05 25";
  for (const auto& [name, options] :
       std::vector<std::pair<std::string, std::string>>{{"a.mov", "-c:a pcm_s24le"},
                                                        {"b.mp4", "-c:a aac -b:a 192k"},
                                                        {"c.m4a", "-c:a alac"},
                                                        {"d.m4v", "-f mp4 -c:a aac -b:a 192k"},
                                                        {"e.MOV", "-f mov -c:a pcm_s16be"},
                                                        {"f.aiff", "-c:a pcm_s16be"},
                                                        {"g.mp3", "-c:a libmp3lame -b:a 192k"},
                                                        {"h.flac", "-c:a flac"},
                                                        {"i.ogg", "-c:a libvorbis -q:a 6"},
                                                        {"j.aac", "-c:a aac -b:a 192k"},
                                                        {"k.m4b", "-f ipod -c:a aac -b:a 192k"},
                                                        {"l.mkv", "-c:a pcm_s16le"},
                                                        {"eight.wav", "-c:a pcm_u8"},
                                                        {"float.wav", "-c:a pcm_f32le"},
                                                        {"fast.wav", "-ar 192000 -c:a pcm_s24le"},
                                                        {"rf64.wav", "-c:a pcm_s16le -rf64 always"}}) {
    EXPECT_EQ(startOf(folder_.make(name, "-i " + wav + " " + options)), expected) << name;
  }
}

TEST_F(FileToolsOnDisk, CodeIsFoundOnOneOfSixtyFourChannels) {
  const std::string wav = code("code.wav", 8);
  const std::string path = folder_.file("wide.wav");
  std::string silent;
  for (int channel = 0; channel < 63; ++channel) silent += "0 ";
  outputOf("sox '" + wav + "' '" + path + "' remix " + silent + "1");
  EXPECT_EQ(engine_.channelCount(path), 64);
  std::vector<int> all(64);
  for (int channel = 0; channel < 64; ++channel) all[static_cast<std::size_t>(channel)] = channel;
  const auto outcome = analyse(path, all);
  ASSERT_TRUE(std::holds_alternative<FileAnalysisResult>(outcome));
  EXPECT_EQ(std::get<FileAnalysisResult>(outcome).detectedChannel, 63);
  EXPECT_EQ(std::get<FileAnalysisResult>(outcome).timecodeAtFileStart, kStart);
}

TEST_F(FileToolsOnDisk, AMovieTellsItsPictureItsTrackAndItsCode) {
  const std::string wav = code("code.wav", 10);
  const std::string path = folder_.make("movie.mov", "-f lavfi -i testsrc=s=64x48:d=10:r=25 -i " + wav +
                                                         " -c:v mpeg4 -c:a pcm_s24le -timecode 09:08:07:06");
  EXPECT_NEAR(engine_.videoFrameRate(path).value_or(0), 25, 1e-6);
  const auto outcome = analyse(path);
  ASSERT_TRUE(std::holds_alternative<FileAnalysisResult>(outcome));
  const auto& result = std::get<FileAnalysisResult>(outcome);
  EXPECT_EQ(result.timecodeAtFileStart, kStart);
  EXPECT_EQ(result.metadataTimecode, "09:08:07:06");
  EXPECT_EQ(result.totalChannels, 1);

  const std::string silent =
      folder_.make("silent.mov", "-f lavfi -i testsrc=s=64x48:d=2:r=25 -c:v mpeg4 -timecode 09:08:07:06");
  const auto tagged = analyse(silent);
  ASSERT_TRUE(std::holds_alternative<FileAnalysisResult>(tagged));
  EXPECT_EQ(std::get<FileAnalysisResult>(tagged).metadataTimecode, "09:08:07:06");
  EXPECT_FALSE(std::get<FileAnalysisResult>(tagged).timecodeAtFileStart);
}

TEST_F(FileToolsOnDisk, ALongFileIsReadAsLittleAsAShortOne) {
  const auto bytesOf = [&](const std::string& name, const std::string& seconds, const std::string& options) {
    const std::string path = folder_.make(name, "-f lavfi -i anullsrc=r=48000:cl=mono:d=" + seconds + " " + options);
    counted_.reset();
    EXPECT_EQ(startOf(path), "No LTC timecode signal found in the file.");
    return counted_.bytesRead();
  };
  const auto shortWav = bytesOf("short.wav", "60", "-c:a pcm_s16le");
  EXPECT_LT(bytesOf("long.wav", "3600", "-c:a pcm_s16le"), shortWav * 11 / 10);
  const auto shortMovie = bytesOf("short.mov", "60", "-c:a pcm_s16le");
  EXPECT_LT(bytesOf("long.mov", "3600", "-c:a pcm_s16le"), shortMovie * 11 / 10);
}

TEST_F(FileToolsOnDisk, NamesAreBytes) {
  const std::string wav = code("code.wav", 4);
  for (const std::string name : {"line\nbreak.wav", "\xff\xfe.wav", "-i.wav", "a%20b?.wav", "concat:x.wav"}) {
    fs::copy_file(wav, folder_.path() / name);
    EXPECT_EQ(startOf(folder_.file(name)), "10:20:30:05 25");
  }
  fs::create_symlink(wav, folder_.path() / "link.wav");
  EXPECT_EQ(startOf(folder_.file("link.wav")), "10:20:30:05 25");
}

TEST_F(FileToolsOnDisk, WhatIsNoFileIsRefusedAtOnce) {
  for (const std::string extension : {"wav", "mov", "mp3", "mp4"}) {
    const auto named = [&](const std::string& name) { return folder_.file(name + "." + extension); };
    EXPECT_TRUE(writeWhole(named("empty"), ""));
    fs::create_directory(named("folder"));
    ASSERT_EQ(mkfifo(named("pipe").c_str(), 0600), 0);
    fs::create_symlink(named("loop"), named("loop"));
    for (const char* name : {"empty", "folder", "pipe", "loop", "absent"}) {
      const std::string found = surviving(named(name));
      const bool isMovie = extension == "mov" || extension == "mp4";
      EXPECT_TRUE(found.starts_with(isMovie ? "Could not load media asset: " : "Could not open the file for reading."))
          << named(name) << ": " << found;
    }
  }
}

TEST_F(FileToolsOnDisk, AWrongExtensionIsNoTrouble) {
  const std::string wav = code("code.wav", 5);
  const std::string movie = folder_.make("code.mov", "-i " + wav + " -c:a pcm_s16le");
  for (const std::string& source : {wav, movie}) {
    for (const char* name : {"a.wav", "a.mov", "a.mp4", "a.aiff", "a.mp3", "a.txt", "a"}) {
      fs::copy_file(source, folder_.file(name), fs::copy_options::overwrite_existing);
      surviving(folder_.file(name));
    }
  }
}

TEST_F(FileToolsOnDisk, FilesThatEndTooSoonAreReadAsFarAsTheyGo) {
  const std::string wav = code("code.wav", 10);
  const std::vector<std::pair<std::string, std::string>> kinds{
      {"a.wav", "-c:a pcm_s24le"},
      {"a.aiff", "-c:a pcm_s16be"},
      {"a.mov", "-c:a pcm_s16le"},
      {"b.mov", "-c:a aac -movflags +faststart"},
      {"a.m4a", "-c:a aac"},
      {"a.mp3", "-c:a libmp3lame"},
      {"a.flac", "-c:a flac"},
      {"a.ogg", "-c:a libvorbis"},
      {"f.mp4", "-c:a aac -movflags +frag_keyframe+empty_moov"}};
  for (const auto& [name, options] : kinds) {
    const std::string whole = readWhole(folder_.make(name, "-i " + wav + " " + options));
    for (std::size_t part = 1; part < 16; ++part) {
      const std::string path = folder_.file("cut-" + name);
      EXPECT_TRUE(writeWhole(path, whole.substr(0, whole.size() * part / 16)));
      surviving(path);
    }
    std::string damaged = whole;
    std::mt19937 random(7);
    for (int turn = 0; turn < 40; ++turn) {
      for (int hit = 0; hit < 8; ++hit) {
        char& byte = damaged[random() % std::min<std::size_t>(damaged.size(), 4096)];
        byte = static_cast<char>(byte ^ 1 << random() % 8);
      }
      EXPECT_TRUE(writeWhole(folder_.file("damaged-" + name), damaged));
      surviving(folder_.file("damaged-" + name));
    }
  }
}

TEST_F(FileToolsOnDisk, RandomBytesAreNoTroubleUnderAnyName) {
  std::mt19937 random(11);
  for (const char* extension : {"wav", "aiff", "mp3", "mov", "mp4", "m4v", "m4a", "flac", "ogg", "caf"}) {
    for (const std::size_t size : {1, 100, 70000, 1000000}) {
      std::string bytes(size, '\0');
      for (char& byte : bytes) byte = static_cast<char>(random());
      const std::string path = folder_.file(std::string("random.") + extension);
      EXPECT_TRUE(writeWhole(path, bytes));
      surviving(path);
    }
  }
}

TEST_F(FileToolsOnDisk, AFileThatShrinksOrGoesWhileItIsReadIsNoTrouble) {
  for (const char* name : {"a.wav", "a.mov"}) {
    const std::string path = folder_.file(name);
    if (std::string(name) == "a.mov") {
      folder_.make(name, "-i " + code("code.wav", 30) + " -c:a pcm_s16le");
    } else {
      code(name, 30);
    }
    std::unique_ptr<MediaFile> movie;
    std::unique_ptr<AudioFile> sound;
    std::unique_ptr<AudioReader> track;
    AudioReader* reader = nullptr;
    if (std::string(name) == "a.mov") {
      ASSERT_FALSE(media_.open(path, movie));
      ASSERT_FALSE(movie->openAudio(0, track));
      reader = track.get();
    } else {
      ASSERT_FALSE(audio_.open(path, sound));
      reader = sound.get();
    }
    fs::resize_file(path, 200000);
    fs::remove(path);
    std::vector<float> room(96000);
    std::size_t frames = 0;
    ASSERT_FALSE(reader->seek(48000 * 20));
    const auto error = reader->read(room, frames);
    EXPECT_TRUE(error || frames == 0) << name;
    EXPECT_FALSE(error && error.message().empty());
  }
}

TEST_F(FileToolsOnDisk, AFileThatGrowsWhileItIsReadIsAsLongAsItWas) {
  const std::string path = code("a.wav", 5);
  const std::string more = readWhole(code("b.wav", 5));
  std::unique_ptr<AudioFile> sound;
  ASSERT_FALSE(audio_.open(path, sound));
  writeWhole(path, readWhole(path) + more);
  std::vector<float> room(96000);
  std::size_t frames = 0;
  EXPECT_EQ(sound->frameCount(), 5 * 48000);
  ASSERT_FALSE(sound->seek(4 * 48000));
  std::size_t read = 0;
  while (!sound->read(room, frames) && frames > 0) read += frames;
  EXPECT_EQ(read, 48000U);
  EXPECT_EQ(startOf(path), "10:20:30:05 25");
}

TEST_F(FileToolsOnDisk, OfTwoTimecodeTracksNoneIsRead) {
  const auto metadataOf = [&](const std::string& maps) {
    return engine_
        .readMetadataTimecode(folder_.make("two.mov", "-f lavfi -i testsrc=s=64x48:d=1:r=25 " + maps +
                                                          " -c:v mpeg4 -timecode 09:08:07:06 -metadata "
                                                          "comment=01:00:00:00"))
        .value_or("none");
  };
  EXPECT_EQ(metadataOf("-map 0"), "09:08:07:06");
  EXPECT_EQ(metadataOf("-map 0 -map 0"), "01:00:00:00");
}

TEST_F(FileToolsOnDisk, WhereNothingCanBeWrittenTheUserIsTold) {
  const WAVStretch stretch{kStart, WAVFrameRate::fps25, 48000, 16, -6, 60};
  EXPECT_EQ(renderWAV(wavs_, stretch, folder_.path() / "absent" / "x.wav"), "Write failed: No such file or directory");
  EXPECT_EQ(renderWAV(wavs_, stretch, folder_.path()), "Write failed: Is a directory");
  EXPECT_EQ(renderWAV(wavs_, stretch, "/proc/x.wav"), "Write failed: No such file or directory");
  EXPECT_EQ(renderWAV(wavs_, stretch, "/dev/full"), "Write failed: Invalid argument");
  const std::string pipe = folder_.file("pipe.wav");
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  EXPECT_EQ(renderWAV(wavs_, stretch, pipe), "Write failed: No such device or address");
}

TEST_F(FileToolsOnDisk, AFolderOrFileThatMayNotBeWrittenToIsSaid) {
  const WAVStretch stretch{kStart, WAVFrameRate::fps25, 48000, 16, -6, 1};
  const fs::path kept = folder_.path() / "kept.wav";
  ASSERT_TRUE(writeWhole(kept, "a recording"));
  if (::geteuid() == 0) {
    ASSERT_EQ(::chown(folder_.path().c_str(), kOrdinaryUser, kOrdinaryUser), 0);
    ASSERT_EQ(::chown(kept.c_str(), kOrdinaryUser, kOrdinaryUser), 0);
  }
  fs::permissions(kept, fs::perms::owner_read);
  fs::permissions(folder_.path(), fs::perms::owner_read | fs::perms::owner_exec);
  const auto render = [&](const std::string& name) {
    return runAsOrdinaryUser([&] { return renderWAV(wavs_, stretch, folder_.file(name)).value_or("done"); });
  };
  EXPECT_EQ(render("new.wav"), "Write failed: Permission denied");
  EXPECT_EQ(render("kept.wav"), "Write failed: Permission denied");
  fs::permissions(folder_.path(), fs::perms::owner_all);
  EXPECT_EQ(readWhole(kept), "a recording");
  EXPECT_FALSE(fs::exists(folder_.path() / "new.wav"));
}

TEST_F(FileToolsOnDisk, AGeneratedFileCanHaveAnyName) {
  for (const std::string name : {"new\nline.wav", "no \xff\xfe utf8.wav", "-rf '\"$(x);.wav", "no suffix"}) {
    EXPECT_EQ(fs::file_size(code(name, 1)), 96044U);
  }
  const WAVStretch stretch{kStart, WAVFrameRate::fps25, 48000, 16, -6, 1};
  EXPECT_EQ(renderWAV(wavs_, stretch, folder_.file(std::string(300, 'x'))), "Write failed: File name too long");
}

TEST_F(FileToolsOnDisk, AFullAndAReadOnlyDiskAreSaid) {
  const fs::path disk = folder_.path() / "disk";
  fs::create_directory(disk);
  if (::mount("none", disk.c_str(), "tmpfs", 0, "size=1m") != 0) GTEST_SKIP() << "only root can mount a small disk";
  const WAVStretch stretch{kStart, WAVFrameRate::fps25, 48000, 24, -6, 60};
  EXPECT_EQ(renderWAV(wavs_, stretch, disk / "x.wav"), "Write failed: No space left on device");
  EXPECT_GT(fs::file_size(disk / "x.wav"), 500'000U) << "what was written stays";
  EXPECT_EQ(::mount("none", disk.c_str(), "tmpfs", MS_REMOUNT | MS_RDONLY, "size=1m"), 0);
  EXPECT_EQ(renderWAV(wavs_, stretch, disk / "y.wav"), "Write failed: Read-only file system");
  EXPECT_EQ(::umount(disk.c_str()), 0);
}

TEST_F(FileToolsOnDisk, ADiskThatFillsUpIsSaidAndTheRunEnds) {
  // A limit of the process on the size of files stands for the end of the disk: the same call fails in the same place.
  rlimit before{};
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
  const auto ignored = std::signal(SIGXFSZ, SIG_IGN);
  const rlimit small{1 << 20, before.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
  const auto failure = renderWAV(wavs_, {kStart, WAVFrameRate::fps25, 48000, 24, -6, 600}, folder_.file("big.wav"));
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &before), 0);
  std::signal(SIGXFSZ, ignored);
  EXPECT_EQ(failure, "Write failed: File too large");
  struct stat status {};
  ASSERT_EQ(stat(folder_.file("big.wav").c_str(), &status), 0);
  EXPECT_EQ(status.st_size, 1 << 20) << "what was written stays";
  EXPECT_LE(status.st_blocks * 512, (1 << 20) + 65536) << "and takes no more room than that";
}

}  // namespace
}  // namespace tallyrig
