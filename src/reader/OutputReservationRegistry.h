#pragma once

#include <QUuid>
#include <compare>
#include <cstdint>
#include <map>
#include <string>
#include <variant>

#include "platform/AudioSystem.h"

namespace tallyrig {

/// An output that one card alone may drive: an LTC output channel, or a MIDI destination by its exact name.
/// Plain value.
struct AudioOutputReservation {
  AudioDeviceID deviceID = 0;
  /// Logical channel, from 0.
  std::int64_t channel = 0;

  auto operator<=>(const AudioOutputReservation&) const = default;
};

struct MIDIOutputReservation {
  std::string destination;

  auto operator<=>(const MIDIOutputReservation&) const = default;
};

using OutputReservation = std::variant<AudioOutputReservation, MIDIOutputReservation>;

/// Which card drives which output at run time: the authority, whatever the cards' settings say. A card holds at most
/// one reservation. Main thread.
class OutputReservationRegistry {
 public:
  /// False, and nothing changes, if another card holds it. Otherwise the card's earlier reservation is dropped.
  bool reserve(const OutputReservation& reservation, const QUuid& owner);
  void releaseAll(const QUuid& owner);

  const std::map<OutputReservation, QUuid>& owners() const { return owners_; }

 private:
  std::map<OutputReservation, QUuid> owners_;
};

}  // namespace tallyrig
