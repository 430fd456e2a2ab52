#pragma once

#include <chrono>

namespace tallyrig {

/// The time of day as the user's clock on the wall shows it. Not for timing: it can jump. Any thread.
class WallClock {
 public:
  virtual ~WallClock() = default;

  virtual std::chrono::system_clock::time_point now() const = 0;

  /// What the user's time zone adds to UTC at `moment`.
  virtual std::chrono::seconds utcOffset(std::chrono::system_clock::time_point moment) const = 0;
};

}  // namespace tallyrig
