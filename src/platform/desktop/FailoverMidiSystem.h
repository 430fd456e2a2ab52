#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>

#include "platform/MidiServer.h"

namespace tallyrig {

/// The server's MIDI endpoints while it is available, and the built-in loopback's while it is not. A change of sides is
/// a change of the endpoints like any other: clients and ports stand on both sides and outlive it.
///
/// The loopback's numbers are offset, so that a number never means an endpoint of the other side; the server's own stay
/// below `kFallbackNumbers`. A call with an endpoint of the side that is away gives -ENODEV, but what was connected can
/// be disconnected. An unknown client or port gives -EBADF.
class FailoverMidiSystem final : public MidiSystem {
 public:
  static constexpr MIDIEndpointRef kFallbackNumbers = 0x8000'0000;

  /// Both must outlive this object.
  FailoverMidiSystem(MidiServer& server, MidiSystem& fallback);
  ~FailoverMidiSystem() override;
  FailoverMidiSystem(const FailoverMidiSystem&) = delete;
  FailoverMidiSystem& operator=(const FailoverMidiSystem&) = delete;

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
  PlatformStatus send(MIDIPortRef outputPort, MIDIEndpointRef destination, std::span<const std::uint8_t> bytes,
                      HostTime when) override;
  PlatformStatus flushOutput(MIDIEndpointRef destination) override;

 private:
  /// The numbers of one client or port on the two sides.
  struct Pair {
    std::uint32_t onServer = 0;
    std::uint32_t onFallback = 0;
  };
  struct Port {
    MIDIClientRef client = 0;
    Pair numbers;
  };
  using Handlers = std::map<MIDIClientRef, std::shared_ptr<const std::function<void()>>>;

  static bool isFallback(MIDIEndpointRef endpoint) { return endpoint >= kFallbackNumbers; }
  bool isAway(MIDIEndpointRef endpoint) const { return isFallback(endpoint) == onServer_; }
  static MIDIEndpointRef within(MIDIEndpointRef endpoint);
  MidiSystem& sideOf(MIDIEndpointRef endpoint) const;
  static std::uint32_t numberFor(const Pair& pair, MIDIEndpointRef endpoint);

  using MakePort = std::function<PlatformStatus(MidiSystem&, MIDIClientRef, MIDIPortRef&)>;
  PlatformStatus createPort(MIDIClientRef client, const MakePort& make, MIDIPortRef& port);
  /// False if there is none of that number. Any thread.
  bool find(MIDIPortRef port, Pair& numbers) const;

  void serverChanged();
  void fallbackChanged();
  void notify();

  MidiServer& server_;
  MidiSystem& fallback_;
  /// As the clients have been told.
  std::atomic<bool> onServer_;
  MIDIClientRef serverWatch_ = 0;
  MIDIClientRef fallbackWatch_ = 0;

  const std::shared_ptr<Handlers> handlers_ = std::make_shared<Handlers>();
  std::map<MIDIClientRef, Pair> clients_;
  mutable std::mutex portsMutex_;
  std::map<MIDIPortRef, Port> ports_;
  std::uint32_t lastNumber_ = 0;
};

}  // namespace tallyrig
