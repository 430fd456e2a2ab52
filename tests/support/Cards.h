#pragma once

#include <cstdint>

#include "platform/simulated/SimulatedDevice.h"
#include "reader/ReaderSnapshot.h"

namespace tallyrig {

// Settings of cards as a user would choose them on simulated devices. Channels are logical, from 0.

inline ReaderSnapshot readerOn(const SimulatedDevice& device, std::int64_t channel) {
  ReaderSnapshot settings;
  settings.selectedDeviceID = device.id();
  settings.selectedDeviceName = device.name();
  settings.selectedChannel = channel;
  return settings;
}

/// Adds an LTC output to a card's settings.
inline ReaderSnapshot emittingOn(ReaderSnapshot settings, const SimulatedDevice& device, std::int64_t channel,
                                 OutputFrameRate rate = OutputFrameRate::followInput) {
  settings.outputProtocol = OutputProtocol::ltc;
  settings.outputFrameRate = rate;
  settings.selectedOutputDeviceID = device.id();
  settings.selectedOutputDeviceName = device.name();
  settings.selectedOutputChannel = channel;
  return settings;
}

/// A generator of LTC that starts from `start`.
inline ReaderSnapshot generatorOn(const SimulatedDevice& device, std::int64_t channel, const Timecode& start) {
  ReaderSnapshot settings = emittingOn({}, device, channel);
  settings.cardRole = CardRole::generator;
  settings.generatorFrameRate = start.frameRate;
  settings.generatorStartHours = start.hours;
  settings.generatorStartMinutes = start.minutes;
  settings.generatorStartSeconds = start.seconds;
  settings.generatorStartFrames = start.frames;
  return settings;
}

}  // namespace tallyrig
