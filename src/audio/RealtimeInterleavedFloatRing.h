#pragma once

#include <atomic>
#include <cstdint>
#include <memory>

namespace tallyrig {

/// Carries interleaved frames of a fixed channel count from a decoding worker to a render callback. A frame is one
/// sample of every channel.
///
/// One producer thread and one consumer thread; each member names its side. After construction nothing allocates,
/// locks or waits. Held by shared ownership, so that a callback can keep it alive.
class RealtimeInterleavedFloatRing {
 public:
  /// Room for `capacityFrames` frames (at least 1) of `channelCount` floats (at least 1).
  RealtimeInterleavedFloatRing(std::int64_t channelCount, std::int64_t capacityFrames);
  RealtimeInterleavedFloatRing(const RealtimeInterleavedFloatRing&) = delete;
  RealtimeInterleavedFloatRing& operator=(const RealtimeInterleavedFloatRing&) = delete;

  std::int64_t channelCount() const noexcept { return channelCount_; }

  /// Frames waiting to be read. Either side: the producer sees no less than there are, the consumer no more.
  std::int64_t availableFrames() const noexcept;

  /// Producer: how many of `frames` frames were taken; the caller keeps the rest and offers it again.
  std::int64_t write(const float* source, std::int64_t frames) noexcept;

  /// Consumer: how many frames came. What is left of `destination` is not touched.
  std::int64_t read(float* destination, std::int64_t frames) noexcept;

 private:
  const std::int64_t channelCount_;
  const std::int64_t positions_;
  std::unique_ptr<float[]> storage_;
  // A cache line of its own for what each side writes.
  alignas(64) std::atomic<std::int64_t> readFrameIndex_{0};
  alignas(64) std::atomic<std::int64_t> writeFrameIndex_{0};
};

}  // namespace tallyrig
