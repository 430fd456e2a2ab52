// Memory over a stretch of use: use_bench [minutes]. Prints a Markdown table.
//
// The program's real views, drawn without a screen, over simulated devices whose time passes as fast as it can. In each
// minute a user adds cards and takes them away, gives them a device and applies it, runs and jams outputs, opens and
// closes every window, and pins the wall. After each tenth of the stretch the wall is as it was at its beginning, so
// that whatever the process then holds beyond the first of these readings was left behind.

#include <QtQml/qqmlextensionplugin.h>
#include <gtest/gtest.h>
#include <malloc.h>

#include <QGuiApplication>
#include <QQuickWindow>
#include <cstdio>
#include <fstream>

#include "ProcessUsage.h"
#include "app/Fonts.h"
#include "support/LTCSignal.h"
#include "ui/UiRig.h"

Q_IMPORT_QML_PLUGIN(TallyrigPlugin)

namespace tallyrig {
namespace {

using namespace std::chrono_literals;

constexpr int kReadings = 10;
constexpr std::size_t kCards = 4;
constexpr int kChannels = 8;

double residentMiB() {
  std::ifstream file("/proc/self/status");
  for (std::string line; std::getline(file, line);) {
    if (line.starts_with("VmRSS:")) return std::stod(line.substr(6)) / 1024;
  }
  return 0;
}

/// What has been allocated and not given back.
double heapMiB() {
  const auto heap = mallinfo2();
  return static_cast<double>(heap.uordblks + heap.hblkhd) / (1 << 20);
}

class Use {
 public:
  Use() : signal_(MTCFrameRate::fps25, {10, 0, 0, 0, MTCFrameRate::fps25}, 48000) {
    device_ =
        &rig_.wall.world.audio().addDevice({.name = "Rack", .inputGroups = {kChannels}, .outputGroups = {kChannels}});
    device_->feed(0, [this](std::int64_t position, std::span<float> samples) { signal_.fill(position, samples); });
    rig_.wall.world.midi().addSource("Bridge in");
    rig_.wall.world.midi().addDestination("Bridge out");
    rig_.open();
    while (rig_.store().readers().size() < kCards) rig_.store().addReader();
    rig_.runFor(100ms);
  }

