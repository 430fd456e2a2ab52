#include "reader/JamStability.h"

#include <cstdlib>

namespace tallyrig {
namespace {

/// In frames; a distance of this many no longer agrees.
constexpr std::int64_t kTolerance = 2;

bool agree(const TimecodeAnchor& earlier, const TimecodeAnchor& later, const HostClock& clock) {
  // No distance exists between different rates.
  const auto distance = earlier.extrapolated(later.hostTime, clock).signedFrameDistance(later.timecode);
  return distance && std::abs(*distance) < kTolerance;
}

}  // namespace

void JamStability::add(const TimecodeAnchor& candidate, const HostClock& clock) {
  count_ = previous_ && agree(*previous_, candidate, clock) ? count_ + 1 : 1;
  previous_ = candidate;
}

}  // namespace tallyrig
