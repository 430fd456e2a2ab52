#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/AudioSystem.h"
#include "platform/HostClock.h"
#include "platform/simulated/LoopbackDevice.h"

namespace tallyrig {

/// What the program works on where there is no sound server: one device of its own, "Built-in Loopback", on which
/// every output is heard again on the input of its number. The list never changes. Main thread.
class LoopbackAudioSystem : public AudioSystem {
 public:
  static constexpr AudioDeviceID kDeviceID = 1;

  /// `clock` counts the nanoseconds of CLOCK_MONOTONIC, in whatever ticks, and outlives the system.
  explicit LoopbackAudioSystem(const HostClock& clock) : device_(clock) {}

  std::vector<AudioDeviceDescription> devices() const override;
  Subscription observeDevices(std::function<void()> handler) override;
  PlatformStatus nominalSampleRate(AudioDeviceID device, double& rate) const override;
  Timing timing(AudioDeviceID device) const override;
  PlatformStatus createIO(AudioDeviceID device, AudioCycleCallback callback, std::unique_ptr<AudioIO>& io) override;
  std::string notice() const override { return {}; }

 private:
  LoopbackDevice device_;
};

}  // namespace tallyrig
