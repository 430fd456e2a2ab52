#pragma once

#include <cstdint>

#include "platform/simulated/SimulatedDevice.h"
#include "platform/simulated/SimulatedMidiEndpoints.h"
#include "reader/ReaderSnapshot.h"

namespace tallyrig {

// Settings of cards as a user would choose them on simulated devices and endpoints. Channels are logical, from 0.

ReaderSnapshot readerOn(const SimulatedDevice& device, std::int64_t channel);

/// Adds an LTC output to a card's settings.
ReaderSnapshot emittingOn(ReaderSnapshot settings, const SimulatedDevice& device, std::int64_t channel,
                          OutputFrameRate rate = OutputFrameRate::followInput);

/// A generator of LTC that starts from `start`.
ReaderSnapshot generatorOn(const SimulatedDevice& device, std::int64_t channel, const Timecode& start);

/// A reader of MTC.
ReaderSnapshot readerOf(const SimulatedMidiSource& source);

/// Adds an MTC output to a card's settings.
ReaderSnapshot emittingTo(ReaderSnapshot settings, const SimulatedMidiDestination& destination,
                          OutputFrameRate rate = OutputFrameRate::followInput);

/// A generator of MTC that starts from `start`.
ReaderSnapshot generatorTo(const SimulatedMidiDestination& destination, const Timecode& start);

}  // namespace tallyrig
