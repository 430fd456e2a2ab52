#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/AudioSystem.h"
#include "platform/SerialQueue.h"
#include "platform/simulated/DeviceEngine.h"
#include "platform/simulated/DeviceTimeline.h"

namespace tallyrig {

class SimulatedAudioSystem;

struct SimulatedDeviceOptions {
  /// Any bytes.
  std::string name = {};
  /// Channels of each stream, 0 allowed; no streams: the side is missing.
  std::vector<int> inputGroups = {};
  std::vector<int> outputGroups = {};
  /// Nominal, in hertz.
  double rate = 48000;
  /// Frames in a cycle, 1 to 16,384.
  std::uint32_t quantum = 512;
  /// How much faster than nominal the device's own clock runs, in parts per million.
  double driftPpm = 0;
  /// How long after the start of the world its position 0 passes.
  std::chrono::nanoseconds phase{0};
  BufferArrangement arrangement = BufferArrangement::kOneBufferPerGroup;
  /// A buffer of no channels before the others.
  bool hasEmptyFirstInput = false;
  bool hasEmptyFirstOutput = false;
};

/// An audio device of a simulated world, made by `SimulatedAudioSystem::addDevice`.
///
/// Its sample positions count from the start of the world on, at the device's own rate, whether it runs or not. While
/// a callback is started there is a cycle at each multiple of the quantum. The cycle at position p plays the positions
/// from p on, its `outputTime` being the instant of p, and has heard the quantum before p, its `inputTime` being the
/// instant of the first of these. The stamps are exact, whatever delays the call.
///
/// The world's thread, between events or from a feed or sink. A wrong channel throws `std::out_of_range`.
class SimulatedDevice {
 public:
  SimulatedDevice(SimulatedAudioSystem& system, SimulatedDeviceOptions options, std::shared_ptr<SerialQueue> lane);

  AudioDeviceID id() const { return id_; }
  const std::string& name() const { return options_.name; }
  bool isPluggedIn() const { return isPluggedIn_; }

  // Signals.
  void feed(std::size_t inputChannel, SignalSource source) { engine_.feed(inputChannel, std::move(source)); }
  void onOutput(std::size_t outputChannel, SignalSink sink) { engine_.onOutput(outputChannel, std::move(sink)); }
  /// The instant at which a sample position is at the connector.
  HostTime timeOf(std::int64_t position) const;
  /// The first sample position of the next cycle's output.
  std::int64_t nextPosition() const;

  // Changes, effective with the next cycle, also while it runs. A new quantum makes the input of that cycle overlap
  // what was heard before, or leave some of it out, as the stamps say.
  void setRate(double rate);
  void setDrift(double ppm);
  void setQuantum(std::uint32_t frames);
  /// Each call comes up to `most` late, drawn from the seed.
  void setJitter(std::chrono::nanoseconds most);
  /// No cycle begins within `duration` from now; then the positions have moved on.
  void stall(std::chrono::nanoseconds duration);
  void setHostTimeValid(bool isValid) { isHostTimeValid_ = isValid; }
  /// What the output buffers hold before each callback; 0 unless set.
  void setOutputBefore(float value) { engine_.setOutputBefore(value); }
  /// The buffer keeps its size but its `data` is null.
  void withholdInputData(std::size_t buffer, bool withhold) { engine_.input().withholdData(buffer, withhold); }
  void setName(std::string name) { options_.name = std::move(name); }
  /// What `timing` reports, besides the quantum.
  void setReportedTiming(const AudioSystem::Timing& timing) { timing_ = timing; }

  /// What the system answers as long as it stands here.
  struct Failures {
    PlatformStatus nominalRate = kPlatformOk;
    PlatformStatus createIO = kPlatformOk;
    /// `createIO` succeeds and gives nothing.
    bool createsNoIO = false;
    PlatformStatus start = kPlatformOk;
  };
  Failures& failures() { return failures_; }

  struct Counters {
    /// Callbacks registered, starts that succeeded, stops of a started one (its destruction included), and cycles.
    int opens = 0;
    int starts = 0;
    int stops = 0;
    std::int64_t cycles = 0;
  };
  const Counters& counters() const { return counters_; }
  /// Callbacks registered now.
  std::size_t liveIOs() const { return liveIOs_; }
  bool isRunning() const { return engine_.hasRunningClient(); }

 private:
  friend class SimulatedAudioSystem;
  class IO;

  AudioDeviceDescription description() const;
  AudioSystem::Timing timing() const;
  PlatformStatus createIO(AudioCycleCallback callback, std::unique_ptr<AudioIO>& io);
  PlatformStatus start(DeviceClient& client, int incarnation);
  void stop(DeviceClient& client);
  void unplug();
  void plugIn(AudioDeviceID id);
  /// How late the cycles must come for what its cables need from other devices.
  void setWait(std::chrono::nanoseconds wait) { wait_ = wait; }

  std::int64_t cycleAfter(std::chrono::nanoseconds instant) const;
  double actualRate() const { return options_.rate * (1 + options_.driftPpm * 1e-6); }
  void changeRate();
  void scheduleCycle(std::int64_t position);
  void runCycle();
  AudioTimeStamp stamp(std::int64_t position) const;

  SimulatedAudioSystem& system_;
  SimulatedDeviceOptions options_;
  std::shared_ptr<SerialQueue> lane_;
  DeviceTimeline timeline_;
  DeviceEngine engine_;
  AudioDeviceID id_ = 0;
  bool isPluggedIn_ = true;
  /// Counts the times it was plugged in; a callback belongs to one of them.
  int incarnation_ = 0;
  /// The scheduled cycle, and what makes an outdated one recognisable.
  std::int64_t nextPosition_ = 0;
  std::uint64_t generation_ = 0;
  /// A position at which a cycle begins.
  std::int64_t gridOrigin_ = 0;
  std::chrono::nanoseconds jitter_{0};
  std::chrono::nanoseconds wait_{0};
  std::chrono::nanoseconds stalledUntil_{0};
  bool isHostTimeValid_ = true;
  AudioSystem::Timing timing_{std::nullopt, 0, 0, 0, 0};
  Failures failures_;
  Counters counters_;
  std::size_t liveIOs_ = 0;
};

}  // namespace tallyrig