  /// A minute of virtual time that leaves the wall as it was.
  void minute(int number) {
    const auto began = rig_.wall.world.clock().now();
    rig_.click(rig_.find("addReader"));
    const std::size_t added = rig_.store().readers().size() - 1;
    setUp(added, number);
    watch(8s);
    EXPECT_EQ(rig_.tile(added)->property("statusText"), number % 3 == 2 ? "GENERATING" : "LOCKED");
    if (QQuickItem* jam = rig_.find("jamButton", rig_.tile(added))) {
      rig_.click(jam);
      watch(3s);
      if (QQuickItem* stop = rig_.find("jamButton", rig_.tile(added))) rig_.click(stop);
    }
    abandonSettings();
    changeModes();
    rearrange();
    openWindows();
    pinAndUnpin();
    rig_.click(rig_.find("removeButton", rig_.tile(added)));
    if (number % 5 == 0) clearAndRefill();
    const auto end = began + rig_.wall.world.clock().ticksFromNanos(60'000'000'000);
    while (rig_.wall.world.clock().now() < end) rig_.runFor(1s);
    rig_.wall.world.clearLog();
  }

 private:
  /// Lets the running digits be drawn.
  void watch(std::chrono::nanoseconds duration) {
    for (auto passed = 0ns; passed < duration; passed += 100ms) rig_.runFor(100ms);
  }
  QQuickItem* in(const QString& title, const QString& name) {
    QQuickWindow* window = rig_.windowTitled(title);
    return window ? rig_.find(name, window->contentItem()) : nullptr;
  }
  /// A reader of the running code, or a generator, with an output.
  void setUp(std::size_t card, int number) {
    rig_.click(rig_.find("settingsButton", rig_.tile(card)));
    rig_.click(rig_.find("swatch" + QString::number(number % 8)));
    if (number % 3 == 2) {
      rig_.click(rig_.find("segmentGenerator"));
    } else {
      rig_.choose("device", "Rack");
      rig_.choose("channel", "Channel 1");
    }
    rig_.click(rig_.find("segmentLTC", rig_.find("outputProtocol")));
    rig_.choose("outputDevice", "Rack");
    rig_.choose("outputChannel", "Channel 5");
    rig_.click(rig_.find("apply"));
    EXPECT_FALSE(rig_.popoverIsOpen());
    if (QQuickItem* start = rig_.find("startButton", rig_.tile(card))) rig_.click(start);
  }
  void abandonSettings() {
    rig_.click(rig_.find("settingsButton", rig_.tile(0)));
    rig_.click(rig_.find("segmentGenerator"));
    rig_.press(Qt::Key_Escape);
    EXPECT_FALSE(rig_.popoverIsOpen());
  }
  void changeModes() {
    for (int mode = 0; mode < 3; ++mode) {
      rig_.click(rig_.find("modeButton", rig_.tile(1)));
      watch(300ms);
    }
  }
  void rearrange() {
    rig_.store().moveReader(0, 2, true);
    watch(300ms);
    rig_.store().moveReader(2, 0, true);
    watch(300ms);
  }
  void openWindows() {
    rig_.click(rig_.find("globalSettings"));
    for (const char* choice : {"appearanceDark", "segmentSmall", "appearanceLight", "segmentLarge", "segmentMedium"}) {
      rig_.click(in("Settings", choice));
      watch(200ms);
    }
    rig_.windowTitled("Settings")->close();
    rig_.click(rig_.find("about"));
    watch(1s);
    rig_.click(rig_.find("about"));
    for (const char* tool : {"wav-generator", "file-analyser", "media-player"}) {
      rig_.windowManager->openWindow(tool);
      watch(1s);
      rig_.windowManager->dismissWindow(tool);
      watch(200ms);
    }
    rig_.window->close();
    rig_.runFor(100ms);
    rig_.click(in("Quit Tallyrig?", "cancel"));
  }
  void pinAndUnpin() {
    rig_.click(rig_.find("pin"));
    watch(1s);
    rig_.windowManager->exitPinnedMode();
    watch(1s);
  }
  void clearAndRefill() {
    rig_.app->requestClearAll();
    rig_.runFor(100ms);
    rig_.click(in("Clear all readers?", "confirm"));
    while (rig_.store().readers().size() < kCards) rig_.click(rig_.find("addReader"));
  }

  UiRig rig_;
  LTCSignal signal_;
  SimulatedDevice* device_ = nullptr;
};

/// Whether every step of the stretch could be done.
bool run(int minutes) {
  std::printf("| after minutes of use | heap in use, MiB | resident, MiB | CPU time, s |\n|---|---|---|---|\n");
  Use use;
  for (int minute = 1; minute <= minutes; ++minute) {
    use.minute(minute);
    if (testing::UnitTest::GetInstance()->Failed()) return false;
    if (minute % std::max(1, minutes / kReadings) != 0) continue;
    malloc_trim(0);
    std::printf("| %d | %.2f | %.1f | %.0f |\n", minute, heapMiB(), residentMiB(),
                clockSeconds(CLOCK_PROCESS_CPUTIME_ID));
    std::fflush(stdout);
  }
  return true;
}

}  // namespace
}  // namespace tallyrig

int main(int argc, char** argv) {
  qputenv("QT_QPA_PLATFORM", "offscreen");
  testing::InitGoogleTest(&argc, argv);
  // A window without a screen has nobody to tell its least size to, and nothing to stand above.
  qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString& message) {
    if (!message.startsWith("This plugin does not support")) std::fprintf(stderr, "%s\n", qPrintable(message));
  });
  QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
  QGuiApplication application(argc, argv);
  QGuiApplication::setFont(tallyrig::interfaceFont());
  const int minutes = argc > 1 ? std::atoi(argv[1]) : 60;
  if (minutes < 1) {
    std::fprintf(stderr, "Usage: use_bench [minutes]\n");
    return 2;
  }
  return tallyrig::run(minutes) ? 0 : 1;
}
