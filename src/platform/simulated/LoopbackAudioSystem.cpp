#include "platform/simulated/LoopbackAudioSystem.h"

#include <cerrno>
#include <utility>

namespace tallyrig {

std::vector<AudioDeviceDescription> LoopbackAudioSystem::devices() const {
  return {{kDeviceID, "Built-in Loopback", {LoopbackDevice::kChannels}, {LoopbackDevice::kChannels}}};
}

Subscription LoopbackAudioSystem::observeDevices(std::function<void()>) {
  return {};
}

PlatformStatus LoopbackAudioSystem::nominalSampleRate(AudioDeviceID device, double& rate) const {
  if (device != kDeviceID) return -ENODEV;
  rate = LoopbackDevice::kRate;
  return kPlatformOk;
}

AudioSystem::Timing LoopbackAudioSystem::timing(AudioDeviceID device) const {
  if (device != kDeviceID) return {};
  return {LoopbackDevice::kQuantum, 0, 0, 0, 0};
}

PlatformStatus LoopbackAudioSystem::createIO(AudioDeviceID device, AudioCycleCallback callback,
                                             std::unique_ptr<AudioIO>& io) {
  io.reset();
  if (device != kDeviceID) return -ENODEV;
  io = device_.createIO(std::move(callback));
  return kPlatformOk;
}

}  // namespace tallyrig
