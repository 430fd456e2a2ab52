#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <vector>

#include "platform/MidiSystem.h"

namespace tallyrig {

/// An input or output port of a client.
struct SimulatedMidiPort {
  MIDIClientRef client = 0;
  /// Empty for an output port.
  MidiReadCallback read;
  /// The sources that an input port is connected to.
  std::vector<MIDIEndpointRef> sources;
  bool isDisposed = false;

  bool isInput() const { return read != nullptr; }
};

/// The ports of a `SimulatedMidiSystem`'s clients, by number. One thread at a time.
class SimulatedMidiPorts {
 public:
  void add(MIDIPortRef port, MIDIClientRef client, MidiReadCallback read);
  /// Null where there is no such port.
  std::shared_ptr<SimulatedMidiPort> remove(MIDIPortRef port);
  std::vector<std::shared_ptr<SimulatedMidiPort>> removeAllOf(MIDIClientRef client);
  std::size_t count() const { return ports_.size(); }
  /// Null where there is no such port.
  SimulatedMidiPort* findInput(MIDIPortRef port) const;
  SimulatedMidiPort* findOutput(MIDIPortRef port) const;

  void disconnectAll(MIDIEndpointRef source);
  /// In the order of their numbers. What a port does while they are called may end others: ask `isDisposed`.
  std::vector<std::shared_ptr<SimulatedMidiPort>> connectedTo(MIDIEndpointRef source) const;

 private:
  SimulatedMidiPort* find(MIDIPortRef port) const;

  std::map<MIDIPortRef, std::shared_ptr<SimulatedMidiPort>> ports_;
};

}  // namespace tallyrig
