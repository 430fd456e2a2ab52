#pragma once

#include <optional>
#include <string>
#include <vector>

#include "audio/DeviceRegistry.h"
#include "audio/LTCAudioInputHub.h"
#include "platform/simulated/SimulatedWorld.h"
#include "reader/ReaderServices.h"
#include "reader/ReaderSnapshot.h"
#include "reader/ReaderStore.h"
#include "support/LTCSignal.h"

namespace tallyrig {

/// The engine as the program composes it, over a simulated world. Devices and endpoints are added before `open`.
class Wall {
 public:
  explicit Wall(const SimulatedWorld::Options& options = {}) : world(options) {}

  /// Builds the engine; the store loads what the world's file holds.
  void open() {
    registry.emplace(world.audio(), world.midi(), world.log());
    hub.emplace(world.audio(), world.scheduler(), world.log());
    midiOutput.emplace(world.midi(), world.log());
    reservations.emplace();
    store.emplace(services(), world.preferences(), world.files());
  }

  /// The same over a file that holds these cards, and starts them as the window's first appearance does.
  void openWith(const std::vector<ReaderSnapshot>& cards) {
    world.files().put("/home/user/.local/share/Tallyrig/readers.json", *encodeSnapshots(cards));
    open();
    store->startSavedReaders();
  }

  /// Ends the engine as the end of the process does: nothing is saved or stopped by hand.
  void close() {
    store.reset();
    reservations.reset();
    midiOutput.reset();
    hub.reset();
    registry.reset();
  }

  ReaderServices services() {
    return {world.clock(), world.wallClock(), world.scheduler(), world.log(), world.audio(), world.midi(), *registry,
            *hub,          *midiOutput,       *reservations};
  }

  ReaderInstance& card(std::size_t index) { return *store->readers().at(index); }

  SimulatedWorld world;
  std::optional<DeviceRegistry> registry;
  std::optional<LTCAudioInputHub> hub;
  std::optional<MIDIOutputPortManager> midiOutput;
  std::optional<OutputReservationRegistry> reservations;
  std::optional<ReaderStore> store;
};

/// The host time of sample `position` of a device that started at `start`.
inline HostTime instantOf(HostTime start, std::int64_t position, double sampleRate, const HostClock& clock) {
  return offsetBySamples(start, position, sampleRate, clock);
}

}  // namespace tallyrig
