// Start of the program to its first frame on the screen, and its memory: start_bench <program>. Prints a Markdown
// table.
//
// The virtual screen keeps its pixels in a file that can be mapped. The first frame is there when the screen, empty
// until then, shows several colours.

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "ProcessUsage.h"
#include "RigProcess.h"
#include "reader/ReaderSnapshot.h"
#include "support/ChildProcess.h"

namespace tallyrig {
namespace {

constexpr int kStarts = 6;
constexpr double kLimitSeconds = 20;
constexpr std::size_t kColours = 8;

template <typename Condition>
void waitFor(const char* what, Condition condition) {
  const double deadline = clockSeconds(CLOCK_MONOTONIC) + kLimitSeconds;
  while (!condition()) {
    if (clockSeconds(CLOCK_MONOTONIC) > deadline) throw std::runtime_error(std::string("waited in vain for ") + what);
    usleep(1000);
  }
}

std::string contents(const std::filesystem::path& path) {
  std::ifstream file(path);
  return {std::istreambuf_iterator<char>(file), {}};
}

std::size_t count(const std::string& text, const std::string& part) {
  std::size_t found = 0;
  for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++found;
  return found;
}

/// A virtual screen of 1280 by 800 pixels.
class Screen {
 public:
  explicit Screen(const std::filesystem::path& folder)
      : server_({"Xvfb", "-displayfd", "1", "-screen", "0", "1280x800x24", "-fbdir", folder.string(), "-nolisten",
                 "tcp", "-noreset"},
                {}, folder / "display") {
    waitFor("the virtual screen", [&] { return contents(folder / "display").find('\n') != std::string::npos; });
    const std::string number = contents(folder / "display");
    display_ = ":" + number.substr(0, number.find('\n'));
    const std::string path = folder / "Xvfb_screen0";
    const int file = open(path.c_str(), O_RDONLY);
    struct stat status {};
    if (file < 0 || fstat(file, &status) != 0) throw std::runtime_error("no pixels of the screen");
    size_ = static_cast<std::size_t>(status.st_size);
    void* mapped = mmap(nullptr, size_, PROT_READ, MAP_SHARED, file, 0);
    close(file);
    if (mapped == MAP_FAILED) throw std::runtime_error("the screen's pixels cannot be mapped");
    pixels_ = static_cast<const std::uint32_t*>(mapped);
  }
  ~Screen() { munmap(const_cast<std::uint32_t*>(pixels_), size_); }
  Screen(const Screen&) = delete;
  Screen& operator=(const Screen&) = delete;

  const std::string& display() const { return display_; }
  /// Whether anything but a plain surface is seen, at every 7th pixel.
  bool showsPicture() const {
    std::set<std::uint32_t> colours;
    // The file's header and colour table come first.
    const std::size_t end = size_ / sizeof(std::uint32_t);
    for (std::size_t at = end - 1280 * 800; at < end && colours.size() < kColours; at += 7) colours.insert(pixels_[at]);
    return colours.size() >= kColours;
  }

 private:
  ChildProcess server_;
  std::string display_;
  std::size_t size_ = 0;
  const std::uint32_t* pixels_ = nullptr;
};

struct Start {
  double elapsed = 0;
  double cpu = 0;
  double residentMiB = 0;
};

double residentMiB(pid_t process) {
  std::ifstream file("/proc/" + std::to_string(process) + "/status");
  for (std::string line; std::getline(file, line);) {
    if (line.starts_with("VmRSS:")) return std::stod(line.substr(6)) / 1024;
  }
  return 0;
}

/// One run of the program with this many cards on the rig's device.
Start start(const std::string& program, int cards, const std::filesystem::path& folder, const Screen& screen,
            RigProcess* playing) {
  std::vector<ReaderSnapshot> snapshots(static_cast<std::size_t>(cards));
  for (int index = 0; index < cards; ++index) {
    auto& card = snapshots[static_cast<std::size_t>(index)];
    card.selectedDeviceName = "Wide";
    card.selectedChannel = index;
    card.sortOrder = index;
  }
  std::filesystem::create_directories(folder / "data/Tallyrig");
  std::ofstream(folder / "data/Tallyrig/readers.json") << *encodeSnapshots(snapshots);
  const auto log = folder / "log";
  std::filesystem::remove(log);
  waitFor("an empty screen", [&] { return !screen.showsPicture(); });
  if (playing != nullptr) playing->play();

  Start result;
  const double began = clockSeconds(CLOCK_MONOTONIC);
  ChildProcess process({program},
                       {{"DISPLAY", screen.display()},
                        {"WAYLAND_DISPLAY", ""},
                        {"QT_QPA_PLATFORM", "xcb"},
                        {"QT_QUICK_BACKEND", "software"},
                        {"HOME", folder.string()},
                        {"XDG_DATA_HOME", (folder / "data").string()},
                        {"XDG_CONFIG_HOME", (folder / "config").string()},
                        {"XDG_CACHE_HOME", (folder / "cache").string()}},
                       log);
  waitFor("the first frame", [&] { return screen.showsPicture(); });
  result.elapsed = clockSeconds(CLOCK_MONOTONIC) - began;
  result.cpu = processSeconds(process.id());
  if (playing != nullptr) {
    const auto wanted = static_cast<std::size_t>(cards);
    waitFor("timecode on every card", [&] { return count(contents(log), "first decoded frame") >= wanted; });
    sleep(2);
    result.residentMiB = residentMiB(process.id());
  }
  return result;
}

void run(const std::string& program) {
  RigProcess rig(1024, 30);
  std::string path = (std::filesystem::temp_directory_path() / "start-XXXXXX").string();
  if (mkdtemp(path.data()) == nullptr) throw std::runtime_error("no folder");
  const std::filesystem::path folder = path;
  {
    const Screen screen(folder);
    std::printf(
        "| cards | first frame, ms, median | its CPU time, ms, median | resident, receiving, MiB | budget, ms | |\n");
    std::printf("|---|---|---|---|---|---|\n");
    for (const int cards : {1, 64}) {
      std::vector<double> elapsed;
      std::vector<double> cpu;
      for (int index = 0; index < kStarts; ++index) {
        const Start one = start(program, cards, folder, screen, nullptr);
        if (index == 0) continue;
        elapsed.push_back(1000 * one.elapsed);
        cpu.push_back(1000 * one.cpu);
      }
      const double memory = start(program, cards, folder, screen, &rig).residentMiB;
      const double median = quantile(elapsed, 0.5);
      std::printf("| %d | %.0f | %.0f | %.0f | 1000 | %s |\n", cards, median, quantile(cpu, 0.5), memory,
                  median < 1000 ? "met" : "MISSED");
      std::fflush(stdout);
    }
  }
  std::filesystem::remove_all(folder);
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
