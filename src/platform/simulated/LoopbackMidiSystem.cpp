#include "platform/simulated/LoopbackMidiSystem.h"

namespace tallyrig {
namespace {

constexpr const char* kName = "Built-in MIDI Loopback";
/// Nothing is drawn from it: the cable has neither jitter nor loss.
constexpr std::uint64_t kSeed = 1;

}  // namespace

LoopbackMidiSystem::LoopbackMidiSystem(const HostClock& clock, Scheduler& scheduler)
    : SimulatedMidiSystem(clock, scheduler, kSeed) {
  // A record would grow for as long as the program runs.
  constexpr bool kKeepsRecord = false;
  SimulatedMidiDestination& destination = addDestination(kName, kKeepsRecord);
  connect(destination, addSource(kName));
}

}  // namespace tallyrig
