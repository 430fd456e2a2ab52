#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "support/ExactOutput.h"
#include "support/LTCListener.h"
#include "support/Wall.h"

namespace tallyrig {

/// A generator card whose output returns over a cable to a reader card on the same device. What is sent must be the
/// encoder's samples and, to another decoder, frame after frame; what is read must be frame after frame too.
class LoopedLine {
 public:
  LoopedLine(const Timecode& start, std::uint64_t seed);

  /// Lets the line run on.
  void run(std::chrono::nanoseconds duration);
  /// What was wrong so far; empty if all is well.
  std::vector<std::string> complaints() const;

 private:
  Wall wall_;
  SimulatedDevice& desk_;
  const Timecode start_;
  ExactOutput exact_;
  LTCListener listener_;
  std::chrono::nanoseconds ran_{0};
  std::int64_t heard_ = 0;
  std::int64_t wrongHeard_ = 0;
  /// Frames from the start up to the newest one shown.
  std::int64_t read_ = 0;
  std::int64_t wrongRead_ = 0;
};

}  // namespace tallyrig
