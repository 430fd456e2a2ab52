#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <span>

namespace tallyrig {

/// Carries single samples from a producer queue to a device callback. The callback always gets a full buffer: what is
/// missing is silence, and the count tells so.
///
/// One producer thread and one consumer thread; each member names its side. After construction nothing allocates,
/// locks or waits. Held by shared ownership, so that a callback can keep it alive.
class RealtimeFloatRing {
 public:
  /// Room for `capacity` samples.
  explicit RealtimeFloatRing(std::int64_t capacity);
  RealtimeFloatRing(const RealtimeFloatRing&) = delete;
  RealtimeFloatRing& operator=(const RealtimeFloatRing&) = delete;

  /// Samples waiting to be read. Either side: the producer sees no less than there are, the consumer no more.
  std::int64_t availableSamples() const noexcept;

  /// Producer: samples that do not fit are lost without a report, so look at the free room first.
  void write(std::span<const float> samples) noexcept;

  /// Consumer: how many real samples came; `destination` is filled up with 0 to `count`. A `count` below 1 does
  /// nothing.
  std::int64_t read(float* destination, std::int64_t count) noexcept;

 private:
  const std::int64_t positions_;
  std::unique_ptr<float[]> storage_;
  // A cache line of its own for what each side writes.
  alignas(64) std::atomic<std::int64_t> readIndex_{0};
  alignas(64) std::atomic<std::int64_t> writeIndex_{0};
};

}  // namespace tallyrig
