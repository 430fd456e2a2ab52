#pragma once

#include "platform/simulated/SimulatedMidiSystem.h"

namespace tallyrig {

/// What the program works on where there is no MIDI service: one destination of its own, "Built-in MIDI Loopback",
/// whose messages arrive at the source of that name, at once and with the instant for which they were sent. The list
/// never changes.
class LoopbackMidiSystem : public SimulatedMidiSystem {
 public:
  /// Both outlive the system.
  LoopbackMidiSystem(const HostClock& clock, Scheduler& scheduler);
};

}  // namespace tallyrig
