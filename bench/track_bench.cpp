// Writing a timecode track: track_bench <folder>... Prints a Markdown table.
//
// In each folder, for movies of several sizes: the writer, a plain copy that is brought to disk, and ffmpeg's copy of
// the streams into a new movie with a timecode track, which is brought to disk too. The movies are pictures of raw
// video; the largest is one hole, which ffmpeg fills with zeros.

#include <sys/vfs.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "ProcessUsage.h"
#include "filetools/TimecodeTrackWriter.h"
#include "platform/desktop/LocalUserFiles.h"
#include "support/BytesRead.h"
#include "support/TestMovie.h"

namespace tallyrig {
namespace {

namespace fs = std::filesystem;

constexpr std::uint64_t kMegabyte = 1'000'000;
constexpr std::uint32_t kWidth = 640;
constexpr std::uint32_t kHeight = 360;
constexpr std::uint32_t kFrameSize = kWidth * kHeight * 3;

struct Size {
  const char* name;
  std::uint64_t bytes;
  bool hole;
};
constexpr Size kSizes[] = {
    {"50 MB", 50 * kMegabyte, false}, {"1 GB", 1000 * kMegabyte, false}, {"5 GB, a hole", 5000 * kMegabyte, true}};

/// Raw video (QuickTime File Format, "Video Sample Description") of 25 frames a second in one chunk.
std::string headerOf(std::uint32_t frames, std::uint64_t mediaAt) {
  TestTrack track{.id = 1, .duration = frames * 24ULL, .chunks = {mediaAt}, .longOffsets = true};
  track.description =
      number32(1) + atom("raw ", std::string(6, '\0') + number16(1) + std::string(16, '\0') + number16(kWidth) +
                                     number16(kHeight) + number32(72U << 16U) + number32(72U << 16U) + number32(0) +
                                     number16(1) + std::string(32, '\0') + number16(24) + number16(0xffff));
  track.durations = number32(1) + number32(frames) + number32(24);
  track.moreTables = atom("stsz", number32(0) + number32(kFrameSize) + number32(frames)) +
                     atom("stsc", number32(0) + number32(1) + number32(1) + number32(frames) + number32(1));
  TestMovie movie;
  movie.duration = track.duration;
  movie.tracks = {track};
  return atom("moov", movie.headerPayload());
}

void makeMovie(const fs::path& path, const Size& size) {
  const auto frames = static_cast<std::uint32_t>(size.bytes / kFrameSize);
  const std::uint64_t media = std::uint64_t{frames} * kFrameSize + 16;
  const std::string type = atom("ftyp", "qt  " + number32(0) + "qt  ");
  const std::string header = headerOf(frames, type.size() + headerOf(frames, 0).size() + 16);
  std::ofstream file(path, std::ios::binary);
  file << type << header << number32(1) << "mdat" << number64(media);
  std::string frame(kFrameSize, '\0');
  for (std::size_t index = 0; index < frame.size(); ++index) frame[index] = static_cast<char>(index * index >> 7U);
  for (std::uint32_t index = 0; index < frames && !size.hole; ++index) file << frame;
  if (!file.flush().good()) throw std::runtime_error("cannot make " + path.string());
  file.close();
  fs::resize_file(path, type.size() + header.size() + media);
}

void run(const std::string& command) {
  if (std::system(command.c_str()) != 0) throw std::runtime_error("failed: " + command);
}

double secondsOf(const std::function<void()>& work) {
  const double start = clockSeconds(CLOCK_MONOTONIC);
  work();
  return clockSeconds(CLOCK_MONOTONIC) - start;
}

std::string fileSystemOf(const fs::path& folder) {
  struct statfs status {};
  if (::statfs(folder.c_str(), &status) != 0) return "?";
  switch (static_cast<std::uint32_t>(status.f_type)) {
    case 0xef53:
      return "ext4";
    case 0x58465342:
      return "XFS";
    case 0x9123683e:
      return "Btrfs";
    case 0x01021994:
      return "tmpfs";
    default:
      return "another";
  }
}

double write(const fs::path& movie) {
  LocalUserFiles files;
  TimecodeTrackResult result;
  const double seconds = secondsOf([&] {
    result = writeTimecodeTrack(files, movie, {1, 0, 0, 0, MTCFrameRate::fps25});
  });
  if (result.text) throw std::runtime_error(*result.text);
  return seconds;
}

/// The writer's times for one movie, and what it had read for the last of them.
struct Written {
  double seconds = 0;
  std::uint64_t read = 0;
};

Written measureWriter(const fs::path& movie) {
  constexpr int kRuns = 5;
  std::vector<double> times;
  Written written;
  for (int index = 0; index < kRuns; ++index) {
    ::sync();
    const std::uint64_t before = bytesRead();
    times.push_back(write(movie));
    written.read = bytesRead() - before;
  }
  written.seconds = quantile(times, 0.5);
  return written;
}

double measureCommand(const std::string& command, const fs::path& made) {
  ::sync();
  const double seconds = secondsOf([&] { run(command + " " + made.string() + " && sync -d " + made.string()); });
  fs::remove(made);
  return seconds;
}

void measureFolder(const fs::path& folder) {
  const std::string name = fileSystemOf(folder);
  const fs::path made = folder / "made.mov";
  std::vector<Written> results;
  // The writer first: what the copies leave behind would keep the disk busy.
  for (const Size& size : kSizes) {
    const fs::path movie = folder / (std::to_string(size.bytes) + ".mov");
    makeMovie(movie, size);
    results.push_back(measureWriter(movie));
  }
  for (std::size_t index = 0; index < std::size(kSizes); ++index) {
    const Size& size = kSizes[index];
    const Written& written = results[index];
    const std::string movie = folder / (std::to_string(size.bytes) + ".mov");
    std::printf("| %s | %s | %.0f | %.0f ", name.c_str(), size.name, written.seconds * 1e3,
                static_cast<double>(written.read) / 1e3);
    const double copy = measureCommand("cp --reflink=never " + movie, made);
    const double streams =
        measureCommand("ffmpeg -v error -nostdin -y -i " + movie + " -c copy -timecode 01:00:00:00", made);
    std::printf("| %.0f | %.0f | %.2f | %.2f |\n", copy * 1e3, streams * 1e3, written.seconds / copy,
                written.seconds / streams);
    std::fflush(stdout);
  }
  std::printf("| %s | 1 GB over 50 MB | %.2f times | | | | | |\n", name.c_str(),
              results[1].seconds / results[0].seconds);
}

int benchmark(const std::vector<fs::path>& folders) {
  std::printf(
      "| file system | movie | writer, ms | read by the writer, kB | plain copy, ms | ffmpeg, ms | writer over plain "
      "copy | "
      "writer over ffmpeg |\n|---|---|---|---|---|---|---|---|\n");
  for (const fs::path& folder : folders) measureFolder(folder);
  return 0;
}

}  // namespace
}  // namespace tallyrig

int main(int argc, char** argv) {
  try {
    return tallyrig::benchmark({argv + 1, argv + argc});
  } catch (const std::exception& error) {
    std::fprintf(stderr, "track_bench: %s\n", error.what());
    return 1;
  }
}
