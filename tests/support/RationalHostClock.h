#pragma once

#include "platform/HostClock.h"

namespace tallyrig {

/// A host clock that stands still until it is set, with a tick of `numerator / denominator` nanoseconds.
class RationalHostClock : public HostClock {
 public:
  explicit RationalHostClock(std::uint64_t numerator = 1, std::uint64_t denominator = 1)
      : numerator_(numerator), denominator_(denominator) {}

  HostTime now() const noexcept override { return now_; }
  std::uint64_t nanosFromTicks(HostDuration distance) const noexcept override {
    return scaled(distance.ticks, numerator_, denominator_);
  }
  HostDuration ticksFromNanos(std::uint64_t nanos) const noexcept override {
    return {scaled(nanos, denominator_, numerator_)};
  }

  void set(HostTime time) { now_ = time; }
  void advanceNanos(std::uint64_t nanos) { now_ = now_ + ticksFromNanos(nanos); }

 private:
  static std::uint64_t scaled(std::uint64_t value, std::uint64_t by, std::uint64_t over) noexcept {
    return value / over * by + value % over * by / over;
  }

  std::uint64_t numerator_;
  std::uint64_t denominator_;
  HostTime now_;
};

}  // namespace tallyrig
