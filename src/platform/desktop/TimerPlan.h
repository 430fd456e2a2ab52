#pragma once

#include <chrono>

#include "platform/SerialQueue.h"

namespace tallyrig {

/// When a timer's events come: the deadlines of a schedule, each put off within the leeway to an instant that the
/// timers of the whole program share. Plain value.
class TimerPlan {
 public:
  using Instant = std::chrono::steady_clock::time_point;

  /// A first event in the past counts as due at `start`; an interval below 1 ns counts as 1 ns.
  TimerPlan(const TimerSchedule& schedule, Instant start);

  /// When the next event should come.
  Instant deadline() const noexcept { return deadline_; }

  /// When the next event does come: at the deadline, or later by at most the leeway. Timers of one leeway meet on the
  /// same instants, and those of a longer leeway on some of them.
  Instant expiry() const noexcept;

  /// Goes on to the schedule's first deadline after `now`. Deadlines that have passed by then are one event.
  void advance(Instant now) noexcept;

 private:
  std::chrono::nanoseconds interval_;
  std::chrono::nanoseconds grid_;
  Instant deadline_;
};

}  // namespace tallyrig
