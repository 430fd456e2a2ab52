#include "platform/pipewire/PipeWireAudioSystem.h"

#include <map>
#include <mutex>
#include <utility>

#include "platform/pipewire/AudioGraph.h"
#include "platform/pipewire/PipeWireAudioIO.h"

namespace tallyrig {

/// What the loop thread hands to the main thread: the newest state, and one notice for any number of changes.
class PipeWireAudioSystem::Published : public std::enable_shared_from_this<Published> {
 public:
  explicit Published(SerialQueue& mainQueue) : mainQueue_(mainQueue) {}

  // Loop thread.
  void set(const AudioGraph::State& state) {
    {
      const std::lock_guard lock(mutex_);
      state_ = state;
      if (!announcing_ || std::exchange(noticePosted_, true)) return;
    }
    mainQueue_.post([weak = weak_from_this()] {
      if (const auto self = weak.lock()) self->notify();
    });
  }

  // Main thread.

  /// The first list is no change.
  void beginAnnouncing() {
    const std::lock_guard lock(mutex_);
    announcing_ = true;
  }

  AudioGraph::State state() const {
    const std::lock_guard lock(mutex_);
    return state_;
  }

  Subscription observe(std::function<void()> handler) {
    const int key = nextObserver_++;
    observers_[key] = std::make_shared<std::function<void()>>(std::move(handler));
    return Subscription([weak = weak_from_this(), key] {
      if (const auto self = weak.lock()) self->observers_.erase(key);
    });
  }

 private:
  void notify() {
    {
      const std::lock_guard lock(mutex_);
      noticePosted_ = false;
    }
    // A handler may add and remove observers, itself included.
    const auto observers = observers_;
    for (const auto& [key, handler] : observers) {
      if (observers_.contains(key)) (*handler)();
    }
  }

  SerialQueue& mainQueue_;
  mutable std::mutex mutex_;
  AudioGraph::State state_;
  bool announcing_ = false;
  bool noticePosted_ = false;
  std::map<int, std::shared_ptr<std::function<void()>>> observers_;
  int nextObserver_ = 0;
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

std::string PipeWireAudioSystem::notice() const {
  return isAvailable() ? "" : "No sound server is running.";
}

}  // namespace tallyrig
