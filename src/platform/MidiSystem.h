#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/HostTime.h"
#include "platform/PlatformStatus.h"

namespace tallyrig {

/// Numbers of the MIDI service, 0 for none. An endpoint keeps its number while its port exists, and no number is used
/// twice in a run.
using MIDIEndpointRef = std::uint32_t;
using MIDIClientRef = std::uint32_t;
using MIDIPortRef = std::uint32_t;

/// One source or destination as the service lists it.
struct MidiEndpointDescription {
  MIDIEndpointRef endpoint = 0;
  /// UTF-8 if the system is honest; may be empty.
  std::string name;

  bool operator==(const MidiEndpointDescription&) const = default;
};

/// MIDI 1.0 bytes that arrived together. Valid during the callback only.
struct MidiPacket {
  /// When the bytes were on the wire; 0 where the system cannot say.
  HostTime hostTime;
  std::span<const std::uint8_t> bytes;
};

/// Called on the service's reading thread, one call at a time for a port. It may post to a queue but must not block.
using MidiReadCallback = std::function<void(std::span<const MidiPacket>)>;

/// The MIDI endpoints of the machine, and the ways to them. Main thread, unless a member says otherwise; nothing here
/// is real-time safe. A number that is not, or no longer, known gives a status other than 0.
class MidiSystem {
 public:
  virtual ~MidiSystem() = default;

  /// In the system's order.
  virtual std::vector<MidiEndpointDescription> sources() const = 0;
  virtual std::vector<MidiEndpointDescription> destinations() const = 0;

  /// A client is told of each change of the endpoints: `setupChanged` runs on the main queue. On failure `client` is 0.
  virtual PlatformStatus createClient(std::string_view name, std::function<void()> setupChanged,
                                      MIDIClientRef& client) = 0;
  /// Its ports go with it. When it returns no callback of the client's runs, and none follows.
  virtual void disposeClient(MIDIClientRef client) = 0;

  /// On failure `port` is 0.
  virtual PlatformStatus createInputPort(MIDIClientRef client, std::string_view name, MidiReadCallback read,
                                         MIDIPortRef& port) = 0;
  virtual PlatformStatus createOutputPort(MIDIClientRef client, std::string_view name, MIDIPortRef& port) = 0;
  /// When it returns no callback of the port's runs, and none follows. What the port has sent still goes out.
  virtual void disposePort(MIDIPortRef port) = 0;

  virtual PlatformStatus connectSource(MIDIPortRef inputPort, MIDIEndpointRef source) = 0;
  virtual PlatformStatus disconnectSource(MIDIPortRef inputPort, MIDIEndpointRef source) = 0;

  /// Puts MIDI 1.0 bytes on the destination's wire at `when`, which may lie up to a second ahead; at once if it has
  /// passed. Messages to one destination leave in the order of their times, and of the calls where these are equal.
  /// Any thread.
  virtual PlatformStatus send(MIDIPortRef outputPort, MIDIEndpointRef destination, std::span<const std::uint8_t> bytes,
                              HostTime when) = 0;
  /// Drops whatever still waits for the destination, whoever sent it. Any thread.
  virtual PlatformStatus flushOutput(MIDIEndpointRef destination) = 0;
};

}  // namespace tallyrig
