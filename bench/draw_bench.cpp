// What drawing a wall costs: draw_bench <program> [software|opengl]... Prints a Markdown table for each renderer.
//
// The real program on a virtual screen that is large enough to show all its cards, which read LTC of 25 frames a second
// from a private sound server; the frames of one card begin between those of the others, so that every tick of the
// render clock has something to draw. What the GUI thread costs is told by the kernel's scheduler; the frames are told
// by Qt's own log of its render loop.

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <sstream>

#include "ProgramOnScreen.h"
#include "RigProcess.h"

namespace tallyrig {
namespace {

constexpr int kWidth = 1920;
constexpr int kHeight = 1200;
constexpr int kSettleSeconds = 3;
constexpr int kSeconds = 10;
/// Of one core, for the GUI thread.
constexpr double kBudget = 50;

/// On-processor seconds of one thread, to the nanosecond.
double threadSeconds(pid_t process, const std::string& thread) {
  double nanoseconds = 0;
  std::ifstream("/proc/" + std::to_string(process) + "/task/" + thread + "/schedstat") >> nanoseconds;
  return nanoseconds / 1e9;
}

double allThreadsSeconds(pid_t process) {
  double sum = 0;
  for (const auto& task : std::filesystem::directory_iterator("/proc/" + std::to_string(process) + "/task"))
    sum += threadSeconds(process, task.path().filename());
  return sum;
}

/// What Qt said of its frames in a stretch of the log.
struct Frames {
  double perSecond = 0;
  /// Milliseconds between two frames, and of drawing one.
  double longestGap = 0;
  double longestFrame = 0;
};

/// The whole number after `name` in the line; -1 if it is not there.
double numberAfter(const std::string& line, const std::string& name) {
  const auto at = line.find(name);
  return at == std::string::npos ? -1 : std::strtod(line.c_str() + at + name.size(), nullptr);
}

Frames framesIn(const std::string& log) {
  Frames frames;
  double count = 0;
  double before = 0;
  std::istringstream lines(log);
  for (std::string line; std::getline(lines, line);) {
    // The software renderer's loop says "Frame rendered", the threaded one "frame rendered".
    const double drawn = numberAfter(line, "rame rendered in ") >= 0 ? numberAfter(line, "rame rendered in ")
                                                                     : numberAfter(line, "renderloop in ");
    if (drawn < 0) continue;
    const double at = 1000 * std::strtod(line.c_str(), nullptr);
    if (count > 0) frames.longestGap = std::max(frames.longestGap, at - before);
    frames.longestFrame = std::max(frames.longestFrame, drawn);
    before = at;
    ++count;
  }
  frames.perSecond = count / kSeconds;
  return frames;
}

class Bench {
 public:
  Bench(std::string program, std::string renderer) : program_(std::move(program)), renderer_(std::move(renderer)) {}

  void run() {
    std::printf("\nRenderer: %s.\n\n", renderer_.c_str());
    std::printf(
        "| what is on the wall | GUI thread, %% of a core | GUI thread per frame, ms | program, %% of a core | "
        "frames/s "
        "| longest gap, ms | longest frame, ms | budget | |\n|---|---|---|---|---|---|---|---|---|\n");
    measure("nothing", 0, false);
    measure("64 cards that hear nothing", 64, false);
    for (const int cards : {1, 16, 64}) measure(std::to_string(cards) + " running", cards, true);
  }

 private:
  /// One run of the program, measured once all its cards show code.
  void measure(const std::string& what, int cards, bool playing) {
    const BenchFolder folder;
    const Screen screen(folder.path(), kWidth, kHeight);
    ReaderSnapshot card;
    card.tileSize = TileSize::small;
    card.displayMode = cards > 16 ? TileDisplayMode::compact : TileDisplayMode::full;
    if (playing) card.selectedDeviceName = "Wide";
    writeCards(folder.path(), std::vector(static_cast<std::size_t>(cards), card));
    std::filesystem::create_directories(folder.path() / "config/Tallyrig");
    std::ofstream(folder.path() / "config/Tallyrig/Tallyrig.conf") << "[General]\nTallyrig.GlobalTileSize=Small\n";
    auto environment = programEnvironment(folder.path(), screen);
    if (renderer_ == "opengl") {
      environment["QT_QUICK_BACKEND"] = "";
      environment["QSG_RHI_BACKEND"] = "opengl";
    }
    environment["QT_LOGGING_RULES"] = "qt.scenegraph.time.renderloop.debug=true";
    environment["QT_MESSAGE_PATTERN"] = "%{time process} %{message}";
    const auto log = folder.path() / "log";
    if (playing) rig_.playStaggered();
    ChildProcess process({program_}, environment, log);
    waitFor("the window", [&] { return resize(screen); });
    if (playing) {
      waitFor("timecode on every card",
              [&] { return count(contents(log), "first decoded frame") >= static_cast<std::size_t>(cards); });
    }
    sleep(kSettleSeconds);

    const auto logBegan = std::filesystem::file_size(log);
    const double gui = threadSeconds(process.id(), std::to_string(process.id()));
    const double all = allThreadsSeconds(process.id());
    const double began = clockSeconds(CLOCK_MONOTONIC);
    sleep(kSeconds);
    const double passed = clockSeconds(CLOCK_MONOTONIC) - began;
    const double guiShare = 100 * (threadSeconds(process.id(), std::to_string(process.id())) - gui) / passed;
    const double allShare = 100 * (allThreadsSeconds(process.id()) - all) / passed;
    const Frames frames = framesIn(contents(log).substr(logBegan));
    if (playing && frames.perSecond == 0) throw std::runtime_error("no frame was drawn");

    std::printf("| %s | %.1f | ", what.c_str(), guiShare);
    if (frames.perSecond > 0) std::printf("%.1f", 10 * guiShare / frames.perSecond);
    std::printf(" | %.1f | %.1f | ", allShare, frames.perSecond);
    if (frames.perSecond > 0)
      std::printf("%.0f | %.0f", frames.longestGap, frames.longestFrame);
    else
      std::printf(" | ");
    std::printf(" | %.0f | %s |\n", kBudget, guiShare < kBudget ? "met" : "MISSED");
    std::fflush(stdout);
  }

  /// Lets the window fill the screen, once it is there.
  static bool resize(const Screen& screen) {
    const std::string command = "DISPLAY=" + screen.display() + " xdotool search --name '^Tallyrig$' windowmove 0 0 " +
                                "windowsize " + std::to_string(kWidth) + " " + std::to_string(kHeight) +
                                " >/dev/null 2>&1";
    return std::system(command.c_str()) == 0;
  }

  std::string program_;
  std::string renderer_;
  RigProcess rig_{1024, kSettleSeconds + kSeconds + 40};
};

}  // namespace
}  // namespace tallyrig

int main(int argc, char** argv) try {
  if (argc < 3) {
    std::fprintf(stderr, "Usage: draw_bench <program> software|opengl...\n");
    return 2;
  }
  for (int index = 2; index < argc; ++index) tallyrig::Bench(argv[1], argv[index]).run();
  return 0;
} catch (const std::exception& error) {
  std::fprintf(stderr, "draw_bench: %s\n", error.what());
  return 1;
}
