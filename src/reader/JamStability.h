#pragma once

#include <cstdint>
#include <optional>

#include "timecode/TimecodeAnchor.h"

namespace tallyrig {

/// Counts how many anchors in a row agree, which is how jam sync judges an input. Two successive anchors agree when
/// they have the same rate and the earlier one, carried to the instant of the later one, lies less than two frames from
/// it. Plain value.
class JamStability {
 public:
  /// Counts `candidate`: one more if it agrees with the one before, from 1 anew if it does not.
  void add(const TimecodeAnchor& candidate, const HostClock& clock);
  /// From 0 anew; the next anchor is still compared with the last one.
  void restart() { count_ = 0; }
  void reset() { *this = {}; }

  std::int64_t count() const { return count_; }

 private:
  std::int64_t count_ = 0;
  std::optional<TimecodeAnchor> previous_;
};

}  // namespace tallyrig
