#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "platform/MidiSystem.h"
#include "platform/simulated/SimulatedMidiCable.h"

namespace tallyrig {

/// A source of a `SimulatedMidiSystem`, which makes, lists and feeds it.
class SimulatedMidiSource {
 public:
  explicit SimulatedMidiSource(std::string name) : name_(std::move(name)) {}

  /// 0 while it is unplugged.
  MIDIEndpointRef endpoint() const { return endpoint_; }
  const std::string& name() const { return name_; }

 private:
  friend class SimulatedMidiSystem;

  MIDIEndpointRef endpoint_ = 0;
  std::string name_;
};

/// A destination of a `SimulatedMidiSystem`, which makes and lists it: what waits for its wire, and what has left.
///
/// For tests: the world's thread.
class SimulatedMidiDestination {
 public:
  /// A message as it went onto the wire.
  struct Received {
    /// When it left: the time it was sent for, or the time of the call where that had passed.
    HostTime at;
    /// What `send` was given.
    HostTime requested;
    std::vector<std::uint8_t> bytes;
  };

  SimulatedMidiDestination(std::string name, bool keepsRecord) : name_(std::move(name)), keepsRecord_(keepsRecord) {}

  /// 0 while it is unplugged.
  MIDIEndpointRef endpoint() const { return endpoint_; }
  const std::string& name() const { return name_; }

  /// Everything that has left since the last `clearReceived`, in order.
  const std::vector<Received>& received() const { return received_; }
  void clearReceived() { received_.clear(); }
  /// What still waits, in the order in which it will leave.
  const std::deque<Received>& waiting() const { return waiting_; }
  /// Every send from now on gives `status` and does nothing, after so many that still succeed; 0 ends it.
  void failSends(PlatformStatus status, std::size_t after = 0);

 private:
  friend class SimulatedMidiSystem;

  PlatformStatus add(std::span<const std::uint8_t> bytes, HostTime when, HostTime now);
  /// When the next message leaves.
  std::optional<HostTime> nextDue() const;
  /// The first message whose time has come, taken out and entered into the record.
  std::optional<Received> takeDue(HostTime now);
  /// Drops what is to leave after `now`.
  void flush(HostTime now);

  MIDIEndpointRef endpoint_ = 0;
  std::string name_;
  const bool keepsRecord_;
  PlatformStatus failure_ = kPlatformOk;
  std::size_t sendsUntilFailure_ = 0;
  std::deque<Received> waiting_;
  std::vector<Received> received_;
};

}  // namespace tallyrig
