// What LTC outputs cost and how exact they are: outputs_bench <quantum> <minutes>. Prints Markdown tables.

#include <ltc.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <vector>

#include "EngineOnRig.h"
#include "ltc/LTCOutputSession.h"
#include "support/EncodedLTC.h"
#include "support/ManualScheduler.h"
#include "support/RigClient.h"

namespace tallyrig {
namespace {

constexpr double kRate = 48000;
constexpr int kOutputs = 32;
constexpr int kPasses = 15;
constexpr int kCostSeconds = 20;
constexpr int kStarts = 8;
/// A busy server leaves cycles out of a recording, which then tells nothing.
constexpr int kMostRecordings = 40;
constexpr int kShortSeconds = 10;

/// The processor seconds that `kCostSeconds` of one output cost; the cheapest of the passes.
struct OutputCost {
  double bare = std::numeric_limits<double>::max();
  double both = std::numeric_limits<double>::max();
  double callback = std::numeric_limits<double>::max();
};

double bareEncoding() {
  const double began = clockSeconds(CLOCK_THREAD_CPUTIME_ID);
  LTCEncoder* encoder = ltc_encoder_create(kRate, 25, LTC_TV_625_50, 0);
  volatile int samples = 0;
  for (int frame = 0; frame < kCostSeconds * 25; ++frame) {
    ltc_encoder_encode_frame(encoder);
    ltcsnd_sample_t* bytes = nullptr;
    samples = samples + ltc_encoder_get_bufferptr(encoder, &bytes, 1);
    ltc_encoder_inc_timecode(encoder);
  }
  ltc_encoder_free(encoder);
  return clockSeconds(CLOCK_THREAD_CPUTIME_ID) - began;
}

/// A session and the callback that a device of this quantum would run, on one thread.
class SilentDevice {
 public:
  explicit SilentDevice(int quantum) : cycle_(quantum / kRate), samples_(static_cast<std::size_t>(quantum)) {
    session_->onUnderrun = [this] { underrun_ = true; };
    session_->configure(kRate);
  }
  ~SilentDevice() { session_->close(); }
  SilentDevice(const SilentDevice&) = delete;
  SilentDevice& operator=(const SilentDevice&) = delete;

  /// Cycles and producer's ticks as they follow each other; the processor seconds of both.
  double bothByTurns() {
    const double began = clockSeconds(CLOCK_THREAD_CPUTIME_ID);
    double nextTick = 0;
    for (double at = 0; at < kCostSeconds; at += cycle_) {
      render();
      for (; nextTick <= at; nextTick += 0.01) tick();
    }
    requireSound();
    return clockSeconds(CLOCK_THREAD_CPUTIME_ID) - began;
  }

  /// The cycles alone, as many at a time as the session is ahead for.
  double callbackAlone() {
    double used = 0;
    for (int second = 0; second < kCostSeconds; ++second) {
      const double began = clockSeconds(CLOCK_THREAD_CPUTIME_ID);
      for (double at = 0; at < 1; at += cycle_) render();
      used += clockSeconds(CLOCK_THREAD_CPUTIME_ID) - began;
      tick();
    }
    requireSound();
    return used;
  }

 private:
  void render() { session_->renderer()->render(buffers_, {.hostTime = clock_.now(), .hostTimeValid = true}, false); }
  void tick() { scheduler_.queues.front()->fireTimers(); }
  void requireSound() const {
    if (underrun_) throw std::runtime_error("the session ran dry");
  }

  const double cycle_;
  std::vector<float> samples_;
  std::array<AudioBuffer, 1> buffers_{{{.channelCount = 1,
                                        .byteSize = static_cast<std::uint32_t>(samples_.size() * sizeof(float)),
                                        .data = samples_.data()}}};
  bool underrun_ = false;
  SystemHostClock clock_;
  SystemWallClock wallClock_;
  Log log_{clock_, wallClock_, [](std::string_view) {}};
  ManualScheduler scheduler_;
  std::shared_ptr<LTCOutputSession> session_ =
      std::make_shared<LTCOutputSession>(LTCOutputSession::Settings{.device = {},
                                                                    .channel = 0,
                                                                    .frameRate = MTCFrameRate::fps25,
                                                                    .startTimecode = {10, 0, 0, 0, MTCFrameRate::fps25},
                                                                    .volumeDBFS = -6},
                                         clock_, scheduler_, log_);
};

bool sounds(float sample) {
  return sample != 0;
}

class Bench {
 public:
  explicit Bench(int quantum)
      : quantum_(quantum),
        engine_(quantum, 0,
                [this](std::string_view line) {
                  if (line.find("underrun") != std::string_view::npos) ++underruns_;
                }),
        recorder_(std::string(std::getenv("XDG_RUNTIME_DIR")) + "/pipewire-0", static_cast<int>(kRate), false) {}

