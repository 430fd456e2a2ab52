#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/Log.h"
#include "platform/SerialQueue.h"
#include "platform/SoundServer.h"
#include "platform/pipewire/PipeWireServer.h"

namespace tallyrig {

class AudioGraph;

/// The audio devices of the PipeWire sound server, as found in the user's session. A device's number is the serial of
/// its node; the host tick of its time stamps is the nanosecond of CLOCK_MONOTONIC.
///
/// A server that is missing at the start, or dies, is awaited for ever: the list is empty meanwhile, and everything is
/// enumerated anew when it returns. An `AudioIO` outlives both the server and this object; it resumes by itself when
/// its device or the server comes back. Main thread.
class PipeWireAudioSystem final : public SoundServer {
 public:
  /// `mainQueue` and `log` must outlive this object.
  PipeWireAudioSystem(PipeWireServer server, SerialQueue& mainQueue, Log& log);
  ~PipeWireAudioSystem() override;
  PipeWireAudioSystem(const PipeWireAudioSystem&) = delete;
  PipeWireAudioSystem& operator=(const PipeWireAudioSystem&) = delete;

  bool isAvailable() const override;
  std::vector<AudioDeviceDescription> devices() const override;
  Subscription observeDevices(std::function<void()> handler) override;

  /// -ENOTCONN without a server, -ENODEV for an unknown device, -ENODATA if the server does not say.
  PlatformStatus nominalSampleRate(AudioDeviceID device, double& rate) const override;
  Timing timing(AudioDeviceID device) const override;

  /// Takes some tens of milliseconds, at worst two seconds. -ENOTCONN without a server, -ENODEV for an unknown device,
  /// -EIO if the server refuses, -ETIMEDOUT if it does not answer.
  PlatformStatus createIO(AudioDeviceID device, AudioCycleCallback callback, std::unique_ptr<AudioIO>& io) override;

  std::string notice() const override;
  std::optional<AudioDeviceID> defaultOutput() const override;

 private:
  class Published;

  std::shared_ptr<Published> published_;
  std::shared_ptr<AudioGraph> graph_;
};

}  // namespace tallyrig
