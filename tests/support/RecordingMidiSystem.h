#pragma once

#include <cerrno>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "platform/MidiSystem.h"

namespace tallyrig {

/// A MIDI service with no wires: it lists what the test lists, fails where the test says so, writes down each call,
/// and hands to an input port what the test hands to it.
class RecordingMidiSystem : public MidiSystem {
 public:
  std::vector<MidiEndpointDescription> sources() const override { return listedSources; }
  std::vector<MidiEndpointDescription> destinations() const override { return listedDestinations; }

  PlatformStatus createClient(std::string_view name, std::function<void()> changed, MIDIClientRef& client) override {
    note("client", name);
    client = clientStatus == kPlatformOk ? ++lastNumber_ : 0;
    if (client != 0) setupChanged = std::move(changed);
    return clientStatus;
  }
  void disposeClient(MIDIClientRef client) override {
    note("dispose client", client);
    setupChanged = nullptr;
  }
  PlatformStatus createInputPort(MIDIClientRef client, std::string_view name, MidiReadCallback callback,
                                 MIDIPortRef& port) override {
    note("input port of " + std::to_string(client), name);
    port = portStatus == kPlatformOk ? ++lastNumber_ : 0;
    if (port != 0) read = std::move(callback);
    return portStatus;
  }
  PlatformStatus createOutputPort(MIDIClientRef client, std::string_view name, MIDIPortRef& port) override {
    note("output port of " + std::to_string(client), name);
    port = portStatus == kPlatformOk ? ++lastNumber_ : 0;
    return portStatus;
  }
  void disposePort(MIDIPortRef port) override {
    note("dispose port", port);
    read = nullptr;
  }
  PlatformStatus connectSource(MIDIPortRef port, MIDIEndpointRef source) override {
    note("connect " + std::to_string(port) + " to", source);
    return connectStatus;
  }
  PlatformStatus disconnectSource(MIDIPortRef port, MIDIEndpointRef source) override {
    note("disconnect " + std::to_string(port) + " from", source);
    return kPlatformOk;
  }
  PlatformStatus send(MIDIPortRef, MIDIEndpointRef, std::span<const std::uint8_t>, HostTime) override {
    return -ENOTSUP;
  }
  PlatformStatus flushOutput(MIDIEndpointRef) override { return -ENOTSUP; }

  std::vector<MidiEndpointDescription> listedSources;
  std::vector<MidiEndpointDescription> listedDestinations;
  PlatformStatus clientStatus = kPlatformOk;
  PlatformStatus portStatus = kPlatformOk;
  PlatformStatus connectStatus = kPlatformOk;

  /// In the words "client Name", "input port of 1 Name", "connect 2 to 7". Clients and ports are numbered from 1 on.
  std::vector<std::string> calls;
  /// Of the client and of the input port made last, until they are disposed.
  std::function<void()> setupChanged;
  MidiReadCallback read;

 private:
  void note(std::string call, std::string_view name) { calls.push_back(std::move(call.append(" ").append(name))); }
  void note(std::string call, std::uint32_t number) { note(std::move(call), std::to_string(number)); }

  std::uint32_t lastNumber_ = 0;
};

}  // namespace tallyrig
