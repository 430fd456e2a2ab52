#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "platform/AudioSystem.h"
#include "platform/simulated/DeviceListObservers.h"
#include "platform/simulated/SimulatedCable.h"
#include "platform/simulated/SimulatedClock.h"
#include "platform/simulated/SimulatedDevice.h"
#include "platform/simulated/SimulatedScheduler.h"

namespace tallyrig {

/// The audio devices of a simulated world. Devices and cables live as long as the system; an unplugged device keeps
/// its feeds, sinks and cables until it returns. Each change of the list posts one notice on the main queue.
///
/// The world's thread.
class SimulatedAudioSystem : public AudioSystem {
 public:
  SimulatedAudioSystem(SimulatedClock& clock, SimulatedScheduler& scheduler, std::uint64_t seed);

  static constexpr std::size_t kLast = static_cast<std::size_t>(-1);

  /// A new device, plugged in at that place of the list.
  SimulatedDevice& addDevice(SimulatedDeviceOptions options, std::size_t place = kLast);
  /// Takes the device from the list. Its callbacks end at once and for ever; starting one again gives -ENODEV.
  void unplug(SimulatedDevice& device);
  /// Brings an unplugged device back, under a new id unless one is given.
  void plugIn(SimulatedDevice& device, std::size_t place = kLast, AudioDeviceID id = 0);
  /// A cable, from now on.
  SimulatedCable& connect(SimulatedDevice& from, std::size_t outputChannel, SimulatedDevice& to,
                          std::size_t inputChannel, const SimulatedCableOptions& options = {});
  void setNotice(std::string notice);
  /// Tells the observers without a change.
  void announceChange() { observers_.notify(); }

  std::vector<AudioDeviceDescription> devices() const override;
  Subscription observeDevices(std::function<void()> handler) override;
  PlatformStatus nominalSampleRate(AudioDeviceID device, double& rate) const override;
  Timing timing(AudioDeviceID device) const override;
  PlatformStatus createIO(AudioDeviceID device, AudioCycleCallback callback, std::unique_ptr<AudioIO>& io) override;
  std::string notice() const override { return notice_; }

 private:
  friend class SimulatedDevice;

  struct Wire {
    SimulatedCable cable;
    SimulatedDevice* from;
    SimulatedDevice* to;
  };

  const SimulatedClock& clock() const { return clock_; }
  std::chrono::nanoseconds origin() const { return origin_; }
  /// 0 up to `most`.
  std::chrono::nanoseconds draw(std::chrono::nanoseconds most);
  /// Settles anew how long each device waits for the devices that its cables come from.
  void updateWaits();
  std::chrono::nanoseconds waitOf(const SimulatedDevice& device, std::vector<const SimulatedDevice*>& asking) const;
  SimulatedDevice* find(AudioDeviceID id) const;

  SimulatedClock& clock_;
  SimulatedScheduler& scheduler_;
  const std::chrono::nanoseconds origin_;
  std::mt19937_64 random_;
  std::vector<std::unique_ptr<SimulatedDevice>> all_;
  std::vector<std::unique_ptr<Wire>> wires_;
  /// Those plugged in, in the system's order.
  std::vector<SimulatedDevice*> listed_;
  AudioDeviceID nextID_ = 40;
  std::string notice_;
  DeviceListObservers observers_;
};

}  // namespace tallyrig
