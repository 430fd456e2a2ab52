// Containers that were made to fill the memory, and what looking at them costs a process of its own.

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <filesystem>
#include <functional>
#include <initializer_list>
#include <string>

#include "filetools/FileAnalysisEngine.h"
#include "platform/desktop/LocalUserFiles.h"
#include "platform/desktop/SystemClocks.h"
#include "platform/ffmpeg/FFmpegAudioFiles.h"
#include "platform/ffmpeg/FFmpegMediaFiles.h"
#include "platform/sndfile/SndfileAudioFiles.h"
#include "support/MediaFolder.h"
#include "support/TestMovie.h"

namespace tallyrig {
namespace {

namespace fs = std::filesystem;

constexpr std::uint64_t kGigabyte = std::uint64_t{1} << 30U;
// One table at its largest, and what is around it.
constexpr std::uint64_t kMostMemory = kGigabyte / 4 * 3;

/// All that the window asks of a file.
void lookAt(const std::string& path) {
  LocalUserFiles files;
  const OpenBytes opener = [&](const fs::path& name, std::unique_ptr<ByteSource>& bytes) {
    return files.openForReading(name, bytes);
  };
  FFmpegMediaFiles media(opener);
  SndfileAudioFiles sndfile(opener);
  FFmpegAudioFiles audio(sndfile, opener);
  const SystemHostClock clock;
  const FileAnalysisEngine engine({media, audio, files, clock});
  (void)engine.summary(path);
  (void)engine.analyse(path, {0}, {});
}

/// The most memory that a process has held which looked at this file, in bytes; the test fails if it did not end well.
std::uint64_t peakOf(const std::string& path) {
  const pid_t child = fork();
  if (child == 0) {
    lookAt(path);
    _exit(0);
  }
  int status = 0;
  rusage usage{};
  EXPECT_EQ(wait4(child, &status, 0, &usage), child);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << path << " ended with " << status;
  return static_cast<std::uint64_t>(usage.ru_maxrss) * 1024;
}

class HostileMedia : public testing::Test {
 protected:
  /// A file of these bytes that goes on as zeros up to `size`, without a place on the disk.
  std::string file(const std::string& bytes, std::uint64_t size = 0) {
    const std::string path = folder_.file("hostile.mov");
    writeWhole(path, bytes);
    if (size > bytes.size()) fs::resize_file(path, size);
    return path;
  }
  void expectLittleMemory(const std::string& path) {
    const std::uint64_t before = peakOf(folder_.file("absent.mov"));
    EXPECT_LT(peakOf(path), before + kMostMemory);
  }

  MediaFolder folder_;
};

/// A track of 16-bit mono sound with these tables besides.
TestTrack sound(const std::string& tables) {
  TestTrack track;
  track.mediaType = "soun";
  track.mediaTimeScale = 48000;
  track.description = number32(1) + atom("sowt", std::string(7, '\0') + '\1' + std::string(8, '\0') + number16(1) +
                                                     number16(16) + number32(0) + number32(48000U << 16U));
  track.durations = number32(1) + number32(0x7fffffff) + number32(1);
  track.moreTables = tables;
  return track;
}

TEST_F(HostileMedia, AMovieHeaderOfTwoGigabytesTakesNone) {
  expectLittleMemory(file(number32(2 * kGigabyte - 8) + "moov", 2 * kGigabyte));
}

TEST_F(HostileMedia, ATableOfTwoGigabytesTakesNone) {
  for (const std::string table : {"stco", "stts", "stsc"}) {
    std::string bytes = number32(0) + number32(2 * kGigabyte / 16) + number32(2 * kGigabyte / 16);
    std::uint64_t size = 2 * kGigabyte - 512;
    bytes = number32(size) + table + bytes;
    for (const std::string outer : {"stbl", "minf", "mdia", "trak", "moov"}) {
      size += 8;
      bytes = number32(size) + outer + bytes;
    }
    expectLittleMemory(file(bytes, size));
  }
}

TEST_F(HostileMedia, AFewBytesThatStandForBillionsOfSamplesTakeNone) {
  TestTrack track = sound(atom("stsz", number32(0) + number32(2) + number32(0x7fffffff)) +
                          atom("stsc", number32(0) + number32(1) + number32(1) + number32(0x3fffff) + number32(1)));
  track.chunks.assign(10'000, 64);
  TestMovie movie;
  movie.tracks = {track};
  ASSERT_LT(movie.bytes().size(), 50'000U);
  expectLittleMemory(file(movie.bytes()));
}

TEST_F(HostileMedia, TablesOfAMillionEntriesAreHeld) {
  constexpr std::uint64_t kMillion = 1'000'000;
  const auto table = [](std::initializer_list<std::function<std::uint64_t(std::uint64_t)>> columns) {
    std::string bytes;
    bytes.reserve(kMillion * columns.size() * 4);
    for (std::uint64_t row = 0; row < kMillion; ++row) {
      for (const auto& column : columns) {
        for (int shift = 24; shift >= 0; shift -= 8) bytes.push_back(static_cast<char>(column(row) >> shift));
      }
    }
    return bytes;
  };
  const auto one = [](std::uint64_t) { return 1; };
  const std::string durations = table({one, [](std::uint64_t row) { return row % 7 + 1; }});
  const std::string sizes = table({[](std::uint64_t row) { return row % 5; }});
  const std::string chunks = table({[](std::uint64_t row) { return row + 1; }, one, one});
  TestTrack track = sound(atom("stsz", number32(0) + number32(0) + number32(kMillion) + sizes) +
                          atom("stsc", number32(0) + number32(kMillion) + chunks));
  track.durations = number32(kMillion) + durations;
  track.chunks.assign(kMillion, 64);
  TestMovie movie;
  movie.tracks = {track};
  expectLittleMemory(file(movie.bytes()));
}

TEST_F(HostileMedia, AtomsThatClaimExabytesOrNestForEverTakeNone) {
  const std::string claim = number32(1) + "moov" + number64(std::uint64_t{1} << 62U);
  expectLittleMemory(file(claim));
  expectLittleMemory(file(claim, kGigabyte));
  expectLittleMemory(file(number32(1) + "mdat" + number64(std::uint64_t{1} << 62U) + claim));
  for (const std::string type : {"moov", "trak", "udta", "free"}) {
    std::string nest;
    constexpr std::uint64_t kDepth = 200'000;
    for (std::uint64_t depth = kDepth; depth > 0; --depth) nest += number32(depth * 8) + type;
    expectLittleMemory(file(nest));
  }
}

TEST_F(HostileMedia, ACrowdOfTracksTakesNone) {
  const std::string track = sound({}).bytes();
  TestMovie movie;
  for (int count = 0; count < 20'000; ++count) movie.afterTracks += track;
  expectLittleMemory(file(movie.bytes()));
}

}  // namespace
}  // namespace tallyrig
