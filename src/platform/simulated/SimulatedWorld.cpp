#include "platform/simulated/SimulatedWorld.h"

#include <algorithm>

namespace tallyrig {

SimulatedWorld::SimulatedWorld() : SimulatedWorld(Options{}) {}

SimulatedWorld::SimulatedWorld(const Options& options)
    : random_(options.seed),
      clock_(options.tick, options.start),
      wallClock_(clock_, options.wallStart),
      log_(clock_, wallClock_, [this](std::string_view line) { logLines_.emplace_back(line); }),
      scheduler_(clock_, options.seed),
      audio_(clock_, scheduler_, options.seed),
      midi_(clock_, scheduler_, options.seed) {}

SimulatedWorld::~SimulatedWorld() {
  scheduler_.discardPending();
}

void SimulatedWorld::runFor(std::chrono::nanoseconds duration) {
  const auto end = clock_.nanos() + duration;
  while (scheduler_.runNext(end)) {
  }
  clock_.set(std::max(end, clock_.nanos()));
}

bool SimulatedWorld::runUntil(const std::function<bool()>& condition, std::chrono::nanoseconds deadline) {
  const auto end = clock_.nanos() + deadline;
  while (!condition()) {
    if (scheduler_.runNext(end)) continue;
    clock_.set(std::max(end, clock_.nanos()));
    return condition();
  }
  return true;
}

void SimulatedWorld::runPending() {
  while (scheduler_.runNext(clock_.nanos())) {
  }
}

std::size_t SimulatedWorld::logCount(std::string_view part) const {
  return static_cast<std::size_t>(std::count_if(logLines_.begin(), logLines_.end(), [&](const std::string& line) {
    return line.find(part) != std::string::npos;
  }));
}

}  // namespace tallyrig
