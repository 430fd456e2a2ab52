#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/Log.h"
#include "platform/SoundServer.h"

namespace tallyrig {

/// The sound server's devices while it is available, and the built-in loopback's while it is not. A change of sides is
/// a change of the device list like any other; the IOs of the side that went stay valid and are destroyed as usual.
///
/// The loopback's ids are offset, so that a card's device id never means a device of the other side; the server's own
/// ids stay below `kFallbackIDs`. A call with an id of the side that is away gives -ENODEV.
///
/// Main thread.
class FailoverAudioSystem final : public AudioSystem, public DefaultOutput {
 public:
  static constexpr AudioDeviceID kFallbackIDs = 0x8000'0000;

  /// All three must outlive this object and the IOs made by it.
  FailoverAudioSystem(SoundServer& server, AudioSystem& fallback, Log& log);

  std::vector<AudioDeviceDescription> devices() const override;
  Subscription observeDevices(std::function<void()> handler) override;
  PlatformStatus nominalSampleRate(AudioDeviceID device, double& rate) const override;
  Timing timing(AudioDeviceID device) const override;
  PlatformStatus createIO(AudioDeviceID device, AudioCycleCallback callback, std::unique_ptr<AudioIO>& io) override;
  std::string notice() const override;
  std::optional<AudioDeviceID> defaultOutput() const override;

 private:
  struct Observers {
    std::map<std::uint64_t, std::shared_ptr<const std::function<void()>>> handlers;
    std::uint64_t next = 0;
  };

  bool owns(AudioDeviceID device) const { return (device >= kFallbackIDs) != onServer_; }
  AudioSystem& active() const;
  AudioDeviceID idWithin(AudioDeviceID device) const { return onServer_ ? device : device - kFallbackIDs; }
  void serverChanged();
  void fallbackChanged();
  void notify();

  SoundServer& server_;
  AudioSystem& fallback_;
  Log& log_;
  /// As the observers have been told.
  bool onServer_;
  const std::shared_ptr<Observers> observers_ = std::make_shared<Observers>();
  Subscription serverSubscription_;
  Subscription fallbackSubscription_;
};

}  // namespace tallyrig
