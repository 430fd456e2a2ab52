#pragma once

#include <memory>

#include "platform/AudioSystem.h"
#include "platform/pipewire/AudioGraph.h"

namespace tallyrig {

/// One open session of the graph, as the program holds it.
class PipeWireAudioIO final : public AudioIO {
 public:
  PipeWireAudioIO(std::shared_ptr<AudioGraph> graph, std::unique_ptr<DeviceSession> session);
  ~PipeWireAudioIO() override;
  PipeWireAudioIO(const PipeWireAudioIO&) = delete;
  PipeWireAudioIO& operator=(const PipeWireAudioIO&) = delete;

  /// -ENOTCONN without a server, -ENODEV while the device is away.
  PlatformStatus start() override;
  void stop() override;
  void betweenCycles(const std::function<void()>& change) override;
  bool isCallbackContext() const noexcept override;

 private:
  const std::shared_ptr<AudioGraph> graph_;
  std::unique_ptr<DeviceSession> session_;
};

}  // namespace tallyrig
