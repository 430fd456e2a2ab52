#pragma once

#include <atomic>
#include <cstdint>
#include <memory>

#include "platform/HostTime.h"

namespace tallyrig {

/// Carries whole buffers of one audio channel, each with its time stamp, from a device callback to an ordinary queue.
/// Both sides work on the slots in place, so that a sample is copied once on its way.
///
/// One producer thread and one consumer thread; each member names its side. After construction nothing allocates,
/// locks or waits. A ring of N slots holds N - 1 chunks. Held by shared ownership, so that a callback can keep it
/// alive.
class RealtimeAudioChunkRing {
 public:
  struct Slot {
    /// Room for `maximumFrames` samples, which the ring owns.
    float* samples = nullptr;
    /// Valid samples, never above `maximumFrames`.
    std::int64_t count = 0;
    /// The device's rate at capture, hertz.
    double sampleRate = 0;
    /// The instant of the first sample; 0 unless `hasHostTime`.
    HostTime hostTime;
    bool hasHostTime = false;
    /// The largest absolute sample, capped at 1.
    float peak = 0;
  };

  /// `capacity` slots (at least 2) of `maximumFrames` samples each.
  RealtimeAudioChunkRing(std::int64_t capacity, std::int64_t maximumFrames);
  RealtimeAudioChunkRing(const RealtimeAudioChunkRing&) = delete;
  RealtimeAudioChunkRing& operator=(const RealtimeAudioChunkRing&) = delete;

  std::int64_t maximumFrames() const noexcept { return maximumFrames_; }

  /// Producer: the slot to fill, or null if the ring is full, which counts as one dropped chunk.
  Slot* beginPush() noexcept;
  /// Producer: publishes the slot that `beginPush` gave.
  void endPush() noexcept;

  /// Consumer: the oldest chunk, or null if there is none. It stays the consumer's until `pop`.
  const Slot* front() const noexcept;
  /// Consumer: gives the slot of `front` back to the producer.
  void pop() noexcept;
  /// Consumer: chunks refused since the last call.
  std::uint64_t takeDroppedCount() noexcept;
  /// Consumer: forgets every waiting chunk.
  void discard() noexcept;

 private:
  std::int64_t following(std::int64_t index) const noexcept { return index + 1 == capacity_ ? 0 : index + 1; }

  const std::int64_t capacity_;
  const std::int64_t maximumFrames_;
  std::unique_ptr<float[]> samples_;
  std::unique_ptr<Slot[]> slots_;
  // A cache line of its own for what each side writes.
  alignas(64) std::atomic<std::int64_t> writeIndex_{0};
  alignas(64) std::atomic<std::int64_t> readIndex_{0};
  alignas(64) std::atomic<std::uint64_t> droppedChunks_{0};
};

}  // namespace tallyrig
