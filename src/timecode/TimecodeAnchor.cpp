#include "timecode/TimecodeAnchor.h"

#include <cmath>

namespace tallyrig {

Timecode TimecodeAnchor::extrapolated(HostTime now, const HostClock& clock) const noexcept {
  if (now <= hostTime) return timecode;
  const double seconds = clock.seconds(now - hostTime);
  return timecode.advanced(static_cast<std::int64_t>(std::floor(seconds * exactFrameRate(timecode.frameRate))));
}

HostTime offsetBySamples(HostTime base, std::int64_t samples, double sampleRate, const HostClock& clock) noexcept {
  const double nanos = std::round(std::abs(static_cast<double>(samples)) / sampleRate * 1e9);
  const HostDuration distance = clock.ticksFromNanos(static_cast<std::uint64_t>(nanos));
  return samples < 0 ? base - distance : base + distance;
}

}  // namespace tallyrig

std::size_t std::hash<tallyrig::TimecodeAnchor>::operator()(const tallyrig::TimecodeAnchor& anchor) const noexcept {
  return std::hash<tallyrig::Timecode>{}(anchor.timecode) * 31 + std::hash<tallyrig::HostTime>{}(anchor.hostTime);
}
