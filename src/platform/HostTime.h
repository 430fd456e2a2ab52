#pragma once

#include <compare>
#include <cstdint>
#include <functional>

namespace tallyrig {

/// A distance between two instants of the host clock, in host ticks. Plain value, safe on any thread.
struct HostDuration {
  std::uint64_t ticks = 0;

  constexpr auto operator<=>(const HostDuration&) const = default;
};

/// An instant of the host clock, in host ticks. Audio and MIDI time stamps and anchors all share this scale.
/// A type of its own, so that an instant, a distance and a count of samples or frames cannot be mixed up.
/// Plain value, safe on any thread.
struct HostTime {
  std::uint64_t ticks = 0;

  constexpr auto operator<=>(const HostTime&) const = default;
};

/// The distance from `earlier` to `later`; 0 where `later` is not later.
constexpr HostDuration operator-(HostTime later, HostTime earlier) {
  return {later.ticks > earlier.ticks ? later.ticks - earlier.ticks : 0};
}

constexpr HostTime operator+(HostTime time, HostDuration distance) {
  return {time.ticks + distance.ticks};
}

/// The instant `distance` before `time`; never before instant 0.
constexpr HostTime operator-(HostTime time, HostDuration distance) {
  return {time.ticks > distance.ticks ? time.ticks - distance.ticks : 0};
}

}  // namespace tallyrig

template <>
struct std::hash<tallyrig::HostTime> {
  std::size_t operator()(tallyrig::HostTime time) const noexcept { return std::hash<std::uint64_t>{}(time.ticks); }
};
