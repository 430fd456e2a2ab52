#pragma once

#include <memory>
#include <vector>

#include "platform/AudioSystem.h"
#include "player/StreamingMediaPlaybackSession.h"

namespace tallyrig {

/// The player's way to an output device: each cycle of the device is rendered by the session that plays. Another
/// session on the same device takes over between two cycles, so that a seek does not open the device anew.
///
/// Main thread.
class MediaAudioEngine {
 public:
  explicit MediaAudioEngine(AudioSystem& audio) : audio_(audio) {}
  ~MediaAudioEngine();
  MediaAudioEngine(const MediaAudioEngine&) = delete;
  MediaAudioEngine& operator=(const MediaAudioEngine&) = delete;

  /// Plays `session` on `device` from now on. After a status other than 0 the engine stands still.
  PlatformStatus play(AudioDeviceID device, std::shared_ptr<StreamingMediaPlaybackSession> session);
  /// Closes the device. When it returns no session is rendered.
  void stop();

 private:
  /// All that the callback reads.
  struct CallbackState {
    std::shared_ptr<StreamingMediaPlaybackSession> session;
    /// The cycle's buffers without those of no channel; its room is made beforehand.
    std::vector<AudioBuffer> buffers;
  };

  static void runCycle(CallbackState& state, const AudioCycle& cycle);
  PlatformStatus open(AudioDeviceID device, std::shared_ptr<StreamingMediaPlaybackSession> session);

  AudioSystem& audio_;
  AudioDeviceID device_ = 0;
  std::shared_ptr<CallbackState> state_;
  std::unique_ptr<AudioIO> io_;
};

}  // namespace tallyrig
