// How exactly MTC leaves and arrives over a real sound server: mtc_bench <quantum> <seconds>. Prints Markdown tables.

#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <mutex>
#include <vector>

#include "EngineOnRig.h"
#include "mtc/MTCQuarterFrame.h"

namespace tallyrig {
namespace {

constexpr double kRate = 48000;
constexpr int kWires = 32;
/// Until clocks, links and the first sequences have settled.
constexpr double kSettleSeconds = 2;

unsigned long long printable(std::uint64_t count) {
  return count;
}

double samplesBetween(HostTime first, HostTime second) {
  return static_cast<double>(static_cast<std::int64_t>(second.ticks - first.ticks)) / 1e9 * kRate;
}

/// One quarter frame on its way: the instant that it was meant for, or came with.
struct QuarterFrame {
  HostTime instant;
  std::uint8_t data = 0;
};

/// What was sent into a wire and what came out of it.
struct Wire {
  std::mutex mutex;
  std::vector<QuarterFrame> sent;
  std::vector<QuarterFrame> received;
  /// When the newest piece 7 was handed to the reader.
  std::atomic<std::uint64_t> completedAt = 0;
};

/// What a stretch of time has shown of all wires.
struct Findings {
  std::vector<double> errors;
  std::vector<double> anchorDelays;
  std::uint64_t sent = 0;
  std::uint64_t unheard = 0;
};

/// Children that do nothing but compute.
class BusyCores {
 public:
  explicit BusyCores(int count) {
    for (int core = 0; core < count; ++core) {
      const pid_t child = fork();
      if (child == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        for (volatile unsigned counter = 0;;) counter = counter + 1;
      }
      children_.push_back(child);
    }
  }
  ~BusyCores() {
    for (const pid_t child : children_) {
      kill(child, SIGKILL);
      waitpid(child, nullptr, 0);
    }
  }
  BusyCores(const BusyCores&) = delete;
  BusyCores& operator=(const BusyCores&) = delete;

 private:
  std::vector<pid_t> children_;
};

/// The number in a line right before `text`; 0 if the line does not have it.
std::uint64_t countBefore(std::string_view line, std::string_view text) {
  const auto at = line.find(text);
  if (at == std::string_view::npos) return 0;
  const auto begin = line.find_last_not_of("0123456789", at - 1) + 1;
  return std::strtoull(line.data() + begin, nullptr, 10);
}

class Bench {
 public:
  explicit Bench(int quantum)
      : quantum_(quantum), engine_(quantum, kWires, [this](std::string_view line) {
          late_ += countBefore(line, " MIDI messages went out late");
          lost_ += countBefore(line, " MIDI messages dropped");
          lost_ += countBefore(line, " MIDI events lost");
          leftOut_ += countBefore(line, " cycles, and any MIDI in them is lost");
        }) {
    MidiTap& midi = engine_.midi();
    for (const auto& destination : midi.destinations()) destinations_[destination.endpoint] = wireOf(destination.name);
    for (const auto& source : midi.sources()) sources_[source.endpoint] = wireOf(source.name);
    midi.onSend = [this](MIDIEndpointRef destination, std::span<const std::uint8_t> bytes, HostTime when) {
      if (bytes.size() != 2 || bytes[0] != kQuarterFrameStatus) return;
      Wire& wire = wires_[destinations_.at(destination)];
      const std::lock_guard lock(wire.mutex);
      wire.sent.push_back({when, bytes[1]});
    };
    midi.onConnect = [this](MIDIPortRef port, MIDIEndpointRef source) {
      const std::lock_guard lock(portsMutex_);
      ports_[port] = sources_.at(source);
    };
    midi.onRead = [this](MIDIPortRef port, std::span<const MidiPacket> packets) { read(port, packets); };
  }

