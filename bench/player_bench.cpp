// The media player on a private sound server: how far flash and click are apart, how soon a seek is heard, and what
// playing costs. Prints a table.

#include <sys/resource.h>

#include <QCoreApplication>
#include <QTimer>
#include <QUrl>
#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "ProcessUsage.h"
#include "WatchedOutput.h"
#include "platform/desktop/AsioScheduler.h"
#include "platform/desktop/LocalUserFiles.h"
#include "platform/desktop/SystemClocks.h"
#include "platform/ffmpeg/FFmpegMediaFiles.h"
#include "platform/ffmpeg/FFmpegSampleRateConverters.h"
#include "platform/mpv/MpvMoviePlayers.h"
#include "platform/pipewire/PipeWireAudioSystem.h"
#include "platform/sndfile/SndfileAudioFiles.h"
#include "player/FileMediaPlayer.h"
#include "support/PipeWireRig.h"

namespace tallyrig {
namespace {

constexpr int kChannels = 8;
constexpr double kFrame = 1.0 / 25;
constexpr double kRate = 48000;

/// Something seen or heard at a host time.
struct Event {
  enum class Kind { kFlash, kClick, kJump, kHole, kLostCycle, kSilenceGiven, kCalledLate };

  Kind kind = Kind::kFlash;
  double seconds = 0;
  /// Of a jump: to where in the file, in seconds.
  double position = 0;
};

/// The second channel's level tells the position in the file.
constexpr int kLevelChannel = 1;
constexpr double kLowest = 0.2;
constexpr double kSecondsPerUnit = 2000;

double nowSeconds() {
  return clockSeconds(CLOCK_MONOTONIC);
}

/// Listens to the device's first two inputs, on which its outputs are heard again. The first carries a click at each
/// whole second of the file, the second a level that rises with the position.
class Ear {
 public:
  Ear(AudioSystem& audio, AudioDeviceID device, const HostClock& clock, double rate) : clock_(clock), rate_(rate) {
    if (audio.createIO(
            device, [this](const AudioCycle& cycle) { hear(cycle); }, io_) != kPlatformOk ||
        !io_ || io_->start() != kPlatformOk) {
      throw std::runtime_error("the device cannot be listened to");
    }
  }

  /// What has been heard since the last call.
  std::vector<Event> take() { return events_.take(); }

 private:
  void note(Event::Kind kind, double seconds, double position = 0) noexcept { events_.note({kind, seconds, position}); }

  void hear(const AudioCycle& cycle) noexcept {
    if (cycle.input.size() < 2 || cycle.input[0].data == nullptr || cycle.input[1].data == nullptr) return;
    const double start = clock_.seconds(cycle.inputTime.hostTime - HostTime{});
    const std::size_t frames = cycle.input[0].byteSize / sizeof(float);
    const double length = static_cast<double>(frames) / rate_;
    if (last_ > 0 && start - last_ > 1.5 * length) note(Event::Kind::kLostCycle, start);
    last_ = start;
    for (std::size_t frame = 0; frame < frames; ++frame) {
      const double time = start + static_cast<double>(frame) / rate_;
      const bool clicks = cycle.input[0].data[frame] > 0.5F;
      if (clicks && !clicked_) note(Event::Kind::kClick, time);
      clicked_ = clicks;
      const float level = cycle.input[1].data[frame];
      const bool sounds = level > 0.1F;
      if (!sounds && level_ > 0.1F) note(Event::Kind::kHole, time);
      if (sounds && std::abs(level - level_) > 1e-4F)
        note(Event::Kind::kJump, time, (level - kLowest) * kSecondsPerUnit);
      level_ = level;
    }
  }

  const HostClock& clock_;
  const double rate_;
  bool clicked_ = false;
  float level_ = 0;
  double last_ = 0;
  NotedEvents<Event> events_;
  std::unique_ptr<AudioIO> io_;
};

/// The player as the program composes it, without a window.
class Bench {
 public:
  Bench() : rig_({.quantum = 1024, .sessionManager = true}) {
    rig_.enter();
    rig_.add({.name = "duplex", .description = "Desk", .channels = kChannels});
    application_ = std::make_unique<QCoreApplication>(arguments_, nullptr);
    scheduler_ = std::make_unique<AsioScheduler>();
    audio_ = std::make_unique<PipeWireAudioSystem>(openPipeWireServer(), scheduler_->mainQueue(), log_);
    waitFor("the device", [this] {
      const auto devices = audio_->devices();
      return !devices.empty() && !devices.front().outputGroups.empty() &&
             devices.front().outputGroups.front() == kChannels;
    });
    output_ = std::make_unique<WatchedOutput>(*audio_, clock_, kLevelChannel, kRate);
    movies_ = std::make_unique<MpvMoviePlayers>(scheduler_->mainQueue());
    player_ = std::make_unique<FileMediaPlayer>(
        FileMediaPlayerServices{*output_, *scheduler_, mediaFiles_, converters_, *movies_,
                                FileAnalysisEngine({mediaFiles_, audioFiles_, userFiles_, clock_})});
    QObject::connect(player_->player(), &FileMediaPlayerModel::pictureChanged,
                     [this](const std::shared_ptr<const MoviePicture>& picture) { see(picture); });
    ear_ = std::make_unique<Ear>(*audio_, audio_->devices().front().id, clock_, kRate);
  }
  ~Bench() {
    ear_.reset();
    player_.reset();
  }
  Bench(const Bench&) = delete;
  Bench& operator=(const Bench&) = delete;

