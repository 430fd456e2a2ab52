#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <random>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/HostClock.h"
#include "platform/MidiSystem.h"
#include "platform/SerialQueue.h"
#include "platform/simulated/DeviceListObservers.h"
#include "platform/simulated/SimulatedMidiCable.h"
#include "platform/simulated/SimulatedMidiEndpoints.h"
#include "platform/simulated/SimulatedMidiPorts.h"

namespace tallyrig {

/// MIDI endpoints without hardware. A destination puts each message on its wire at the exact instant; cables take it
/// on to sources. Endpoints and cables live as long as the system; an unplugged endpoint keeps its cables until it
/// returns. Each change of the endpoints tells every client once.
///
///     SimulatedMidiSystem& midi = world.midi();
///     SimulatedMidiDestination& out = midi.addDestination("Desk");
///     SimulatedMidiSource& in = midi.addSource("Desk");
///     midi.connect(out, in, {.latency = 1ms, .jitter = 2ms});
///     midi.inject(in, {{HostTime{0}, {0xF1, 0x23}}});
///     out.received();
///
/// Its queue "SimulatedMidi" is the service's reading thread. On real queues and a real clock it keeps the promises of
/// `MidiSystem` about threads; its own members belong to the main thread.
class SimulatedMidiSystem : public MidiSystem {
 public:
  /// What the next calls give instead of their work; 0 lets them work.
  struct Failures {
    PlatformStatus createClient = kPlatformOk;
    PlatformStatus createInputPort = kPlatformOk;
    PlatformStatus createOutputPort = kPlatformOk;
    PlatformStatus connectSource = kPlatformOk;
  };

  SimulatedMidiSystem(const HostClock& clock, Scheduler& scheduler, std::uint64_t seed);
  ~SimulatedMidiSystem() override;
  SimulatedMidiSystem(const SimulatedMidiSystem&) = delete;
  SimulatedMidiSystem& operator=(const SimulatedMidiSystem&) = delete;

  static constexpr std::size_t kLast = static_cast<std::size_t>(-1);
  static constexpr std::chrono::nanoseconds kFurthestAhead = std::chrono::seconds{1};

  /// New endpoints, plugged in at that place of their list.
  SimulatedMidiSource& addSource(std::string name, std::size_t place = kLast);
  SimulatedMidiDestination& addDestination(std::string name, bool keepsRecord = true, std::size_t place = kLast);
  /// Its connections end, and what waits for a destination is dropped.
  void unplug(SimulatedMidiSource& source);
  void unplug(SimulatedMidiDestination& destination);
  /// Brings an unplugged endpoint back, under a number that has not been before.
  void plugIn(SimulatedMidiSource& source, std::size_t place = kLast);
  void plugIn(SimulatedMidiDestination& destination, std::size_t place = kLast);
  void rename(SimulatedMidiSource& source, std::string name);
  void rename(SimulatedMidiDestination& destination, std::string name);
  /// Tells the clients without a change.
  void announceChange() { observers_.notify(); }
  /// A cable, from now on.
  SimulatedMidiCable& connect(SimulatedMidiDestination& from, SimulatedMidiSource& to,
                              const SimulatedMidiCableOptions& options = {});
  /// The reading thread gets these packets now, in one call and with their own stamps.
  void inject(SimulatedMidiSource& source, std::vector<SimulatedMidiPacket> packets);

  Failures& failures() { return failures_; }
  std::size_t clientCount() const { return clients_.size(); }
  std::size_t portCount() const { return ports_.count(); }

  std::vector<MidiEndpointDescription> sources() const override;
  std::vector<MidiEndpointDescription> destinations() const override;
  PlatformStatus createClient(std::string_view name, std::function<void()> setupChanged,
                              MIDIClientRef& client) override;
  void disposeClient(MIDIClientRef client) override;
  PlatformStatus createInputPort(MIDIClientRef client, std::string_view name, MidiReadCallback read,
                                 MIDIPortRef& port) override;
  PlatformStatus createOutputPort(MIDIClientRef client, std::string_view name, MIDIPortRef& port) override;
  void disposePort(MIDIPortRef port) override;
  PlatformStatus connectSource(MIDIPortRef inputPort, MIDIEndpointRef source) override;
  PlatformStatus disconnectSource(MIDIPortRef inputPort, MIDIEndpointRef source) override;
  /// -EINVAL for no bytes and for a time more than `kFurthestAhead` from now.
  PlatformStatus send(MIDIPortRef outputPort, MIDIEndpointRef destination, std::span<const std::uint8_t> bytes,
                      HostTime when) override;
  PlatformStatus flushOutput(MIDIEndpointRef destination) override;

 private:
  struct Wire {
    SimulatedMidiCable cable;
    SimulatedMidiDestination* from;
    SimulatedMidiSource* to;
  };
  /// Packets for the ports of one source.
  using Delivery = std::pair<MIDIEndpointRef, std::vector<SimulatedMidiPacket>>;

  PlatformStatus createPort(PlatformStatus failure, MIDIClientRef client, MidiReadCallback read, MIDIPortRef& port);
  SimulatedMidiDestination* findDestination(MIDIEndpointRef endpoint) const;
  bool hasSource(MIDIEndpointRef endpoint) const;
  /// Has the reading thread look at destinations and cables once `at` has come. Under the lock.
  void wakeAt(HostTime at);
  void wake(HostTime armedFor);
  /// The earliest instant at which something leaves or arrives.
  std::optional<HostTime> nextEvent() const;
  void putOnWires(HostTime now);
  std::vector<Delivery> takeDeliveries(HostTime now);
  void deliver(const Delivery& delivery);

  const HostClock& clock_;
  const std::shared_ptr<SerialQueue> readingQueue_;
  DeviceListObservers observers_;
  /// Their registrations for the notice of a change.
  std::map<MIDIClientRef, Subscription> clients_;
  Failures failures_;
  /// Guards everything below. Never held while a callback runs.
  mutable std::mutex mutex_;
  std::mt19937_64 random_;
  SimulatedMidiPorts ports_;
  std::vector<std::unique_ptr<SimulatedMidiSource>> allSources_;
  std::vector<std::unique_ptr<SimulatedMidiDestination>> allDestinations_;
  std::vector<std::unique_ptr<Wire>> wires_;
  /// Those plugged in, in the system's order.
  std::vector<SimulatedMidiSource*> sources_;
  std::vector<SimulatedMidiDestination*> destinations_;
  /// Clients, ports and endpoints count together, so that a number of one kind means nothing as another.
  std::uint32_t lastNumber_ = 100;
  /// What the reading thread will look at next; later calls for it are void.
  std::optional<HostTime> armedFor_;
  /// What waits on the reading queue does nothing once this is gone. Let go on that queue.
  std::shared_ptr<const char> alive_ = std::make_shared<const char>('\0');
};

}  // namespace tallyrig
