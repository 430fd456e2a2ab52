#pragma once

#include <algorithm>
#include <cstdint>

#include "platform/HostTime.h"

namespace tallyrig {

/// The time of one cycle of the graph, as MIDI needs it: host ticks are nanoseconds of CLOCK_MONOTONIC, offsets are
/// samples from the cycle's beginning. Plain value, real-time safe.
struct MidiCycle {
  static constexpr std::uint64_t kSecond = 1'000'000'000;

  /// The nominal beginning, not the time of waking.
  HostTime start;
  std::uint32_t frames = 0;
  /// In hertz.
  std::uint32_t rate = 0;

  HostDuration distanceOf(std::uint32_t samples) const { return {(samples * kSecond + rate / 2) / rate}; }
  HostDuration duration() const { return distanceOf(frames); }
  HostTime end() const { return start + duration(); }

  /// When an event that this cycle brought was on the wire: like sound, it was recorded one cycle before.
  HostTime instantOfInput(std::uint32_t offset) const { return start + distanceOf(offset) - duration(); }

  /// The sample nearest to `when`, within the cycle.
  std::uint32_t offsetOf(HostTime when) const {
    const std::uint64_t ahead = std::min((when - start).ticks, duration().ticks);
    return std::min(static_cast<std::uint32_t>((ahead * rate + kSecond / 2) / kSecond), frames - 1);
  }
};

}  // namespace tallyrig
