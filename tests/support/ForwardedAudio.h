#pragma once

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "platform/AudioSystem.h"

namespace tallyrig {

/// Another audio system, call for call: what a stand-in changes it overrides.
class ForwardedAudio : public AudioSystem {
 public:
  explicit ForwardedAudio(AudioSystem& audio) : audio_(audio) {}

  std::vector<AudioDeviceDescription> devices() const override { return audio_.devices(); }
  Subscription observeDevices(std::function<void()> handler) override {
    return audio_.observeDevices(std::move(handler));
  }
  PlatformStatus nominalSampleRate(AudioDeviceID device, double& rate) const override {
    return audio_.nominalSampleRate(device, rate);
  }
  Timing timing(AudioDeviceID device) const override { return audio_.timing(device); }
  PlatformStatus createIO(AudioDeviceID device, AudioCycleCallback callback, std::unique_ptr<AudioIO>& io) override {
    return audio_.createIO(device, std::move(callback), io);
  }
  std::string notice() const override { return audio_.notice(); }

 private:
  AudioSystem& audio_;
};

}  // namespace tallyrig