  void run(double seconds) {
    std::printf("\nQuantum %d, 48 kHz, %.0f s each.\n\n", quantum_, seconds);
    std::printf(
        "| what runs | error, samples: median | 99 %% | worst | sent | above 1 sample | not heard | told as late | as "
        "lost | cycles left out: readers | wires | receipt to anchor, ms: median | 99 %% | program, %% of a core | "
        "server, %% of a core |\n");
    std::printf("|---|---|---|---|---|---|---|---|---|---|---|---|---|---|---|\n");
    grow(1);
    stretch("1 generator, 1 reader", seconds);
    {
      const BusyCores busy(2);
      stretch("the same beside two busy cores", seconds);
    }
    grow(kWires);
    stretch("32 generators, 32 readers", seconds);
    {
      const BusyCores busy(2);
      stretch("the same beside two busy cores", seconds);
    }
    const auto receiving = std::ranges::count_if(readers_, [](const auto& card) { return card->isReceiving(); });
    const auto sending =
        std::ranges::count_if(generators_, [](const auto& card) { return card->isGeneratorRunning(); });
    std::printf("\nAt the end %d of 32 generators send and %d of 32 readers receive.\n", static_cast<int>(sending),
                static_cast<int>(receiving));
  }

 private:
  /// The wire's number, which its endpoints' names end with.
  static std::size_t wireOf(const std::string& name) { return std::stoul(name.substr(name.rfind('_') + 1)); }

  void read(MIDIPortRef port, std::span<const MidiPacket> packets) {
    Wire* wire = nullptr;
    {
      const std::lock_guard lock(portsMutex_);
      wire = &wires_[ports_.at(port)];
    }
    const HostTime now = engine_.clock().now();
    const std::lock_guard lock(wire->mutex);
    for (const auto& packet : packets) {
      for (std::size_t at = 0; at + 1 < packet.bytes.size(); ++at) {
        if (packet.bytes[at] != kQuarterFrameStatus) continue;
        wire->received.push_back({packet.hostTime, packet.bytes[at + 1]});
        if (packet.bytes[at + 1] >> 4 == kQuarterFramePieces - 1) wire->completedAt = now.ticks;
      }
    }
  }

  void grow(int count) {
    for (int number = static_cast<int>(readers_.size()); number < count; ++number) {
      ReaderSnapshot reader;
      reader.label = "In " + std::to_string(number);
      reader.sourceType = SourceType::mtc;
      reader.selectedMIDISourceName = "Wires:capture_" + std::to_string(number);
      readers_.push_back(engine_.card(reader));
      watch(*readers_.back(), wires_[static_cast<std::size_t>(number)]);
      readers_.back()->startMonitoring();

      ReaderSnapshot generator;
      generator.label = "Out " + std::to_string(number);
      generator.cardRole = CardRole::generator;
      generator.generatorFrameRate = static_cast<MTCFrameRate>(number % 4);
      generator.generatorStartHours = number % 24;
      generator.outputProtocol = OutputProtocol::mtc;
      generator.selectedMIDIDestinationName = "Wires:playback_" + std::to_string(number);
      generators_.push_back(engine_.card(generator));
      generators_.back()->toggleGenerator();
      if (!generators_.back()->isGeneratorRunning()) throw std::runtime_error("a generator does not start");
    }
    EngineOnRig::waitFor("all readers to receive", [&] {
      return std::ranges::all_of(readers_, [](const auto& card) { return card->isReceiving(); });
    });
  }

  void watch(const ReaderInstance& reader, Wire& wire) {
    QObject::connect(&reader, &ReaderInstance::timecodeChanged, [this, &reader, &wire, before = HostTime{}]() mutable {
      if (!reader.liveAnchor() || reader.liveAnchor()->hostTime == before) return;
      before = reader.liveAnchor()->hostTime;
      const HostTime completed{wire.completedAt};
      if (completed.ticks != 0) anchorDelays_.push_back(samplesBetween(completed, engine_.clock().now()) / kRate * 1e3);
    });
  }

