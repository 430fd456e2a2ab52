#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/AudioSystem.h"
#include "platform/pipewire/GraphModel.h"

namespace tallyrig {

/// One side of a node as a stream of a device: a group of its channels.
struct DeviceStream {
  std::uint64_t nodeSerial = 0;
  std::string nodeName;
  /// Of the node's ports: `kOut` for a stream that the program records.
  PortDirection direction = PortDirection::kOut;
  int channels = 0;
};

/// An audio device made out of one node, or out of the nodes of one sound card.
struct GraphDevice {
  /// The smallest serial of its nodes.
  std::uint64_t serial = 0;
  std::string title;
  std::vector<DeviceStream> inputs;
  std::vector<DeviceStream> outputs;
};

/// The devices of the graph, by serial. Nodes that share a sound card are one device named after the card; every
/// other node stands alone. A node without audio ports is no device yet. Only hardware-like nodes count: sources,
/// sinks and duplexes, never the streams and filters of programs.
std::vector<GraphDevice> audioDevices(const GraphModel& graph);

/// The ports of `stream` on the node it was listed with, or, once that is gone, on the first node of the same name.
/// Empty while there is none.
std::vector<GraphPort> portsOf(const DeviceStream& stream, const GraphModel& graph);

/// Numbers for devices. A number is never given to two devices, even when the server restarts and counts its serials
/// from the beginning. Not thread-safe.
class DeviceNumbers {
 public:
  AudioDeviceID numberOf(std::uint64_t serial);
  /// From now on the device has a new number, as if it had been unplugged and returned.
  void renew(std::uint64_t serial);
  /// The server has gone: its serials mean nothing any more.
  void restart();

 private:
  std::map<std::uint64_t, AudioDeviceID> numbers_;
  AudioDeviceID base_ = 0;
  AudioDeviceID highest_ = 0;
  AudioDeviceID renewed_ = 0x8000'0000;
};

}  // namespace tallyrig
