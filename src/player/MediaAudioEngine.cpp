#include "player/MediaAudioEngine.h"

#include <cstddef>
#include <system_error>
#include <utility>

namespace tallyrig {
namespace {

// More streams than any device has.
constexpr std::size_t kMostBuffers = 1024;
constexpr PlatformStatus kNoDevice = -static_cast<PlatformStatus>(std::errc::no_such_device);

}  // namespace

MediaAudioEngine::~MediaAudioEngine() {
  stop();
}

PlatformStatus MediaAudioEngine::play(AudioDeviceID device, std::shared_ptr<StreamingMediaPlaybackSession> session) {
  if (io_ && device == device_) {
    // What has played until now is freed here, not in the callback.
    io_->betweenCycles([&] { state_->session.swap(session); });
    return kPlatformOk;
  }
  stop();
  const PlatformStatus status = open(device, std::move(session));
  if (status != kPlatformOk) stop();
  return status;
}

PlatformStatus MediaAudioEngine::open(AudioDeviceID device, std::shared_ptr<StreamingMediaPlaybackSession> session) {
  state_ = std::make_shared<CallbackState>();
  state_->session = std::move(session);
  state_->buffers.reserve(kMostBuffers);
  device_ = device;
  const auto status = audio_.createIO(
      device, [state = state_](const AudioCycle& cycle) { runCycle(*state, cycle); }, io_);
  if (status != kPlatformOk) return status;
  return io_ ? io_->start() : kNoDevice;
}

void MediaAudioEngine::stop() {
  if (io_) io_->stop();
  io_.reset();
  state_.reset();
}

void MediaAudioEngine::runCycle(CallbackState& state, const AudioCycle& cycle) {
  state.buffers.clear();
  for (const AudioBuffer& buffer : cycle.output) {
    if (buffer.channelCount > 0 && state.buffers.size() < kMostBuffers) state.buffers.push_back(buffer);
  }
  state.session->render(state.buffers);
}

}  // namespace tallyrig
