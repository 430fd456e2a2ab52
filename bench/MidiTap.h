#pragma once

#include <functional>
#include <memory>
#include <utility>

#include "platform/MidiSystem.h"

namespace tallyrig {

/// Stands between cards and a MIDI system and sees what they send and what they are given.
class MidiTap final : public MidiSystem {
 public:
  explicit MidiTap(MidiSystem& system) : system_(system) {}

  // Set before the first card is made. Each may be left empty.

  /// Before each message. The caller's thread.
  std::function<void(MIDIEndpointRef destination, std::span<const std::uint8_t> bytes, HostTime when)> onSend;
  /// Before each call of a port's own reader. The MIDI system's reading thread.
  std::function<void(MIDIPortRef port, std::span<const MidiPacket> packets)> onRead;
  std::function<void(MIDIPortRef port, MIDIEndpointRef source)> onConnect;

  std::vector<MidiEndpointDescription> sources() const override { return system_.sources(); }
  std::vector<MidiEndpointDescription> destinations() const override { return system_.destinations(); }
  PlatformStatus createClient(std::string_view name, std::function<void()> setupChanged,
                              MIDIClientRef& client) override {
    return system_.createClient(name, std::move(setupChanged), client);
  }
  void disposeClient(MIDIClientRef client) override { system_.disposeClient(client); }
  PlatformStatus createInputPort(MIDIClientRef client, std::string_view name, MidiReadCallback read,
                                 MIDIPortRef& port) override {
    // The port has no number before it is made, and reads nothing before it is connected.
    const auto number = std::make_shared<MIDIPortRef>(0);
    const auto status = system_.createInputPort(
        client, name,
        [this, number, read = std::move(read)](std::span<const MidiPacket> packets) {
          if (onRead) onRead(*number, packets);
          read(packets);
        },
        port);
    *number = port;
    return status;
  }
  PlatformStatus createOutputPort(MIDIClientRef client, std::string_view name, MIDIPortRef& port) override {
    return system_.createOutputPort(client, name, port);
  }
  void disposePort(MIDIPortRef port) override { system_.disposePort(port); }
  PlatformStatus connectSource(MIDIPortRef inputPort, MIDIEndpointRef source) override {
    if (onConnect) onConnect(inputPort, source);
    return system_.connectSource(inputPort, source);
  }
  PlatformStatus disconnectSource(MIDIPortRef inputPort, MIDIEndpointRef source) override {
    return system_.disconnectSource(inputPort, source);
  }
  PlatformStatus send(MIDIPortRef outputPort, MIDIEndpointRef destination, std::span<const std::uint8_t> bytes,
                      HostTime when) override {
    if (onSend) onSend(destination, bytes, when);
    return system_.send(outputPort, destination, bytes, when);
  }
  PlatformStatus flushOutput(MIDIEndpointRef destination) override { return system_.flushOutput(destination); }

 private:
  MidiSystem& system_;
};

}  // namespace tallyrig
