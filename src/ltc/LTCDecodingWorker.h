#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>

#include "audio/RealtimeAudioChunkRing.h"
#include "ltc/LTCTimecodeDecoder.h"
#include "platform/AudioSystem.h"
#include "platform/HostClock.h"
#include "platform/Log.h"
#include "platform/SerialQueue.h"

namespace tallyrig {

/// The half of an LTC receiver that works off the main thread: takes audio chunks from the device callback, decodes
/// them on its own queue, judges when frames have stopped, and posts what it finds to the main queue.
class LTCDecodingWorker : public std::enable_shared_from_this<LTCDecodingWorker> {
 public:
  /// Each is called on the main thread.
  struct Events {
    std::function<void(const LTCTimecodeDecoder::DecodedFrame&)> frame;
    /// The largest absolute sample of the newest chunk, 0 to 1; at most 20 times a second.
    std::function<void(float)> peak;
    /// No frame came for 80 ms. The argument tells a stale time-out from a live one, see `isCurrentTimeout`.
    std::function<void(std::uint64_t)> timeout;
  };

  LTCDecodingWorker(const HostClock& clock, Scheduler& scheduler, Log& log, Events events);

  /// Copies one logical channel of a cycle, counted across all buffers in order, into the ring. Does nothing if no
  /// buffer holds the channel. Device callback; real-time safe.
  static void capture(RealtimeAudioChunkRing& ring, std::int64_t channel, std::span<const AudioBuffer> buffers,
                      std::uint32_t frames, double sampleRate, const AudioTimeStamp& time) noexcept;

  /// Forgets all code heard so far and cancels every pending time-out; returns when that is done. Main thread.
  void resetNow();
  /// The same, and drops the audio that waits to be decoded, some time after it returns. The callback must have been
  /// detached. Main thread.
  void resetAndDiscardLater();
  /// Forgets all code heard so far, some time after it returns. Main thread.
  void resetDecoderLater();

  /// Decodes what the callback brings until the timer is destroyed.
  [[nodiscard]] std::unique_ptr<RepeatingTimer> startDraining();

  /// Starts the 80 ms within which a frame must come, anew. Any thread but a real-time one.
  void armTimeout();
  /// Whether nothing has re-armed or cancelled the time-out since `generation`. Any thread.
  bool isCurrentTimeout(std::uint64_t generation) const noexcept;

  const std::shared_ptr<RealtimeAudioChunkRing>& ring() const { return ring_; }

 private:
  void drain();
  void handleFrame(const LTCTimecodeDecoder::DecodedFrame& frame);
  void cancelTimeouts() noexcept;

  const HostClock& clock_;
  SerialQueue& main_;
  Log& log_;
  std::shared_ptr<const Events> events_;
  std::shared_ptr<SerialQueue> queue_;
  /// Shared with the callback's handler.
  std::shared_ptr<RealtimeAudioChunkRing> ring_;
  /// Each new value cancels every older pending time-out.
  std::atomic<std::uint64_t> receiveTimeoutGeneration_{0};

  // Decoding queue only.
  LTCTimecodeDecoder decoder_;
  HostTime lastPeakPublishHostTime_;
};

}  // namespace tallyrig
