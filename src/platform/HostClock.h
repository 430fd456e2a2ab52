#pragma once

#include <cstdint>

#include "platform/HostTime.h"

namespace tallyrig {

/// The one monotonic clock that everything in the program is timed by.
///
/// All members: any thread, real-time safe.
class HostClock {
 public:
  virtual ~HostClock() = default;

  virtual HostTime now() const noexcept = 0;
  virtual std::uint64_t nanosFromTicks(HostDuration distance) const noexcept = 0;
  virtual HostDuration ticksFromNanos(std::uint64_t nanos) const noexcept = 0;

  /// A distance in seconds: whole nanoseconds, then divided.
  double seconds(HostDuration distance) const noexcept { return static_cast<double>(nanosFromTicks(distance)) / 1e9; }

  /// A distance in milliseconds: whole nanoseconds, then divided.
  double milliseconds(HostDuration distance) const noexcept {
    return static_cast<double>(nanosFromTicks(distance)) / 1e6;
  }
};

}  // namespace tallyrig
