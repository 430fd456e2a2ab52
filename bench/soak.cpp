// A day of a disturbed rig of eight cards, and an hour of code at each frame rate, in the simulated world. Prints
// Markdown tables. Usage: soak [HOURS [SEED]]; a failure prints its seed, and the same seed repeats it.

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "ProcessUsage.h"
#include "support/LoopedLine.h"
#include "support/SoakRig.h"

namespace tallyrig {
namespace {

using namespace std::chrono_literals;

constexpr auto kLineHour = 1h;

/// Whether the rig held for that long.
bool runRig(std::chrono::seconds length, std::uint64_t seed) {
  const double began = clockSeconds(CLOCK_THREAD_CPUTIME_ID);
  SoakRig rig(seed);
  rig.run(length);
  const double used = clockSeconds(CLOCK_THREAD_CPUTIME_ID) - began;
  if (rig.failure()) {
    std::printf("FAILED: %s\n", rig.failure()->c_str());
    return false;
  }
  const SoakRig::Counts& counts = rig.counts();
  const auto row = [](const char* what, double value) { std::printf("| %s | %.0f |\n", what, value); };
  std::printf("| eight cards, seed %llu | |\n|---|---|\n", static_cast<unsigned long long>(seed));
  row("simulated hours", static_cast<double>(length.count()) / 3600);
  row("times real time, by CPU time", static_cast<double>(length.count()) / used);
  row("disturbances", static_cast<double>(counts.disturbances));
  row("starts of an output", static_cast<double>(counts.outputStarts));
  row("changes of a jam state", static_cast<double>(counts.jamTransitions));
  row("published changes checked", static_cast<double>(counts.changes));
  row("displays compared with the truth", static_cast<double>(counts.timesCompared));
  row("frames heard at the outputs", static_cast<double>(counts.framesHeard));
  return true;
}

bool runLine(MTCFrameRate rate) {
  const double began = clockSeconds(CLOCK_THREAD_CPUTIME_ID);
  LoopedLine line({23, 30, 0, 0, rate}, 1);
  line.run(kLineHour);
  const double used = clockSeconds(CLOCK_THREAD_CPUTIME_ID) - began;
  for (const std::string& complaint : line.complaints()) {
    std::printf("FAILED: an hour at %s over midnight: %s\n", rateText(rate), complaint.c_str());
  }
  if (!line.complaints().empty()) return false;
  std::printf("| %s | %.0f |\n", rateText(rate), std::chrono::duration<double>(kLineHour).count() / used);
  return true;
}

}  // namespace
}  // namespace tallyrig

int main(int count, char** arguments) {
  using namespace tallyrig;
  const long hours = count > 1 ? std::strtol(arguments[1], nullptr, 10) : 24;
  const std::uint64_t seed = count > 2 ? std::strtoull(arguments[2], nullptr, 10) : 1;
  if (hours < 1) {
    std::fprintf(stderr, "soak: the hours are a whole number from 1 on\n");
    return 2;
  }
  bool holds = runRig(std::chrono::hours(hours), seed);
  std::printf("\n| an hour over midnight at | times real time, by CPU time |\n|---|---|\n");
  for (const MTCFrameRate rate :
       {MTCFrameRate::fps24, MTCFrameRate::fps25, MTCFrameRate::fps2997, MTCFrameRate::fps30}) {
    holds = runLine(rate) && holds;
  }
  return holds ? 0 : 1;
}
