#include "platform/pipewire/PipeWireAudioSystem.h"

#include <utility>

#include "platform/pipewire/AudioGraph.h"
#include "platform/pipewire/PipeWireAudioIO.h"
#include "platform/pipewire/PublishedState.h"

namespace tallyrig {

class PipeWireAudioSystem::Published : public PublishedState<AudioGraph::State> {
 public:
  using PublishedState::PublishedState;
};

PipeWireAudioSystem::PipeWireAudioSystem(PipeWireServer server, SerialQueue& mainQueue, Log& log)
    : published_(std::make_shared<Published>(mainQueue)),
      graph_(std::make_shared<AudioGraph>(
          std::move(server),
          AudioGraph::Observer{
              .changed = [published = published_](const AudioGraph::State& state) { published->set(state); },
              .log = [&log](const std::string& text) { log.line(text); }})) {
  published_->beginAnnouncing();
}

PipeWireAudioSystem::~PipeWireAudioSystem() {
  graph_->dismissObserver();
}

bool PipeWireAudioSystem::isAvailable() const {
  return published_->state().available;
}

std::vector<AudioDeviceDescription> PipeWireAudioSystem::devices() const {
  return published_->state().devices;
}

Subscription PipeWireAudioSystem::observeDevices(std::function<void()> handler) {
  return published_->observe(std::move(handler));
}

PlatformStatus PipeWireAudioSystem::nominalSampleRate(AudioDeviceID device, double& rate) const {
  return graph_->nominalSampleRate(device, rate);
}

AudioSystem::Timing PipeWireAudioSystem::timing(AudioDeviceID device) const {
  return graph_->timing(device);
}

PlatformStatus PipeWireAudioSystem::createIO(AudioDeviceID device, AudioCycleCallback callback,
                                             std::unique_ptr<AudioIO>& io) {
  io.reset();
  std::unique_ptr<DeviceSession> session;
  const PlatformStatus status = graph_->openSession(device, std::move(callback), session);
  if (status == kPlatformOk) io = std::make_unique<PipeWireAudioIO>(graph_, std::move(session));
  return status;
}

std::optional<AudioDeviceID> PipeWireAudioSystem::defaultOutput() const {
  return published_->state().defaultOutput;
}

std::string PipeWireAudioSystem::notice() const {
  return isAvailable() ? "" : "No sound server is running.";
}

}  // namespace tallyrig