  void stretch(const char* what, double seconds) {
    EngineOnRig::runFor(kSettleSeconds);
    takeFindings();
    const auto late = late_.load();
    const auto lost = lost_.load();
    const auto leftOut = leftOut_.load();
    const auto leftOutByWires = engine_.rig().missedMidiCycles();
    const auto cost = engine_.measure(seconds);
    const Findings found = takeFindings();
    const auto off = std::ranges::count_if(found.errors, [](double error) { return error > 1; });
    std::printf(
        "| %s | %.2f | %.2f | %.2f | %llu | %llu | %llu | %llu | %llu | %llu | %llu | %.2f | %.2f | %.1f | %.1f |\n",
        what, quantile(found.errors, 0.5), quantile(found.errors, 0.99), quantile(found.errors, 1),
        printable(found.sent), printable(static_cast<std::uint64_t>(off)), printable(found.unheard),
        printable(late_ - late), printable(lost_ - lost), printable(leftOut_ - leftOut),
        printable(engine_.rig().missedMidiCycles() - leftOutByWires), quantile(found.anchorDelays, 0.5),
        quantile(found.anchorDelays, 0.99), cost.program, cost.server);
    std::fflush(stdout);
  }

  /// What has come since the last call. Only what was meant to be out a second ago is judged, and each quarter frame
  /// once.
  Findings takeFindings() {
    EngineOnRig::runFor(1);
    Findings found;
    found.anchorDelays = std::exchange(anchorDelays_, {});
    const HostTime end{engine_.clock().now().ticks - 1'000'000'000};
    for (Wire& wire : wires_) {
      const std::lock_guard lock(wire.mutex);
      const auto past = [&](const QuarterFrame& frame) { return frame.instant < end; };
      const auto sentEnd = std::ranges::find_if_not(wire.sent, past);
      compare({wire.sent.begin(), sentEnd}, wire.received, found);
      wire.sent.erase(wire.sent.begin(), sentEnd);
      wire.received.erase(wire.received.begin(), std::ranges::find_if_not(wire.received, past));
    }
    return found;
  }

  /// Pieces of one number come eight quarter frames apart: within half of that the nearest is the one.
  static void compare(std::span<const QuarterFrame> sent, const std::vector<QuarterFrame>& received, Findings& found) {
    constexpr double kNear = 0.033 * kRate;
    auto from = received.begin();
    for (const QuarterFrame& meant : sent) {
      ++found.sent;
      while (from != received.end() && samplesBetween(meant.instant, from->instant) < -kNear) ++from;
      double nearest = kNear;
      for (auto came = from; came != received.end(); ++came) {
        const double apart = samplesBetween(meant.instant, came->instant);
        if (apart > kNear) break;
        if (came->data == meant.data) nearest = std::min(nearest, std::abs(apart));
      }
      if (nearest < kNear) {
        found.errors.push_back(nearest);
      } else {
        ++found.unheard;
      }
    }
  }

  int quantum_;
  std::atomic<std::uint64_t> late_ = 0;
  std::atomic<std::uint64_t> lost_ = 0;
  std::atomic<std::uint64_t> leftOut_ = 0;
  std::array<Wire, kWires> wires_;
  std::map<MIDIEndpointRef, std::size_t> destinations_;
  std::map<MIDIEndpointRef, std::size_t> sources_;
  std::mutex portsMutex_;
  std::map<MIDIPortRef, std::size_t> ports_;
  std::vector<double> anchorDelays_;
  EngineOnRig engine_;
  std::vector<std::shared_ptr<ReaderInstance>> readers_;
  std::vector<std::shared_ptr<ReaderInstance>> generators_;
};

}  // namespace
}  // namespace tallyrig

int main(int argc, char** argv) try {
  const int quantum = argc == 3 ? std::atoi(argv[1]) : 0;
  const double seconds = argc == 3 ? std::atof(argv[2]) : 0;
  if (quantum <= 0 || seconds <= 0) {
    std::fprintf(stderr, "Usage: mtc_bench <quantum> <seconds>\n");
    return 2;
  }
  tallyrig::Bench(quantum).run(seconds);
  return 0;
} catch (const std::exception& error) {
  std::fprintf(stderr, "mtc_bench: %s\n", error.what());
  return 1;
}
