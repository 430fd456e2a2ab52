// What the analysis of a file costs, by the length of the file: eight channels without code, all of which are tried.
// Beside it what it costs ffmpeg to decode the same sound from end to end.

#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "filetools/FileAnalysisEngine.h"
#include "platform/desktop/LocalUserFiles.h"
#include "platform/desktop/SystemClocks.h"
#include "platform/ffmpeg/FFmpegAudioFiles.h"
#include "platform/ffmpeg/FFmpegMediaFiles.h"
#include "platform/sndfile/SndfileAudioFiles.h"
#include "support/BytesRead.h"
#include "support/CountedFiles.h"

namespace {

using namespace tallyrig;
namespace fs = std::filesystem;

constexpr int kChannels = 8;
constexpr int kPasses = 5;
constexpr double kBudget = 1.2;

double secondsOf(const timeval& time) {
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

double processorSeconds(int who) {
  rusage usage{};
  getrusage(who, &usage);
  return secondsOf(usage.ru_utime) + secondsOf(usage.ru_stime);
}

struct Cost {
  double seconds = 0;
  std::uint64_t bytes = 0;
  int opened = 0;
};

/// Everything that the window does when a file is loaded: processor time of the cheapest of several passes.
Cost analyse(const std::string& path) {
  CountedFiles files;
  FFmpegMediaFiles media(files.opener());
  SndfileAudioFiles sndfile(files.opener());
  FFmpegAudioFiles audio(sndfile, files.opener());
  const LocalUserFiles userFiles;
  const SystemHostClock clock;
  const FileAnalysisEngine engine({media, audio, userFiles, clock});
  Cost cost{.seconds = 1e9};
  for (int pass = 0; pass < kPasses; ++pass) {
    files.reset();
    const std::uint64_t before = bytesRead();
    const double begin = processorSeconds(RUSAGE_SELF);
    std::vector<int> channels;
    const int count = engine.summary(path).channelCount;
    for (int channel = 0; channel < count; ++channel) channels.push_back(channel);
    const FileAnalysisOutcome outcome = engine.analyse(path, channels, {});
    cost.seconds = std::min(cost.seconds, processorSeconds(RUSAGE_SELF) - begin);
    cost.bytes = bytesRead() - before;
    cost.opened = files.opened();
    const auto* failure = std::get_if<FileAnalysisError>(&outcome);
    if (channels.size() != kChannels || failure == nullptr || failure->kind != FileAnalysisError::Case::noLTCFound) {
      std::fprintf(stderr, "%s was not analysed as it should be\n", path.c_str());
      std::exit(1);
    }
  }
  return cost;
}

double decodeWhole(const std::string& path) {
  const double begin = processorSeconds(RUSAGE_CHILDREN);
  const std::string command = "ffmpeg -v error -nostdin -i " + path + " -map 0:a -f null -";
  if (std::system(command.c_str()) != 0) std::exit(1);
  return processorSeconds(RUSAGE_CHILDREN) - begin;
}

/// Silence of `seconds`, as a file with holes: it takes no room on the disk.
void makeWav(const std::string& path, std::uint32_t seconds) {
  const std::uint64_t data = std::uint64_t{seconds} * 48000 * kChannels * 2;
  std::ofstream file(path, std::ios::binary);
  const auto put = [&](std::uint64_t number, int bytes) {
    for (int index = 0; index < bytes; ++index) file.put(static_cast<char>(number >> (8 * index)));
  };
  // RF64 (EBU Tech 3306), since hours of eight channels can pass 4 GiB.
  file << "RF64";
  put(0xffffffff, 4);
  file << "WAVEds64";
  put(28, 4);
  put(72 + data, 8);
  put(data, 8);
  put(data / (kChannels * 2), 8);
  put(0, 4);
  file << "fmt ";
  put(16, 4);
  put(1, 2);
  put(kChannels, 2);
  put(48000, 4);
  put(48000 * kChannels * 2, 4);
  put(kChannels * 2, 2);
  put(16, 2);
  file << "data";
  put(0xffffffff, 4);
  file.close();
  fs::resize_file(path, 80 + data);
}

}  // namespace

int main() {
  std::string name = (fs::temp_directory_path() / "tallyrig-analysis-XXXXXX").string();
  if (mkdtemp(name.data()) == nullptr) return 1;
  const fs::path folder = name;
  std::puts(
      "| file | processor time, ms | bytes read, MB | opened | to 1 minute | budget | | ffmpeg decodes it whole, ms |");
  std::puts("|---|---|---|---|---|---|---|---|");
  bool met = true;
  for (const std::string kind : {"wav", "mov"}) {
    double minute = 0;
    for (const auto& [label, seconds] :
         std::vector<std::pair<std::string, std::uint32_t>>{{"1 minute", 60}, {"1 hour", 3600}, {"3 hours", 10800}}) {
      const std::string wav = (folder / "a.wav").string();
      makeWav(wav, seconds);
      std::string path = wav;
      if (kind == "mov") {
        path = (folder / "a.mov").string();
        const std::string command = "ffmpeg -v error -nostdin -y -i " + wav + " -c copy " + path;
        if (std::system(command.c_str()) != 0) return 1;
      }
      const Cost cost = analyse(path);
      if (seconds == 60) minute = cost.seconds;
      const double ratio = cost.seconds / minute;
      const bool judged = seconds == 10800;
      std::printf("| %s, %s | %.1f | %.1f | %d | %.2f | %s | %s | %.0f |\n", kind.c_str(), label.c_str(),
                  cost.seconds * 1e3, static_cast<double>(cost.bytes) / 1e6, cost.opened, ratio, judged ? "1.2" : "",
                  judged ? (ratio <= kBudget ? "met" : "MISSED") : "", decodeWhole(path) * 1e3);
      std::fflush(stdout);
      met = met && (!judged || ratio <= kBudget);
      fs::remove(path);
    }
  }
  fs::remove_all(folder);
  return met ? 0 : 1;
}
