#pragma once

#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "platform/HostClock.h"
#include "platform/Log.h"
#include "platform/MidiServer.h"
#include "platform/SerialQueue.h"
#include "platform/Subscription.h"
#include "platform/pipewire/PipeWireServer.h"

namespace tallyrig {

class MidiGraph;
class MidiReader;
class MidiSendTable;

/// The MIDI ports of the PipeWire sound server. The host tick of instants is the nanosecond of CLOCK_MONOTONIC; they
/// carry the accuracy of a sample of the server.
///
/// A server that is missing at the start, or dies, is awaited for ever: there are no endpoints meanwhile, and all have
/// new numbers when it returns. Clients and ports stay what they are. A source that goes takes its connections with it.
///
/// Sending: the first message to a destination waits until it is linked, some 5 to 30 ms, so that those that follow go
/// out at their instants; what is sent for "now" leaves with the beginning of the next cycle. Messages that the server
/// missed leave late, or not at all after a second, and the log says so.
class PipeWireMidiSystem final : public MidiServer {
 public:
  /// All but the server must outlive this object.
  PipeWireMidiSystem(PipeWireServer server, Scheduler& scheduler, const HostClock& clock, Log& log);
  ~PipeWireMidiSystem() override;
  PipeWireMidiSystem(const PipeWireMidiSystem&) = delete;
  PipeWireMidiSystem& operator=(const PipeWireMidiSystem&) = delete;

  bool isAvailable() const override;
  std::vector<MidiEndpointDescription> sources() const override;
  std::vector<MidiEndpointDescription> destinations() const override;

  PlatformStatus createClient(std::string_view name, std::function<void()> setupChanged,
                              MIDIClientRef& client) override;
  void disposeClient(MIDIClientRef client) override;

  /// -EBADF for an unknown client.
  PlatformStatus createInputPort(MIDIClientRef client, std::string_view name, MidiReadCallback read,
                                 MIDIPortRef& port) override;
  PlatformStatus createOutputPort(MIDIClientRef client, std::string_view name, MIDIPortRef& port) override;
  void disposePort(MIDIPortRef port) override;

  /// -EBADF for what is no input port, -ENOTCONN without a server, -ENODEV for an unknown source. To connect a source
  /// twice is no error and has no effect.
  PlatformStatus connectSource(MIDIPortRef inputPort, MIDIEndpointRef source) override;
  /// -ENODEV if the source is not connected.
  PlatformStatus disconnectSource(MIDIPortRef inputPort, MIDIEndpointRef source) override;

  /// As `MidiSendTable`'s.
  PlatformStatus send(MIDIPortRef outputPort, MIDIEndpointRef destination, std::span<const std::uint8_t> bytes,
                      HostTime when) override;
  PlatformStatus flushOutput(MIDIEndpointRef destination) override;

 private:
  class Published;

  struct InputPort {
    MIDIClientRef client = 0;
    std::shared_ptr<const MidiReadCallback> read;
    std::set<MIDIEndpointRef> sources;
  };

  void dropVanishedSources();
  void disconnect(MIDIPortRef port, MIDIEndpointRef source);

  const HostClock& clock_;
  const std::shared_ptr<Published> published_;
  const std::shared_ptr<MidiSendTable> sendTable_;
  const std::shared_ptr<MidiReader> reader_;
  std::shared_ptr<MidiGraph> graph_;

  /// First of all observers.
  Subscription ownSubscription_;
  std::map<MIDIClientRef, Subscription> clients_;
  std::map<MIDIPortRef, InputPort> inputPorts_;
  /// With their clients.
  std::map<MIDIPortRef, MIDIClientRef> outputPorts_;
  MIDIClientRef lastClient_ = 0;
  MIDIPortRef lastPort_ = 0;
};

}  // namespace tallyrig
