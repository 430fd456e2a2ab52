#pragma once

#include <string>
#include <vector>

#include "platform/Log.h"

namespace tallyrig {

/// A wall clock that stands at midnight UTC.
class MidnightWallClock : public WallClock {
 public:
  std::chrono::system_clock::time_point now() const override { return {}; }
  std::chrono::seconds utcOffset(std::chrono::system_clock::time_point) const override { return {}; }
};

/// A log that keeps its lines for the test to read. At a host clock that stands still, a timed line begins with
/// `kTimedPrefix`.
class RecordedLog {
 public:
  static constexpr const char* kTimedPrefix = "[00:00:00.000 +0.000ms] ";

  explicit RecordedLog(const HostClock& clock)
      : log_(clock, wallClock_, [this](std::string_view line) { lines.emplace_back(line); }) {}

  Log& log() { return log_; }

  std::vector<std::string> lines;

 private:
  MidnightWallClock wallClock_;
  Log log_;
};

}  // namespace tallyrig
