#pragma once

#include <benchmark/benchmark.h>
#include <time.h>

#include <algorithm>
#include <limits>

namespace tallyrig {

/// Processor time that this thread has used, in seconds.
inline double threadSeconds() {
  timespec used{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &used);
  return static_cast<double>(used.tv_sec) + static_cast<double>(used.tv_nsec) / 1e9;
}

/// Times two ways of doing the same work, in turns, so that whatever else the machine does falls on both alike. The
/// cheapest pass of each counts, as the one that was disturbed least; `prepare` comes before each and does not count.
/// Reports `ratio`, the cost of `ours` over that of `bare`, and for a stretch of `audioSeconds` how many times faster
/// than real time each of them is.
template <typename Bare, typename Ours, typename Prepare>
void compareCosts(benchmark::State& state, double audioSeconds, Bare bare, Ours ours, Prepare prepare) {
  const auto secondsOf = [](auto& work) {
    const double begin = threadSeconds();
    work();
    return threadSeconds() - begin;
  };
  double bareSeconds = std::numeric_limits<double>::max();
  double ourSeconds = std::numeric_limits<double>::max();
  for (auto pass : state) {
    prepare();
    bareSeconds = std::min(bareSeconds, secondsOf(bare));
    ourSeconds = std::min(ourSeconds, secondsOf(ours));
  }
  state.counters["ratio"] = ourSeconds / bareSeconds;
  state.counters["bare_x_realtime"] = audioSeconds / bareSeconds;
  state.counters["ours_x_realtime"] = audioSeconds / ourSeconds;
}

template <typename Bare, typename Ours>
void compareCosts(benchmark::State& state, double audioSeconds, Bare bare, Ours ours) {
  compareCosts(state, audioSeconds, bare, ours, [] {});
}

}  // namespace tallyrig
