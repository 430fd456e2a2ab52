#pragma once

#include <chrono>
#include <cstdint>
#include <vector>

#include "platform/simulated/WideInteger.h"

namespace tallyrig {

/// An instant in units of 2^-48 nanoseconds, so that sample periods add up without drift over months.
struct FineTime {
  Int128 units = 0;

  static FineTime fromNanos(std::chrono::nanoseconds nanos) { return {static_cast<Int128>(nanos.count()) << 48}; }
  /// The first whole nanosecond not before the instant.
  std::chrono::nanoseconds roundedUp() const;
  std::chrono::nanoseconds rounded() const;

  bool operator<(FineTime other) const { return units < other.units; }
};

/// The sample clock of a device: which sample position passes its connector at which instant. Position 0 passes at the
/// origin. The rate may change from some position on. Plain value, one thread at a time; reading is real-time safe.
class DeviceTimeline {
 public:
  DeviceTimeline(std::chrono::nanoseconds origin, double framesPerSecond);

  /// From `position` on, or from the last change on if that lies later.
  void changeRate(std::int64_t position, double framesPerSecond);

  /// When the present rate began, or will begin.
  FineTime lastChange() const { return segments_.back().start; }

  FineTime timeAt(std::int64_t position) const;

  struct Place {
    std::int64_t position;
    /// How far on the way to the next position, 0 up to 1.
    double fraction;
  };
  Place placeAt(FineTime time) const;

  /// Whether the two clocks run at exactly one rate at that instant.
  bool hasRateOf(const DeviceTimeline& other, FineTime time) const;

 private:
  struct Segment {
    std::int64_t position;
    FineTime start;
    Int128 unitsPerFrame;
  };
  const Segment& segmentAt(FineTime time) const;

  /// Oldest first; the recent ones are kept.
  std::vector<Segment> segments_;
};

}  // namespace tallyrig