  template <typename Condition>
  void waitFor(const std::string& what, Condition condition, double seconds = 30) {
    const double deadline = nowSeconds() + seconds;
    while (!condition()) {
      if (nowSeconds() > deadline) throw std::runtime_error("waited in vain for " + what);
      runFor(0.002);
    }
  }
  void runFor(double seconds) {
    QTimer::singleShot(static_cast<int>(seconds * 1000), Qt::PreciseTimer, qApp, &QCoreApplication::quit);
    QCoreApplication::exec();
    for (const Event& event : ear_ ? ear_->take() : std::vector<Event>{}) events_.push_back(event);
    for (const auto& event : output_ ? output_->take() : std::vector<WatchedOutput::Event>{}) {
      const bool isSilence = event.kind == WatchedOutput::Event::Kind::kSilence;
      events_.push_back({isSilence ? Event::Kind::kSilenceGiven : Event::Kind::kCalledLate, event.seconds});
    }
  }

  void load(const std::filesystem::path& file, int width, int height) {
    player_->player()->setPictureSize(width, height);
    player_->loadClip(QUrl::fromLocalFile(QString::fromStdString(file.string())));
    waitFor("the clip", [this] { return isRouted() && player_->hasVideo(); });
    if (!player_->audioRoutingError().isEmpty()) throw std::runtime_error(player_->audioRoutingError().toStdString());
  }
  bool isRouted() const { return !player_->isAnalysing() && !player_->isAudioRoutePreparing(); }

  void seek(double seconds) {
    player_->scrub(seconds);
    player_->commitScrub();
  }
  void toggle() { player_->togglePlayback(); }
  bool isPlaying() const { return player_->isPlaying(); }

  /// Of all flashes since the last call that have a click within half a second: how much later the flash was, in
  /// milliseconds.
  std::vector<double> takeOffsets() {
    std::vector<double> offsets;
    for (const Event& flash : events_) {
      if (flash.kind != Event::Kind::kFlash) continue;
      for (const Event& click : events_) {
        if (click.kind == Event::Kind::kClick && std::abs(click.seconds - flash.seconds) < 0.5)
          offsets.push_back(1000 * (flash.seconds - click.seconds));
      }
    }
    events_.clear();
    return offsets;
  }
  const std::vector<Event>& events() const { return events_; }
  void forgetBefore(double seconds) {
    std::erase_if(events_, [seconds](const Event& event) { return event.seconds < seconds; });
  }
  void forget() {
    runFor(0);
    events_.clear();
  }

 private:
  void see(const std::shared_ptr<const MoviePicture>& picture) {
    const bool flashes = picture && picture->pixels[static_cast<std::size_t>(picture->height / 2 * picture->stride) +
                                                    static_cast<std::size_t>(picture->width / 2 * 4)] > 128;
    if (flashes && !flashed_) events_.push_back({Event::Kind::kFlash, nowSeconds()});
    flashed_ = flashes;
  }

