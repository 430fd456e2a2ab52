#pragma once

#include "platform/HostClock.h"
#include "timecode/Timecode.h"

namespace tallyrig {

/// A timecode tied to the instant at which it was true. Whatever moves on the screen or leaves on a wire is computed
/// from an anchor and the present host time. Any thread, real-time safe.
struct TimecodeAnchor {
  Timecode timecode;
  HostTime hostTime;

  bool operator==(const TimecodeAnchor&) const = default;

  /// The timecode current at `now`, by the exact frame rate. Never runs backwards: an instant that is not later than
  /// the anchor's own gives its timecode as it stands.
  Timecode extrapolated(HostTime now, const HostClock& clock) const noexcept;
};

/// The instant `samples` after `base` (before it, if negative) at `sampleRate` hertz: the distance in nanoseconds,
/// rounded half away from zero, then in ticks; never before instant 0. Any thread, real-time safe.
HostTime offsetBySamples(HostTime base, std::int64_t samples, double sampleRate, const HostClock& clock) noexcept;

}  // namespace tallyrig

template <>
struct std::hash<tallyrig::TimecodeAnchor> {
  std::size_t operator()(const tallyrig::TimecodeAnchor& anchor) const noexcept;
};