  void run(double minutes) {
    std::printf("\nQuantum %d, 48 kHz.\n\n", quantum_);
    std::printf("| what runs | program, %% of a core | server, %% of a core | wake-ups/s |\n|---|---|---|---|\n");
    const auto empty = emptySession();
    report("a session whose callback does nothing", empty);

    const auto alone = starts();
    std::vector<std::shared_ptr<ReaderInstance>> others;
    for (int channel = 1; channel < kOutputs; ++channel) {
      others.push_back(generator(channel));
      others.back()->toggleGenerator();
      if (!others.back()->isGeneratorRunning()) throw std::runtime_error("a generator does not start");
    }
    const auto among = starts();
    others.push_back(generator(0));
    others.back()->toggleGenerator();
    engine_.runFor(3);
    const auto before = underruns_.load();
    const auto cost = engine_.measure(minutes * 60);
    const auto underruns = underruns_ - before;
    const auto running = std::ranges::count_if(others, [](const auto& card) { return card->isGeneratorRunning(); });
    report("32 generators", cost);

    std::printf("\n| figure | measured |\n|---|---|\n");
    std::printf("| 32 generators beyond the empty session, %% of a core | %.2f |\n", cost.program - empty.program);
    std::printf("| generators still running after %.1f minutes | %d of %d |\n", minutes, static_cast<int>(running),
                kOutputs);
    std::printf("| underruns in %.1f minutes | %llu |\n", minutes, static_cast<unsigned long long>(underruns));
    tell("nothing else running", alone);
    tell("31 others running", among);
  }

 private:
  struct Starts {
    /// From the press to the first sample, in milliseconds.
    std::vector<double> latencies;
    /// From the end of the last frame to the silence, in samples; positive if the code ran on.
    std::vector<double> stops;
    int wrongSamples = 0;
    std::size_t disturbed = 0;
  };

  std::shared_ptr<ReaderInstance> generator(int channel) {
    ReaderSnapshot settings;
    settings.label = "Output " + std::to_string(channel + 1);
    settings.cardRole = CardRole::generator;
    settings.generatorFrameRate = MTCFrameRate::fps25;
    settings.generatorStartHours = channel % 24;
    settings.outputProtocol = OutputProtocol::ltc;
    settings.selectedOutputDeviceName = "Wide";
    settings.selectedOutputChannel = channel;
    return engine_.card(settings);
  }

  EngineOnRig::Cost emptySession() {
    std::unique_ptr<AudioIO> io;
    const auto device = engine_.audio().devices().front().id;
    if (engine_.audio().createIO(
            device, [](const AudioCycle&) {}, io) != kPlatformOk ||
        !io || io->start() != kPlatformOk)
      throw std::runtime_error("no session on the device");
    engine_.runFor(3);
    const auto cost = engine_.measure(kShortSeconds);
    io->stop();
    return cost;
  }

  /// Starts and stops a generator on the first channel, again and again, and listens to it.
  Starts starts() {
    Starts result;
    while (result.latencies.size() < kStarts && result.latencies.size() + result.disturbed < kMostRecordings) {
      const auto recording = RigSound::record(recorder_, "wide", {0}, static_cast<std::size_t>(1.2 * kRate));
      engine_.waitFor("the recording", [&] { return recording->startNanos() != 0; });
      const auto card = generator(0);
      const HostTime pressed = engine_.clock().now();
      card->toggleGenerator();
      if (!card->isGeneratorRunning()) throw std::runtime_error("the generator does not start");
      const Timecode start = *card->currentTimecode();
      engine_.waitFor("10 frames", [&] { return *start.signedFrameDistance(*card->currentTimecode()) >= 10; });
      card->toggleGenerator();
      engine_.waitFor("the stop", [&] { return !card->isGeneratorRunning(); });
      const auto sent = *start.signedFrameDistance(*card->currentTimecode()) + 1;
      recording->waitUntilDone(std::chrono::seconds(10));
      if (recording->gaps() > 0) {
        ++result.disturbed;
      } else {
        judge(*recording, pressed, encodedLTC(start, sent, kRate), result);
      }
    }
    return result;
  }

