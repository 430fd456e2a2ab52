#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <span>
#include <vector>

#include "audio/RealtimeInterleavedFloatRing.h"
#include "platform/AudioFile.h"
#include "platform/AudioSystem.h"
#include "player/StreamingMediaAudio.h"

namespace tallyrig {

/// One run of a file's sound from one start position: a decoder fills the ring, a device callback empties it and puts
/// each channel of the file on the output channel it is assigned to. A seek or another routing is a new session.
///
/// Shared by three threads: the main thread controls, the decoding queue writes the ring, the callback reads it.
/// Each member says which; the flags may be read anywhere.
class StreamingMediaPlaybackSession {
 public:
  struct Settings {
    StreamingMediaAudio stream;
    /// Index: channel of the file; value: output channel from 0, negative for none.
    std::vector<int> assignments;
    /// Output channels from this one on stay silent.
    int outputChannelCount = 0;
    /// The longest cycle that is served; at least 1024 counts.
    std::int64_t maximumFramesToRender = 0;
    /// Frames a second in the ring: the device's rate, hertz.
    double outputRate = 0;
  };

  explicit StreamingMediaPlaybackSession(Settings settings);
  StreamingMediaPlaybackSession(const StreamingMediaPlaybackSession&) = delete;
  StreamingMediaPlaybackSession& operator=(const StreamingMediaPlaybackSession&) = delete;

  /// Four seconds of sound, at most 32 MiB of it, and never less than 8192 frames unless these 32 MiB forbid it.
  static std::int64_t ringCapacity(double rate, int channelCount);

  const Settings& settings() const { return settings_; }

  /// Ends the session for good: silence from the next cycle on, and a reading that is under way ends. Main thread.
  void cancel();
  bool isCancelled() const noexcept { return isCancelled_.load(std::memory_order_acquire); }

  /// What the user wants. Main thread.
  void setWantsPlayback(bool wants) noexcept { wantsPlayback_.store(wants); }
  bool wantsPlayback() const noexcept { return wantsPlayback_.load(std::memory_order_acquire); }
  /// Whether the callback may take from the ring. While it may not the ring keeps what it holds. Main thread.
  void setRendering(bool renders) noexcept { isRendering_.store(renders); }
  bool isRendering() const noexcept { return isRendering_.load(std::memory_order_acquire); }

  /// Makes `reader` the one that `cancel` ends; false if the session has been cancelled, and then the reader is too.
  /// Decoding queue.
  bool registerReader(std::shared_ptr<AudioReader> reader);
  /// Forgets the reader, if it is this one. Decoding queue.
  void clearReader(const std::shared_ptr<AudioReader>& reader);

  /// True for the first caller only, who may start a decoder. Main thread.
  bool claimDecoder() noexcept;

  /// The decoder is the only writer, the callback the only reader.
  RealtimeInterleavedFloatRing& ring() noexcept { return ring_; }

  /// The callback passes over that many frames before it plays on; what the ring does not hold then is passed over as
  /// it comes. Main thread.
  void skip(std::int64_t frames) noexcept { framesToSkip_.fetch_add(frames); }

  /// Callback: one cycle. Clears all buffers, then adds each channel of the file to its output; what shares an output
  /// is summed. Where nothing may or can be played there is silence. Real-time safe.
  void render(std::span<AudioBuffer> buffers) noexcept;

  /// Frames taken from the ring so far, played or passed over. Any thread.
  std::int64_t renderedFrames() const noexcept { return renderedFrames_.load(std::memory_order_acquire); }

 private:
  /// Whether nothing is left to be passed over.
  bool skipSome(std::int64_t cycleFrames) noexcept;
  void mix(std::span<AudioBuffer> buffers, std::int64_t frames) noexcept;

  const Settings settings_;
  const std::int64_t renderScratchFrameCapacity_;
  RealtimeInterleavedFloatRing ring_;
  std::unique_ptr<float[]> renderScratch_;
  std::atomic<bool> isCancelled_{false};
  std::atomic<bool> wantsPlayback_{false};
  std::atomic<bool> isRendering_{false};
  std::atomic<bool> decoderClaimed_{false};
  std::atomic<std::int64_t> renderedFrames_{0};
  std::atomic<std::int64_t> framesToSkip_{0};
  /// Never taken by the callback.
  std::mutex readerLock_;
  std::shared_ptr<AudioReader> activeReader_;
};

}  // namespace tallyrig
