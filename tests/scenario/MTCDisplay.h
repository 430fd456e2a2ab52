#pragma once

#include <optional>
#include <vector>

#include "mtc/MTCReceiver.h"
#include "platform/simulated/SimulatedWorld.h"

namespace tallyrig {

/// An MTC receiver that listens to one source, and what a display on it would show.
class MTCDisplay {
 public:
  /// Both must outlive this.
  MTCDisplay(SimulatedWorld& world, const SimulatedMidiSource& source)
      : world_(world), receiver{world.clock(), world.scheduler(), world.log(), world.midi()} {
    receiver.setSelectedSource(MIDISourceDevice{source.endpoint(), source.name()});
    receiver.reconnect();
    QObject::connect(&receiver, &MTCReceiver::currentAnchorChanged,
                     [this](const TimecodeAnchor& anchor) { anchors.push_back(anchor); });
    world.runPending();
  }

  /// Absent while no code arrives.
  std::optional<Timecode> shown() const {
    if (!receiver.isReceiving()) return std::nullopt;
    return receiver.currentAnchor()->extrapolated(world_.clock().now(), world_.clock());
  }

 private:
  SimulatedWorld& world_;

 public:
  MTCReceiver receiver;
  /// All since the beginning.
  std::vector<TimecodeAnchor> anchors;
};

}  // namespace tallyrig
