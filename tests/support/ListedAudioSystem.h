#pragma once

#include <vector>

#include "platform/AudioSystem.h"

namespace tallyrig {

/// An audio system whose devices can be listed and nothing else.
class ListedAudioSystem : public AudioSystem {
 public:
  std::vector<AudioDeviceDescription> devices() const override { return listed; }
  Subscription observeDevices(std::function<void()>) override { return {}; }
  PlatformStatus nominalSampleRate(AudioDeviceID, double&) const override { return kNotSupported; }
  Timing timing(AudioDeviceID) const override { return {}; }
  PlatformStatus createIO(AudioDeviceID, AudioCycleCallback, std::unique_ptr<AudioIO>&) override {
    return kNotSupported;
  }
  std::string notice() const override { return {}; }

  std::vector<AudioDeviceDescription> listed;

 private:
  static constexpr PlatformStatus kNotSupported = -95;
};

}  // namespace tallyrig
