#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "platform/Log.h"
#include "platform/simulated/MemoryFileSystem.h"
#include "platform/simulated/MemoryPreferences.h"
#include "platform/simulated/SimulatedAudioSystem.h"
#include "platform/simulated/SimulatedClock.h"
#include "platform/simulated/SimulatedMidiSystem.h"
#include "platform/simulated/SimulatedScheduler.h"
#include "platform/simulated/SimulatedWallClock.h"

namespace tallyrig {

/// A machine on one thread and a virtual clock. A test builds a world, gives its parts to the code under test, and
/// lets time pass:
///
///     SimulatedWorld world({.seed = 7});
///     SimulatedDevice& device = world.audio().addDevice({.name = "Card", .inputGroups = {8}});
///     device.feed(2, [](std::int64_t position, std::span<float> samples) { ... });
///     LTCAudioInputHub hub(world.audio(), ...);
///     world.runFor(10s);
///     EXPECT_TRUE(world.hasLogged("LTCAudioInputHub: "));
///
/// Everything happens in `runFor`, `runUntil` and `runPending`, on the calling thread. Equal options and equal calls
/// give equal runs; print the seed, and a failure can be repeated. What the code under test has posted must be able to
/// be destroyed when the world ends, so the world is declared first.
class SimulatedWorld {
 public:
  struct Options {
    std::uint64_t seed = 1;
    TickRatio tick = {};
    /// The host clock's reading at the start, from its instant 0.
    std::chrono::nanoseconds start = std::chrono::seconds{1000};
    /// The wall clock's reading at the start, in UTC.
    std::chrono::system_clock::time_point wallStart =
        std::chrono::sys_days{std::chrono::year{2026} / 3 / 14} + std::chrono::hours{9};
  };

  SimulatedWorld();
  explicit SimulatedWorld(const Options& options);
  ~SimulatedWorld();
  SimulatedWorld(const SimulatedWorld&) = delete;
  SimulatedWorld& operator=(const SimulatedWorld&) = delete;

  /// Runs everything that falls due within `duration` and leaves the clock at its end.
  void runFor(std::chrono::nanoseconds duration);
  /// Runs until `condition` holds, which is asked before the first event and after each; false if it did not within
  /// `deadline` from now. The clock stays at the event that fulfilled it, or at the deadline.
  bool runUntil(const std::function<bool()>& condition, std::chrono::nanoseconds deadline);
  /// Runs everything that is due now, and what that adds at this instant; the clock stands.
  void runPending();

  SimulatedClock& clock() { return clock_; }
  SimulatedWallClock& wallClock() { return wallClock_; }
  SimulatedScheduler& scheduler() { return scheduler_; }
  SimulatedAudioSystem& audio() { return audio_; }
  SimulatedMidiSystem& midi() { return midi_; }
  MemoryPreferences& preferences() { return preferences_; }
  MemoryFileSystem& files() { return files_; }
  /// For the test's own draws; what the world draws for itself does not depend on them.
  std::mt19937_64& random() { return random_; }

  Log& log() { return log_; }
  /// What the log was given, oldest first.
  const std::vector<std::string>& logLines() const { return logLines_; }
  void clearLog() { logLines_.clear(); }
  /// Lines that contain `part`.
  std::size_t logCount(std::string_view part) const;
  bool hasLogged(std::string_view part) const { return logCount(part) > 0; }

 private:
  std::vector<std::string> logLines_;
  std::mt19937_64 random_;
  SimulatedClock clock_;
  SimulatedWallClock wallClock_;
  Log log_;
  MemoryPreferences preferences_;
  MemoryFileSystem files_;
  SimulatedScheduler scheduler_;
  SimulatedAudioSystem audio_;
  SimulatedMidiSystem midi_;
};

}  // namespace tallyrig