  PipeWireRig rig_;
  int arguments_ = 0;
  std::unique_ptr<QCoreApplication> application_;
  SystemHostClock clock_;
  SystemWallClock wallClock_;
  Log log_{clock_, wallClock_, [](std::string_view) {}};
  std::unique_ptr<AsioScheduler> scheduler_;
  std::unique_ptr<PipeWireAudioSystem> audio_;
  std::unique_ptr<WatchedOutput> output_;
  LocalUserFiles userFiles_;
  OpenBytes openBytes_ = [this](const std::filesystem::path& path, std::unique_ptr<ByteSource>& bytes) {
    return userFiles_.openForReading(path, bytes);
  };
  FFmpegMediaFiles mediaFiles_{openBytes_};
  SndfileAudioFiles audioFiles_{openBytes_};
  FFmpegSampleRateConverters converters_;
  std::unique_ptr<MpvMoviePlayers> movies_;
  std::unique_ptr<FileMediaPlayer> player_;
  std::unique_ptr<Ear> ear_;
  std::vector<Event> events_;
  bool flashed_ = false;
};

void row(const std::string& name, const std::vector<double>& values, const char* unit, const std::string& budget) {
  std::printf("| %s | %zu | %.1f %s | %.1f %s | %.1f %s | %s |\n", name.c_str(), values.size(), quantile(values, 0.5),
              unit, quantile(values, 0.01), unit, quantile(values, 0.99), unit, budget.c_str());
  std::fflush(stdout);
}

std::string verdict(const std::vector<double>& offsets) {
  const bool isWithin = !offsets.empty() && std::all_of(offsets.begin(), offsets.end(), [](double offset) {
    return std::abs(offset) <= 1000 * kFrame;
  });
  return isWithin ? "within a frame, met" : "within a frame, MISSED";
}

void measureStarts(Bench& bench, int count) {
  std::vector<double> offsets;
  for (int start = 0; start < count; ++start) {
    bench.seek(10.5 + start);
    bench.waitFor("the sound", [&] { return bench.isRouted(); });
    bench.runFor(0.5);
    bench.forget();
    bench.toggle();
    bench.runFor(2.2);
    bench.toggle();
    bench.runFor(0.3);
    for (const double offset : bench.takeOffsets()) offsets.push_back(offset);
  }
  row("flash after click, after a start", offsets, "ms", verdict(offsets));
}

void measureSeeks(Bench& bench, int count, double length) {
  std::mt19937 random(7);
  std::uniform_real_distribution<double> place(5, length - 10);
  std::vector<double> offsets;
  std::vector<double> delays;
  bench.toggle();
  bench.runFor(1);
  for (int seek = 0; seek < count; ++seek) {
    bench.forget();
    const double asked = nowSeconds();
    const double target = place(random);
    const auto isThere = [&](const Event& event) {
      // Sound that comes late begins where the picture is by then.
      return event.kind == Event::Kind::kJump && event.seconds > asked && event.position > target - 0.1 &&
             event.position < target + 1;
    };
    bench.seek(target);
    bench.waitFor("the sound", [&] { return std::ranges::any_of(bench.events(), isThere); });
    const double heard = std::ranges::find_if(bench.events(), isThere)->seconds;
    delays.push_back(1000 * (heard - asked));
    bench.runFor(1.6);
    // A click of the place before has no flash any more.
    bench.forgetBefore(heard);
    for (const double offset : bench.takeOffsets()) offsets.push_back(offset);
  }
  bench.toggle();
  row("flash after click, after a seek", offsets, "ms", verdict(offsets));
  row("routed sound after a seek", delays, "ms", "");
}

void measureLongRun(Bench& bench, double seconds) {
  bench.seek(1.5);
  bench.waitFor("the sound", [&] { return bench.isRouted(); });
  bench.toggle();
  bench.runFor(5);
  bench.forget();
  std::atomic<bool> ends{false};
  std::thread busy([&] {
    while (!ends) {
    }
  });
  bench.runFor(seconds);
  ends = true;
  busy.join();
  const auto count = [&](Event::Kind kind) { return std::ranges::count(bench.events(), kind, &Event::kind); };
  // Where the server itself has left out a cycle, or called for one too late, nothing can be played.
  const auto isServers = [&](const Event& hole) {
    return std::ranges::any_of(bench.events(), [&](const Event& other) {
      const bool isLate = other.kind == Event::Kind::kLostCycle || other.kind == Event::Kind::kCalledLate;
      return isLate && std::abs(other.seconds - hole.seconds) < 0.1;
    });
  };
  const auto holes = std::ranges::count_if(
      bench.events(), [&](const Event& event) { return event.kind == Event::Kind::kHole && !isServers(event); });
  const auto lost = count(Event::Kind::kLostCycle);
  const auto late = count(Event::Kind::kCalledLate);
  const auto given = count(Event::Kind::kSilenceGiven);
  auto offsets = bench.takeOffsets();
  bench.toggle();
  const auto part = static_cast<std::ptrdiff_t>(std::min<std::size_t>(30, offsets.size() / 2));
  const std::vector<double> first(offsets.begin(), offsets.begin() + part);
  const std::vector<double> last(offsets.end() - part, offsets.end());
  char name[80];
  std::snprintf(name, sizeof name, "flash after click, in %.0f minutes with a core busy", seconds / 60);
  row(name, offsets, "ms", verdict(offsets));
  std::printf("| drift of the median from the first half minute to the last | | %.1f ms | | | |\n",
              quantile(last, 0.5) - quantile(first, 0.5));
  std::printf("| cycles that the server left out meanwhile | | %td | | | |\n", lost);
  std::printf("| cycles that it called the player for too late, or not | | %td | | | |\n", late);
  std::printf("| silence that the player gave | | %td | | | none, %s |\n", given, given == 0 ? "met" : "MISSED");
  std::printf("| other holes in the sound where no cycle was left out or late | | %td | | | none, %s |\n", holes,
              holes == 0 ? "met" : "MISSED");
}

void measureCost(Bench& bench, double seconds) {
  bench.toggle();
  bench.runFor(2);
  const double cpu = clockSeconds(CLOCK_PROCESS_CPUTIME_ID);
  const double began = nowSeconds();
  bench.runFor(seconds);
  std::printf("| processor, 1080p25 shown at 1280 x 720 and %d routed channels | | %.0f %% of a core | | | |\n",
              kChannels, 100 * (clockSeconds(CLOCK_PROCESS_CPUTIME_ID) - cpu) / (nowSeconds() - began));
  bench.toggle();
}

std::int64_t residentBytes() {
  std::ifstream file("/proc/self/statm");
  std::int64_t pages = 0;
  file >> pages >> pages;
  return pages * sysconf(_SC_PAGESIZE);
}

void measureRing() {
  const StreamingMediaAudio stream{"", 48000, 1024, 60};
  const std::int64_t before = residentBytes();
  StreamingMediaPlaybackSession session({stream, {}, 2, 8192, 48000});
  const std::vector<float> frames(1024 * 1024, 0.5F);
  while (session.ring().write(frames.data(), 1024) == 1024) {
  }
  const double mebibytes = static_cast<double>(residentBytes() - before) / 1048576;
  std::printf("| a session of 1024 channels with its ring full | | %.0f MiB | | | |\n", mebibytes);
}

void make(const std::filesystem::path& file, const std::string& recipe) {
  if (std::filesystem::exists(file)) return;
  const std::string command = "ffmpeg -v error -nostdin -y " + recipe + " '" + file.string() + "'";
  if (std::system(command.c_str()) != 0) throw std::runtime_error("ffmpeg makes no " + file.string());
}

/// White for one picture, and a click, at each whole second.
std::string recipe(const std::string& size, int seconds, const std::string& codec) {
  const std::string length = std::to_string(seconds);
  std::string rest;
  for (int channel = 2; channel < kChannels; ++channel) rest += "|0.1*sin(2*PI*440*t)";
  return "-f lavfi -i \"color=black:s=" + size + ":r=25:d=" + length +
         ",drawbox=color=white:t=fill:enable='eq(mod(n\\,25)\\,0)'\" -f lavfi -i "
         "\"aevalsrc='if(lt(mod(n\\,48000)\\,48)\\,0.9\\,0)|0.2+t/2000" +
         rest + "':c=octagonal:s=48000:d=" + length + "\" " + codec + " -c:a pcm_f32le -pix_fmt yuv420p -shortest";
}

int run(int minutes) {
  const std::filesystem::path folder = std::filesystem::temp_directory_path() / "tallyrig-player-bench";
  std::filesystem::create_directories(folder);
  const int length = std::max(minutes * 60 + 30, 120);
  const auto flashes = folder / ("flashes-" + std::to_string(length) + ".mov");
  make(flashes, recipe("640x360", length, "-c:v libx264 -preset ultrafast -g 25 -bf 2"));
  make(folder / "large.mov",
       "-f lavfi -i \"testsrc2=s=1920x1080:r=25:d=40\" -f lavfi -i "
       "\"aevalsrc='0.1|0.25|0|0|0|0|0|0':c=octagonal:s=48000:d=40\" "
       "-c:v libx264 -preset veryfast -c:a pcm_s16le -pix_fmt yuv420p");
  std::printf("| | n | median | 1 %% | 99 %% | budget |\n|---|---|---|---|---|---|\n");
  measureRing();
  Bench bench;
  bench.load(flashes, 640, 360);
  measureStarts(bench, 10);
  measureSeeks(bench, 60, length);
  bench.load(folder / "large.mov", 1280, 720);
  measureCost(bench, 20);
  bench.load(flashes, 640, 360);
  measureLongRun(bench, 60.0 * minutes);
  return 0;
}

}  // namespace
}  // namespace tallyrig

int main(int argc, char** argv) {
  try {
    return tallyrig::run(argc > 1 ? std::atoi(argv[1]) : 10);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "player_bench: %s\n", error.what());
    return 1;
  }
}
