#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <span>
#include <vector>

#include "platform/AudioSystem.h"
#include "platform/simulated/CycleBuffers.h"
#include "platform/simulated/OutputHistory.h"
#include "platform/simulated/SimulatedCable.h"

namespace tallyrig {

/// Fills `samples` with what an input channel hears from `position` on, a sample position of its device.
/// The samples are silent beforehand.
using SignalSource = std::function<void(std::int64_t position, std::span<float> samples)>;
/// Takes what an output channel plays from `position` on.
using SignalSink = std::function<void(std::int64_t position, std::span<const float> samples)>;

/// One callback registered on a device.
struct DeviceClient {
  AudioCycleCallback callback;
  bool isRunning = false;
};

/// What a device does in one cycle: hears its feeds and cables, calls its running clients, and plays the sum of what
/// they wrote. Knows nothing of when a cycle comes.
///
/// Everything runs on the thread of the cycles, or while none can run. Only the callbacks run in real-time scope;
/// nothing else here promises to be real-time safe. A wrong channel throws `std::out_of_range`.
class DeviceEngine {
 public:
  DeviceEngine(CycleBuffers input, CycleBuffers output);

  void add(std::shared_ptr<DeviceClient> client);
  /// Also from a feed or sink during a cycle.
  void remove(const DeviceClient& client);
  bool hasRunningClient() const;
  void stopAll();

  /// Replaces the channel's feed; an empty source silences it. Feed and cables of a channel add up.
  void feed(std::size_t inputChannel, SignalSource source);
  void plugIn(std::size_t inputChannel, SimulatedCable& cable);
  /// Adds a sink.
  void onOutput(std::size_t outputChannel, SignalSink sink);
  OutputHistory& history(std::size_t outputChannel);

  /// What the output buffers hold before each callback: silence, unless a test wants to see what a client leaves.
  void setOutputBefore(float value) { outputBefore_ = value; }
  CycleBuffers& input() { return input_; }

  /// The cycle that plays the positions from `position` on and has heard those before it.
  void runCycle(std::int64_t position, std::uint32_t frames, AudioTimeStamp inputTime, AudioTimeStamp outputTime);

  bool isInCallback() const noexcept { return isInCallback_; }
  /// Runs `change` under the rules of a callback, as one.
  void runAsCallback(const std::function<void()>& change);

 private:
  struct Input {
    SignalSource feed;
    std::vector<SimulatedCable*> cables;
  };
  struct Output {
    OutputHistory history;
    std::vector<SignalSink> sinks;
    std::vector<float> mix;
  };

  void hear(std::int64_t position, std::uint32_t frames);
  void call(DeviceClient& client, const AudioCycle& cycle);
  void play(std::int64_t position);
  Output& outputAt(std::size_t channel);

  CycleBuffers input_;
  CycleBuffers output_;
  std::vector<std::shared_ptr<DeviceClient>> clients_;
  std::map<std::size_t, Input> inputs_;
  std::map<std::size_t, Output> outputs_;
  std::vector<float> heard_;
  float outputBefore_ = 0;
  bool isInCallback_ = false;
  bool isInCycle_ = false;
};

}  // namespace tallyrig
