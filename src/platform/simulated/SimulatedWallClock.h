#pragma once

#include <chrono>

#include "platform/WallClock.h"
#include "platform/simulated/SimulatedClock.h"

namespace tallyrig {

/// A wall clock that moves with a simulated host clock and can be set, as a user or a time server would.
/// The world's thread.
class SimulatedWallClock : public WallClock {
 public:
  using TimePoint = std::chrono::system_clock::time_point;

  SimulatedWallClock(const SimulatedClock& clock, TimePoint start)
      : clock_(clock), origin_(start), setAt_(clock.nanos()) {}

  TimePoint now() const override {
    return origin_ + std::chrono::duration_cast<TimePoint::duration>(clock_.nanos() - setAt_);
  }
  std::chrono::seconds utcOffset(TimePoint) const override { return utcOffset_; }

  void set(TimePoint moment) {
    origin_ = moment;
    setAt_ = clock_.nanos();
  }
  /// The same offset for every moment.
  void setUtcOffset(std::chrono::seconds offset) { utcOffset_ = offset; }

 private:
  const SimulatedClock& clock_;
  TimePoint origin_;
  std::chrono::nanoseconds setAt_;
  std::chrono::seconds utcOffset_{0};
};

}  // namespace tallyrig