  static void judge(const RigSound& recording, HostTime pressed, const std::vector<float>& expected, Starts& result) {
    const auto& heard = recording.samples().front();
    const auto lead = std::ranges::find_if(expected, sounds) - expected.begin();
    const auto onset = std::ranges::find_if(heard, sounds) - heard.begin() - lead;
    const auto lastOf = [](const std::vector<float>& samples) {
      return samples.rend() - std::find_if(samples.rbegin(), samples.rend(), sounds) - 1;
    };
    if (onset < 0 || onset + std::ssize(expected) > std::ssize(heard))
      throw std::runtime_error("the recording does not hold the whole output");
    const auto sinceStart =
        static_cast<double>(static_cast<std::int64_t>(recording.startNanos() - pressed.ticks)) / 1e6;
    result.latencies.push_back(sinceStart + static_cast<double>(onset) / kRate * 1e3);
    result.stops.push_back(static_cast<double>(lastOf(heard) - onset - lastOf(expected)));
    for (std::size_t at = 0; at < expected.size(); ++at) {
      if (heard[static_cast<std::size_t>(onset) + at] != expected[at]) ++result.wrongSamples;
    }
  }

  static void report(const char* what, const EngineOnRig::Cost& cost) {
    std::printf("| %s | %.1f | %.1f | %.0f |\n", what, cost.program, cost.server, cost.wakeUps);
    std::fflush(stdout);
  }
  static void tell(const char* what, const Starts& starts) {
    std::printf("| press to first sample, median, ms; %s | %.1f |\n", what, quantile(starts.latencies, 0.5));
    std::printf("| press to first sample, worst, ms; %s | %.1f |\n", what, quantile(starts.latencies, 1));
    std::printf("| silence after the last frame's end, least and most, samples; %s | %.0f and %.0f |\n", what,
                quantile(starts.stops, 0), quantile(starts.stops, 1));
    std::printf("| samples that are not the encoder's; %s | %d |\n", what, starts.wrongSamples);
    std::printf("| recordings judged, and those that the server left cycles out of; %s | %zu and %zu |\n", what,
                starts.latencies.size(), starts.disturbed);
  }

  int quantum_;
  std::atomic<std::uint64_t> underruns_ = 0;
  EngineOnRig engine_;
  RigClient recorder_;
};

void runCosts(int quantum) {
  OutputCost cost;
  for (int pass = 0; pass < kPasses; ++pass) {
    cost.bare = std::min(cost.bare, bareEncoding());
    cost.both = std::min(cost.both, SilentDevice(quantum).bothByTurns());
    cost.callback = std::min(cost.callback, SilentDevice(quantum).callbackAlone());
  }
  std::printf(
      "| one output, quantum %d | CPU, microseconds per second of audio | ratio to bare libltc |\n|---|---|---|\n",
      quantum);
  const auto row = [&](const char* what, double seconds) {
    std::printf("| %s | %.1f | %.2f |\n", what, 1e6 * seconds / kCostSeconds, seconds / cost.bare);
  };
  row("bare libltc, encoding only", cost.bare);
  row("producer, encoding included: both less callback", cost.both - cost.callback);
  row("callback", cost.callback);
  row("both by turns", cost.both);
}

}  // namespace
}  // namespace tallyrig

int main(int argc, char** argv) try {
  const int quantum = argc == 3 ? std::atoi(argv[1]) : 0;
  const double minutes = argc == 3 ? std::atof(argv[2]) : 0;
  if (quantum <= 0 || minutes <= 0) {
    std::fprintf(stderr, "Usage: outputs_bench <quantum> <minutes>\n");
    return 2;
  }
  tallyrig::runCosts(quantum);
  tallyrig::Bench(quantum).run(minutes);
  return 0;
} catch (const std::exception& error) {
  std::fprintf(stderr, "outputs_bench: %s\n", error.what());
  return 1;
}
