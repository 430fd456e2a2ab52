#include "support/Cards.h"

namespace tallyrig {

ReaderSnapshot readerOn(const SimulatedDevice& device, std::int64_t channel) {
  ReaderSnapshot settings;
  settings.selectedDeviceID = device.id();
  settings.selectedDeviceName = device.name();
  settings.selectedChannel = channel;
  return settings;
}

ReaderSnapshot emittingOn(ReaderSnapshot settings, const SimulatedDevice& device, std::int64_t channel,
                          OutputFrameRate rate) {
  settings.outputProtocol = OutputProtocol::ltc;
  settings.outputFrameRate = rate;
  settings.selectedOutputDeviceID = device.id();
  settings.selectedOutputDeviceName = device.name();
  settings.selectedOutputChannel = channel;
  return settings;
}

ReaderSnapshot generatorOn(const SimulatedDevice& device, std::int64_t channel, const Timecode& start) {
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
