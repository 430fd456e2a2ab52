#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <tuple>
#include <vector>

#include "platform/desktop/TimerPlan.h"

namespace tallyrig {

/// A timer in a table. `due` hands one event to the timer's queue, which may run it at once.
struct TimedEvent {
  TimerPlan plan;
  bool repeats = false;
  Task due;
  /// Set by the table; separates events of one instant.
  std::uint64_t order = 0;
};

/// Timers in the order in which they fall due. Not thread-safe: its owner locks.
class TimerTable {
 public:
  using Instant = TimerPlan::Instant;

  void add(std::shared_ptr<TimedEvent> event);
  /// Does nothing for an event that is not in the table.
  void remove(const TimedEvent& event);

  /// When the next event comes; absent if the table is empty.
  std::optional<Instant> earliest() const;

  /// The events that have come by `now`, by expiry, then by deadline, then in the order they were added. A repeating
  /// one stays in the table with its next deadline.
  std::vector<std::shared_ptr<TimedEvent>> takeDue(Instant now);

  /// Empties the table.
  std::vector<std::shared_ptr<TimedEvent>> takeAll();

  std::size_t size() const noexcept { return events_.size(); }

 private:
  using Key = std::tuple<Instant, Instant, std::uint64_t>;
  static Key keyOf(const TimedEvent& event);

  std::map<Key, std::shared_ptr<TimedEvent>> events_;
  std::uint64_t nextOrder_ = 0;
};

}  // namespace tallyrig
