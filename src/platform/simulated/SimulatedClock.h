#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>

#include "platform/HostClock.h"

namespace tallyrig {

/// The length of one host tick: `numerator` / `denominator` nanoseconds, both above 0.
struct TickRatio {
  std::uint32_t numerator = 1;
  std::uint32_t denominator = 1;
};

/// A host clock that stands still until it is told to move. Counts whole nanoseconds; ticks are derived from them,
/// rounded down, in exact arithmetic. A conversion too large for 64 bits stops at the largest value.
///
/// Reading: any thread, real-time safe. Moving: the world's thread.
class SimulatedClock : public HostClock {
 public:
  explicit SimulatedClock(TickRatio ratio = {}, std::chrono::nanoseconds start = std::chrono::nanoseconds{0});

  HostTime now() const noexcept override;
  std::uint64_t nanosFromTicks(HostDuration distance) const noexcept override;
  HostDuration ticksFromNanos(std::uint64_t nanos) const noexcept override;

  /// Nanoseconds since instant 0 of the clock.
  std::chrono::nanoseconds nanos() const noexcept {
    return std::chrono::nanoseconds{nanos_.load(std::memory_order_relaxed)};
  }
  /// Any instant from 0 on, also an earlier one.
  void set(std::chrono::nanoseconds instant) noexcept { nanos_.store(instant.count(), std::memory_order_relaxed); }
  void advance(std::chrono::nanoseconds distance) noexcept { set(nanos() + distance); }

 private:
  const TickRatio ratio_;
  std::atomic<std::int64_t> nanos_;
};

}  // namespace tallyrig
