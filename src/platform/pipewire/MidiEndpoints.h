#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "platform/MidiSystem.h"
#include "platform/pipewire/GraphModel.h"

namespace tallyrig {

/// One MIDI port of the graph, as the program lists it.
struct MidiEndpoint {
  MIDIEndpointRef number = 0;
  std::string name;
  /// An out-port is a source, an in-port a destination.
  GraphPort port;
};

/// The MIDI ports of the graph that other programs and devices offer. Each is an endpoint of its own, since one node
/// bridges many devices. Not thread-safe.
///
/// A port is called what its maker calls it, or else after its node and itself. Where that is taken by a port of the
/// same direction a number follows, as in "Keys (2)"; a port keeps name and number for as long as it exists, whatever
/// comes and goes beside it.
class MidiEndpoints {
 public:
  /// Takes over what the graph lists, without the ports of the client `ownClient`.
  void update(const GraphModel& graph, std::string_view ownClient);
  /// The server has gone: its serials mean nothing any more. Numbers are not used again.
  void clear() { endpoints_.clear(); }

  /// In the order in which the ports appeared.
  std::vector<MidiEndpointDescription> list(PortDirection direction) const;
  /// Null if there is none of that number and direction.
  const MidiEndpoint* find(MIDIEndpointRef number, PortDirection direction) const;

 private:
  std::string freeName(const std::string& wanted, PortDirection direction) const;

  /// By the serials of the ports.
  std::map<std::uint64_t, MidiEndpoint> endpoints_;
  MIDIEndpointRef highest_ = 0;
};

}  // namespace tallyrig
