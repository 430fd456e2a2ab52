#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <span>

#include "audio/RealtimeFloatRing.h"
#include "platform/AudioSystem.h"
#include "platform/HostClock.h"

namespace tallyrig {

/// The half of an LTC output that the device callback runs: moves encoded samples from a ring to one channel of the
/// device, and publishes which sample was played when. Positions count samples taken by the device since the start.
///
/// Held by shared ownership by the producer and by the callback's handler. Each member names its side.
class LTCOutputRenderer {
 public:
  /// The longest cycle that is served.
  static constexpr std::int64_t kLargestCycle = 8192;

  /// `channel` is logical, from 0. The ring has room for `ringCapacity` samples.
  LTCOutputRenderer(std::int64_t channel, std::int64_t ringCapacity, const HostClock& clock);

  /// Callback: one cycle. With `clearOutput` all buffers are silenced first. Real-time safe.
  void render(std::span<AudioBuffer> buffers, const AudioTimeStamp& time, bool clearOutput) noexcept;

  /// Producer side of the ring.
  RealtimeFloatRing& ring() noexcept { return ring_; }

  /// Producer: samples taken by the device so far, those of an underrun included.
  std::int64_t renderedSampleOffset() const noexcept { return renderedSampleOffset_.load(std::memory_order_acquire); }

  /// Producer: the instant at which the sample at `offset` is, was or will be at the connector, as the device's time
  /// stamps tell; the present instant before the first cycle.
  HostTime hostTimeOf(std::int64_t offset, double sampleRate) const noexcept;

  /// Producer: from this sample on there is silence.
  void requestStopAt(std::int64_t offset) noexcept {
    requestedStopSampleOffset_.store(offset, std::memory_order_release);
  }

  /// Producer: whether a cycle since the last call came up short.
  bool takeUnderrun() noexcept { return underrunPending_.exchange(false, std::memory_order_acq_rel); }

 private:
  void publish(std::int64_t position, std::int64_t frames, const AudioTimeStamp& time) noexcept;

  const std::int64_t channel_;
  const HostClock& clock_;
  RealtimeFloatRing ring_;
  std::unique_ptr<float[]> scratch_ = std::make_unique<float[]>(kLargestCycle);
  std::atomic<std::int64_t> renderedSampleOffset_{0};
  /// Odd while the two fields that belong together are being written.
  std::atomic<std::uint64_t> stampSequence_{0};
  std::atomic<std::int64_t> callbackSampleOffset_{0};
  std::atomic<std::uint64_t> callbackHostTime_{0};
  /// Negative: none.
  std::atomic<std::int64_t> requestedStopSampleOffset_{-1};
  std::atomic<bool> underrunPending_{false};
};

}  // namespace tallyrig
