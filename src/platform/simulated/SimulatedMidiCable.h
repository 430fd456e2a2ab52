#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <random>
#include <span>
#include <vector>

#include "platform/HostClock.h"

namespace tallyrig {

/// Bytes with an instant of their own, held rather than lent.
struct SimulatedMidiPacket {
  HostTime hostTime;
  std::vector<std::uint8_t> bytes;

  bool operator==(const SimulatedMidiPacket&) const = default;
};

struct SimulatedMidiCableOptions {
  /// From the destination's wire to the source's.
  std::chrono::nanoseconds latency{0};
  /// Each message takes up to this much longer. None overtakes another.
  std::chrono::nanoseconds jitter{0};
  /// Messages that arrive within this time of the first come in one packet, with the first one's stamp.
  std::optional<std::chrono::nanoseconds> mergeWindow = std::nullopt;
  /// The messages of a merged packet stand in a drawn order.
  bool reorders = false;
  /// The part of all messages that never arrives, 0 to 1.
  double loss = 0;
  /// A system-exclusive message longer than this many bytes comes in several packets; 0 for no limit.
  std::size_t longestSysExPacket = 0;
  /// The stamps say 0 instead of the instant of arrival.
  bool hidesTime = false;
  /// The reading thread looks only at multiples of this, and then takes all that has arrived in one call.
  std::chrono::nanoseconds readInterval{0};
};

/// A wire from a MIDI destination to a MIDI source, with whatever may happen to messages on the way. It knows instants
/// but lets no time pass: its owner hands in what is sent and fetches what has arrived.
///
/// One thread at a time.
class SimulatedMidiCable {
 public:
  SimulatedMidiCable(const HostClock& clock, const SimulatedMidiCableOptions& options, std::uint64_t seed);

  /// A cut cable loses what is sent; what is on the way arrives.
  void cut() { isCut_ = true; }
  void restore() { isCut_ = false; }
  /// For what is sent from now on.
  void setOptions(const SimulatedMidiCableOptions& options) { options_ = options; }

  /// One message put on the destination's wire at `sent`. Messages come in the order of their instants.
  void transmit(std::span<const std::uint8_t> message, HostTime sent);
  /// When the reading thread gets the next packet; absent while nothing is on the way.
  std::optional<HostTime> nextDelivery() const;
  /// Takes out what the reading thread gets up to `now`, in order.
  std::vector<SimulatedMidiPacket> deliver(HostTime now);

 private:
  struct Message {
    HostTime arrival;
    std::vector<std::uint8_t> bytes;
    /// Goes into one packet with whatever else arrives within the window of its first message.
    std::optional<HostDuration> mergeWindow;
  };

  HostTime drawArrival(HostTime sent);
  HostTime readAt(const Message& first) const;
  SimulatedMidiPacket takePacket();
  HostDuration ticks(std::chrono::nanoseconds time) const;

  const HostClock& clock_;
  SimulatedMidiCableOptions options_;
  std::mt19937_64 random_;
  bool isCut_ = false;
  HostTime lastArrival_;
  std::deque<Message> onTheWay_;
};

}  // namespace tallyrig
