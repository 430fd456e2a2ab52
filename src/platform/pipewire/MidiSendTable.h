#pragma once

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <span>
#include <vector>

#include "platform/HostClock.h"
#include "platform/MidiSystem.h"
#include "platform/pipewire/MidiSchedule.h"

namespace tallyrig {

/// What a sender must find without waiting for the server: the output ports, the destinations, and the schedules of
/// those that have been opened. Any thread but the data thread.
class MidiSendTable {
 public:
  void addPort(MIDIPortRef port);
  void removePort(MIDIPortRef port);

  /// The schedules of destinations that are not listed any more go.
  void setDestinations(bool available, const std::vector<MidiEndpointDescription>& destinations);
  /// The next sender is told -EPIPE; the one after it opens the destination anew.
  void setFailed(MIDIEndpointRef destination);
  /// Takes the schedule away if nothing waits in it; false if something does.
  bool release(MIDIEndpointRef destination);

  /// Opens the destination, where nobody has yet, without the table's lock. It may wait.
  using Open = std::function<PlatformStatus(MIDIEndpointRef, std::shared_ptr<MidiSchedule>&)>;

  /// -EINVAL without bytes, -EBADF for an unknown or disposed port, -ENOTCONN without a server, -ENODEV for an unknown
  /// or vanished destination, -EPIPE for one that cannot be reached, -ENOBUFS if too much waits for it.
  PlatformStatus send(MIDIPortRef port, MIDIEndpointRef destination, std::span<const std::uint8_t> bytes, HostTime when,
                      const HostClock& clock, const Open& open);
  /// -ENOTCONN without a server, -ENODEV for an unknown or vanished destination.
  PlatformStatus flush(MIDIEndpointRef destination);

 private:
  struct Destination {
    /// Null until it is opened.
    std::shared_ptr<MidiSchedule> schedule;
    bool failed = false;
  };

  PlatformStatus statusOf(MIDIEndpointRef destination) const;

  std::mutex mutex_;
  std::set<MIDIPortRef> ports_;
  bool available_ = false;
  std::map<MIDIEndpointRef, Destination> destinations_;
};

}  // namespace tallyrig
