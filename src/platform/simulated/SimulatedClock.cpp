#include "platform/simulated/SimulatedClock.h"

#include <limits>

#include "platform/simulated/WideInteger.h"

namespace tallyrig {
namespace {

std::uint64_t scaled(std::uint64_t value, std::uint32_t numerator, std::uint32_t denominator) noexcept {
  const UInt128 result = static_cast<UInt128>(value) * numerator / denominator;
  constexpr std::uint64_t kLargest = std::numeric_limits<std::uint64_t>::max();
  return result > kLargest ? kLargest : static_cast<std::uint64_t>(result);
}

}  // namespace

SimulatedClock::SimulatedClock(TickRatio ratio, std::chrono::nanoseconds start)
    : ratio_(ratio), nanos_(start.count()) {}

HostTime SimulatedClock::now() const noexcept {
  return {ticksFromNanos(static_cast<std::uint64_t>(nanos().count())).ticks};
}

std::uint64_t SimulatedClock::nanosFromTicks(HostDuration distance) const noexcept {
  return scaled(distance.ticks, ratio_.numerator, ratio_.denominator);
}

HostDuration SimulatedClock::ticksFromNanos(std::uint64_t nanos) const noexcept {
  return {scaled(nanos, ratio_.denominator, ratio_.numerator)};
}

}  // namespace tallyrig
