// Start of the program to its first frame on the screen, and its memory: start_bench <program>. Prints a Markdown
// table.
//
// The first frame is there when the screen, empty until then, shows several colours. Before a cold start the kernel is
// asked to forget the program, the libraries and the typefaces.

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "ProcessUsage.h"
#include "ProgramOnScreen.h"
#include "RigProcess.h"
#include "reader/ReaderSnapshot.h"

namespace tallyrig {
namespace {

constexpr int kStarts = 6;
constexpr int kColdStarts = 3;

struct Start {
  double elapsed = 0;
  double cpu = 0;
  double residentMiB = 0;
  /// What it had mapped when it was measured.
  std::set<std::string> files;
};

double residentMiB(pid_t process) {
  std::ifstream file("/proc/" + std::to_string(process) + "/status");
  for (std::string line; std::getline(file, line);) {
    if (line.starts_with("VmRSS:")) return std::stod(line.substr(6)) / 1024;
  }
  return 0;
}

std::set<std::string> mappedFiles(pid_t process) {
  std::set<std::string> files;
  std::ifstream maps("/proc/" + std::to_string(process) + "/maps");
  for (std::string line; std::getline(maps, line);) {
    if (const auto at = line.find('/'); at != std::string::npos) files.insert(line.substr(at));
  }
  return files;
}

/// Asks the kernel to forget what it keeps of these files. What other programs have mapped stays.
void forget(const std::set<std::string>& files) {
  for (const std::string& path : files) {
    const int file = open(path.c_str(), O_RDONLY);
    if (file < 0) continue;
    posix_fadvise(file, 0, 0, POSIX_FADV_DONTNEED);
    close(file);
  }
}

/// One run of the program with this many cards on the rig's device.
Start start(const std::string& program, int cards, const std::filesystem::path& folder, const Screen& screen,
            RigProcess* playing) {
  ReaderSnapshot card;
  card.selectedDeviceName = "Wide";
  writeCards(folder, std::vector(static_cast<std::size_t>(cards), card));
  const auto log = folder / "log";
  std::filesystem::remove(log);
  waitFor("an empty screen", [&] { return !screen.showsPicture(); });
  if (playing != nullptr) playing->play();

  Start result;
  const double began = clockSeconds(CLOCK_MONOTONIC);
  ChildProcess process({program}, programEnvironment(folder, screen), log);
  waitFor("the first frame", [&] { return screen.showsPicture(); });
  result.elapsed = clockSeconds(CLOCK_MONOTONIC) - began;
  result.cpu = processSeconds(process.id());
  if (playing != nullptr) {
    const auto wanted = static_cast<std::size_t>(cards);
    waitFor("timecode on every card", [&] { return count(contents(log), "first decoded frame") >= wanted; });
    sleep(2);
    result.residentMiB = residentMiB(process.id());
    result.files = mappedFiles(process.id());
  }
  return result;
}

void run(const std::string& program) {
  RigProcess rig(1024, 30);
  const BenchFolder folder;
  const Screen screen(folder.path(), 1280, 800);
  std::printf(
      "| cards | first frame, warm, ms, median | its CPU time, ms, median | cold, ms, median | resident, receiving, "
      "MiB "
      "| budget, warm, ms | |\n");
  std::printf("|---|---|---|---|---|---|---|\n");
  for (const int cards : {1, 64}) {
    std::vector<double> elapsed;
    std::vector<double> cpu;
    std::vector<double> cold;
    for (int index = 0; index < kStarts; ++index) {
      const Start one = start(program, cards, folder.path(), screen, nullptr);
      if (index == 0) continue;
      elapsed.push_back(1000 * one.elapsed);
      cpu.push_back(1000 * one.cpu);
    }
    const Start receiving = start(program, cards, folder.path(), screen, &rig);
    for (int index = 0; index < kColdStarts; ++index) {
      forget(receiving.files);
      cold.push_back(1000 * start(program, cards, folder.path(), screen, nullptr).elapsed);
    }
    const double median = quantile(elapsed, 0.5);
    std::printf("| %d | %.0f | %.0f | %.0f | %.0f | 1000 | %s |\n", cards, median, quantile(cpu, 0.5),
                quantile(cold, 0.5), receiving.residentMiB, median < 1000 ? "met" : "MISSED");
    std::fflush(stdout);
  }
}

}  // namespace
}  // namespace tallyrig

int main(int argc, char** argv) try {
  if (argc != 2) {
    std::fprintf(stderr, "Usage: start_bench <program>\n");
    return 2;
  }
  tallyrig::run(argv[1]);
  return 0;
} catch (const std::exception& error) {
  std::fprintf(stderr, "start_bench: %s\n", error.what());
  return 1;
}
