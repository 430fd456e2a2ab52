#pragma once

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "ProcessUsage.h"
#include "reader/ReaderSnapshot.h"
#include "support/ChildProcess.h"

namespace tallyrig {

/// Looks every millisecond; throws std::runtime_error when it has waited long enough.
template <typename Condition>
void waitFor(const char* what, Condition condition) {
  constexpr double kLimitSeconds = 30;
  const double deadline = clockSeconds(CLOCK_MONOTONIC) + kLimitSeconds;
  while (!condition()) {
    if (clockSeconds(CLOCK_MONOTONIC) > deadline) throw std::runtime_error(std::string("waited in vain for ") + what);
    usleep(1000);
  }
}

inline std::string contents(const std::filesystem::path& path) {
  std::ifstream file(path);
  return {std::istreambuf_iterator<char>(file), {}};
}

inline std::size_t count(const std::string& text, const std::string& part) {
  std::size_t found = 0;
  for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++found;
  return found;
}

/// A virtual screen whose pixels can be read, since it keeps them in a file.
class Screen {
 public:
  Screen(const std::filesystem::path& folder, int width, int height)
      : pixelCount_(static_cast<std::size_t>(width) * static_cast<std::size_t>(height)),
        server_(
            {"Xvfb", "-displayfd", "1", "-screen", "0", std::to_string(width) + "x" + std::to_string(height) + "x24",
             "-fbdir", folder.string(), "-nolisten", "tcp", "-noreset"},
            {}, folder / "display") {
    // The number that it found free comes after what it has to say about those that are taken.
    waitFor("the virtual screen", [&] {
      std::istringstream lines(contents(folder / "display"));
      std::string line;
      while (std::getline(lines, line) && !lines.eof() && display_.empty())
        if (!line.empty() && line.find_first_not_of("0123456789") == std::string::npos) display_ = ":" + line;
      return !display_.empty();
    });
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
    constexpr std::size_t kColours = 8;
    std::set<std::uint32_t> colours;
    // The file's header and colour table come first.
    const std::size_t end = size_ / sizeof(std::uint32_t);
    for (std::size_t at = end - pixelCount_; at < end && colours.size() < kColours; at += 7)
      colours.insert(pixels_[at]);
    return colours.size() >= kColours;
  }

 private:
  std::size_t pixelCount_;
  ChildProcess server_;
  std::string display_;
  std::size_t size_ = 0;
  const std::uint32_t* pixels_ = nullptr;
};

/// A folder that is gone with this object.
class BenchFolder {
 public:
  BenchFolder() {
    std::string path = (std::filesystem::temp_directory_path() / "bench-XXXXXX").string();
    if (mkdtemp(path.data()) == nullptr) throw std::runtime_error("no folder");
    path_ = path;
  }
  ~BenchFolder() { std::filesystem::remove_all(path_); }
  BenchFolder(const BenchFolder&) = delete;
  BenchFolder& operator=(const BenchFolder&) = delete;

  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
};

/// What the program needs to run for itself in `folder` on `screen`.
inline ChildProcess::Environment programEnvironment(const std::filesystem::path& folder, const Screen& screen) {
  return {{"DISPLAY", screen.display()},
          {"WAYLAND_DISPLAY", ""},
          {"QT_QPA_PLATFORM", "xcb"},
          {"QT_QUICK_BACKEND", "software"},
          {"HOME", folder.string()},
          {"XDG_DATA_HOME", (folder / "data").string()},
          {"XDG_CONFIG_HOME", (folder / "config").string()},
          {"XDG_CACHE_HOME", (folder / "cache").string()}};
}

/// Writes the program's file of cards: as many on the channels of the rig's device.
inline void writeCards(const std::filesystem::path& folder, std::vector<ReaderSnapshot> cards) {
  for (std::size_t index = 0; index < cards.size(); ++index) {
    cards[index].id = QUuid::createUuid();
    cards[index].selectedChannel = static_cast<std::int64_t>(index);
    cards[index].sortOrder = static_cast<std::int64_t>(index);
  }
  std::filesystem::create_directories(folder / "data/Tallyrig");
  std::ofstream(folder / "data/Tallyrig/readers.json") << *encodeSnapshots(cards);
}

}  // namespace tallyrig
