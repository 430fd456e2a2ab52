#pragma once

#include <chrono>

#include "platform/HostClock.h"
#include "platform/WallClock.h"

namespace tallyrig {

/// CLOCK_MONOTONIC; a host tick is a nanosecond. Sound server and MIDI stamps are on the same clock.
class SystemHostClock final : public HostClock {
 public:
  HostTime now() const noexcept override;
  std::uint64_t nanosFromTicks(HostDuration distance) const noexcept override { return distance.ticks; }
  HostDuration ticksFromNanos(std::uint64_t nanos) const noexcept override { return {nanos}; }
};

/// The system's clock and the user's time zone; a change of the zone counts from the next call on.
class SystemWallClock final : public WallClock {
 public:
  std::chrono::system_clock::time_point now() const override;
  std::chrono::seconds utcOffset(std::chrono::system_clock::time_point moment) const override;
};

}  // namespace tallyrig
