// What a wall of LTC readers costs over a real sound server: wall_bench <quantum>. Prints Markdown tables.

#include <sys/resource.h>

#include <QCoreApplication>
#include <QTimer>
#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <vector>

#include "ProcessUsage.h"
#include "RigProcess.h"
#include "platform/desktop/AsioScheduler.h"
#include "platform/desktop/SystemClocks.h"
#include "platform/pipewire/PipeWireAudioSystem.h"
#include "platform/simulated/LoopbackMidiSystem.h"
#include "reader/ReaderInstance.h"
#include "timecode/TimecodeRenderClock.h"

namespace tallyrig {
namespace {

constexpr int kSettleSeconds = 3;
constexpr int kEmptySeconds = 10;
constexpr int kWallSeconds = 10;
constexpr int kAdditions = 25;
constexpr int kAdditionRounds = 8;
constexpr double kAdditionSettleSeconds = 1;

void runFor(double seconds) {
  QTimer::singleShot(static_cast<int>(seconds * 1000), Qt::PreciseTimer, qApp, &QCoreApplication::quit);
  QCoreApplication::exec();
}

/// What a stretch of time has cost.
struct Cost {
  double program = 0;
  double server = 0;
  double wakeUps = 0;
  std::uint64_t dropped = 0;
};

class Bench {
 public:
  explicit Bench(int quantum)
      : quantum_(quantum), rig_(quantum, kSettleSeconds + 2 * kWallSeconds + 5), application_(arguments_, nullptr) {
    scheduler_ = std::make_unique<AsioScheduler>();
    audio_ = std::make_unique<PipeWireAudioSystem>(openPipeWireServer(), scheduler_->mainQueue(), log_);
    midi_ = std::make_unique<LoopbackMidiSystem>(clock_, *scheduler_);
    midiOutput_ = std::make_unique<MIDIOutputPortManager>(*midi_, log_);
    registry_ = std::make_unique<DeviceRegistry>(*audio_, *midi_, log_);
    hub_ = std::make_unique<LTCAudioInputHub>(*audio_, *scheduler_, log_);
    runFor(0.5);
    registry_->refresh("bench");
    if (registry_->audioInputs().empty()) throw std::runtime_error("the device is not listed");
    device_ = registry_->audioInputs().front();
  }
  ~Bench() { cards_.clear(); }

  void run() {
    std::printf("\nQuantum %d, 48 kHz.\n\n", quantum_);
    std::printf("| what runs | program, %% of a core | server, %% of a core | wake-ups/s | dropped chunks |\n");
    std::printf("|---|---|---|---|---|\n");
    rig_.play();
    const Cost empty = emptySession();
    report("a session whose callback does nothing", empty);

    renderClock_ = std::make_unique<TimecodeRenderClock>(clock_, *scheduler_, log_);
    rig_.play();
    grow(1);
    runFor(kSettleSeconds);
    requireReceiving();
    const Cost one = measure(kWallSeconds);
    report("1 card", one);

    rig_.play();
    grow(RigProcess::kChannels);
    runFor(kSettleSeconds);
    requireReceiving();
    Cost wall;
    std::vector<std::vector<double>> halves;
    for (int half = 0; half < 2; ++half) {
      latencies_.clear();
      const Cost cost = measure(kWallSeconds);
      requireReceiving();
      report(half == 0 ? "64 cards, first half" : "64 cards, second half", cost);
      wall.program += cost.program / 2;
      wall.dropped += cost.dropped;
      halves.push_back(latencies_);
    }
    // By turns, so that both see the machine in the same moods.
    Additions toOne;
    Additions toWall;
    for (int round = 0; round < kAdditionRounds; ++round) {
      cards_.resize(1);
      add(toOne);
      rig_.play();
      grow(RigProcess::kChannels);
      add(toWall);
    }

    const double beyond = wall.program - empty.program;
    std::printf("\n| figure | measured | budget | |\n|---|---|---|---|\n");
    verdict("64 cards beyond the empty session, % of a core", beyond, quantum_ == 256 ? 25 : 0);
    verdict("dropped chunks", static_cast<double>(wall.dropped), 0, true);
    const double period = quantum_ / 48.0;
    for (std::size_t half = 0; half < halves.size(); ++half) {
      const std::string times = half == 0 ? ", first half" : ", second half";
      verdict(("frame end to anchor, median, ms" + times).c_str(), quantile(halves[half], 0.5), period + 5);
      verdict(("frame end to anchor, 99 %, ms" + times).c_str(), quantile(halves[half], 0.99), 0);
    }
    verdict("adding a card: main thread's CPU, wall of 1, ms", cheapest(toOne.cpu), 0);
    verdict("adding a card: main thread's CPU, wall of 64, ms", cheapest(toWall.cpu), 0);
    verdict("the same as a ratio", cheapest(toWall.cpu) / cheapest(toOne.cpu), 1);
    verdict("adding a card: elapsed on the main thread, ratio", cheapest(toWall.elapsed) / cheapest(toOne.elapsed), 1);
    verdict("a running card's share: of a wall of 64, over a wall of 1, ratio",
            beyond / RigProcess::kChannels / (one.program - empty.program), 1);
  }

 private:
  /// In milliseconds, one by one.
  struct Additions {
    std::vector<double> cpu;
    std::vector<double> elapsed;
  };

  Cost emptySession() {
    std::unique_ptr<AudioIO> io;
    if (audio_->createIO(
            device_.id, [](const AudioCycle&) {}, io) != kPlatformOk ||
        !io || io->start() != kPlatformOk)
      throw std::runtime_error("no session on the device");
    runFor(kSettleSeconds);
    const Cost cost = measure(kEmptySeconds);
    io->stop();
    return cost;
  }

  Cost measure(double seconds) {
    const double began = clockSeconds(CLOCK_MONOTONIC);
    const double program = clockSeconds(CLOCK_PROCESS_CPUTIME_ID);
    const double server = processSeconds(rig_.serverId());
    const auto wakeUps = voluntarySwitches();
    const auto dropped = dropped_.load();
    runFor(seconds);
    const double passed = clockSeconds(CLOCK_MONOTONIC) - began;
    return {.program = 100 * (clockSeconds(CLOCK_PROCESS_CPUTIME_ID) - program) / passed,
            .server = 100 * (processSeconds(rig_.serverId()) - server) / passed,
            .wakeUps = static_cast<double>(voluntarySwitches() - wakeUps) / passed,
            .dropped = dropped_.load() - dropped};
  }

  std::shared_ptr<ReaderInstance> newCard(std::int64_t channel) {
    ReaderSnapshot settings;
    settings.selectedDeviceID = device_.id;
    settings.selectedDeviceName = device_.name;
    settings.selectedChannel = channel;
    return std::make_shared<ReaderInstance>(services(), settings);
  }

  void grow(int count) {
    while (static_cast<int>(cards_.size()) < count) {
      auto card = newCard(static_cast<std::int64_t>(cards_.size()));
      // The tile's anchor changes within the receiver's own announcement of it.
      QObject::connect(card.get(), &ReaderInstance::timecodeChanged, [this, card = card.get()] {
        if (card->liveAnchor()) latencies_.push_back(clock_.milliseconds(clock_.now() - card->liveAnchor()->hostTime));
      });
      card->startMonitoring();
      cards_.push_back(std::move(card));
    }
  }

  void requireReceiving() const {
    const auto receiving = std::ranges::count_if(cards_, [](const auto& card) { return card->isReceiving(); });
    if (receiving != static_cast<std::ptrdiff_t>(cards_.size())) {
      throw std::runtime_error("only " + std::to_string(receiving) + " of " + std::to_string(cards_.size()) +
                               " cards receive");
    }
  }

  /// Adds one card to the receiving wall, up to its subscription, and takes it away, again and again.
  void add(Additions& costs) {
    runFor(kAdditionSettleSeconds);
    requireReceiving();
    for (int time = 0; time < kAdditions; ++time) {
      QCoreApplication::processEvents();
      const double cpuBegan = clockSeconds(CLOCK_THREAD_CPUTIME_ID);
      const double began = clockSeconds(CLOCK_MONOTONIC);
      const auto card = newCard(0);
      card->startMonitoring();
      // A task of another thread can take the place of the card's.
      do {
        QCoreApplication::sendPostedEvents();
      } while (hub_->subscriptions().size() != cards_.size() + 1 && clockSeconds(CLOCK_MONOTONIC) < began + 1);
      costs.cpu.push_back(1000 * (clockSeconds(CLOCK_THREAD_CPUTIME_ID) - cpuBegan));
      costs.elapsed.push_back(1000 * (clockSeconds(CLOCK_MONOTONIC) - began));
      if (hub_->subscriptions().size() != cards_.size() + 1) throw std::runtime_error("the card has not subscribed");
      runFor(0.02);
    }
  }
  /// Dearer ones also deliver what the other cards have just received.
  static double cheapest(const std::vector<double>& costs) { return quantile(costs, 0.1); }

  static void report(const char* what, const Cost& cost) {
    std::printf("| %s | %.1f | %.1f | %.0f | %llu |\n", what, cost.program, cost.server, cost.wakeUps,
                static_cast<unsigned long long>(cost.dropped));
    std::fflush(stdout);
  }
  /// A budget of 0 is none, unless `bindsAtZero`.
  static void verdict(const char* what, double value, double budget, bool bindsAtZero = false) {
    if (budget == 0 && !bindsAtZero) {
      std::printf("| %s | %.2f | | |\n", what, value);
    } else {
      std::printf("| %s | %.2f | %.2f | %s |\n", what, value, budget, value <= budget ? "met" : "MISSED");
    }
  }

  ReaderServices services() {
    return {clock_, wallClock_, *scheduler_, log_, *audio_, *midi_, *registry_, *hub_, *midiOutput_, reservations_};
  }

  int quantum_;
  RigProcess rig_;
  int arguments_ = 0;
  QCoreApplication application_;
  SystemHostClock clock_;
  SystemWallClock wallClock_;
  std::atomic<std::uint64_t> dropped_ = 0;
  Log log_{clock_, wallClock_, [this](std::string_view line) {
             const auto at = line.find("dropped ");
             if (at != std::string_view::npos) dropped_ += std::strtoull(line.data() + at + 8, nullptr, 10);
           }};
  std::unique_ptr<AsioScheduler> scheduler_;
  std::unique_ptr<PipeWireAudioSystem> audio_;
  std::unique_ptr<LoopbackMidiSystem> midi_;
  std::unique_ptr<DeviceRegistry> registry_;
  std::unique_ptr<LTCAudioInputHub> hub_;
  std::unique_ptr<MIDIOutputPortManager> midiOutput_;
  OutputReservationRegistry reservations_;
  std::unique_ptr<TimecodeRenderClock> renderClock_;
  AudioInputDevice device_;
  std::vector<double> latencies_;
  std::vector<std::shared_ptr<ReaderInstance>> cards_;
};

}  // namespace
}  // namespace tallyrig

int main(int argc, char** argv) try {
  const int quantum = argc == 2 ? std::atoi(argv[1]) : 0;
  if (quantum <= 0) {
    std::fprintf(stderr, "Usage: wall_bench <quantum>\n");
    return 2;
  }
  tallyrig::Bench(quantum).run();
  return 0;
} catch (const std::exception& error) {
  std::fprintf(stderr, "wall_bench: %s\n", error.what());
  return 1;
}
