#include "support/Cards.h"

namespace tallyrig {
namespace {

ReaderSnapshot startingFrom(ReaderSnapshot settings, const Timecode& start) {
  settings.cardRole = CardRole::generator;
  settings.generatorFrameRate = start.frameRate;
  settings.generatorStartHours = start.hours;
  settings.generatorStartMinutes = start.minutes;
  settings.generatorStartSeconds = start.seconds;
  settings.generatorStartFrames = start.frames;
  return settings;
}

}  // namespace

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
  return startingFrom(emittingOn({}, device, channel), start);
}

ReaderSnapshot readerOf(const SimulatedMidiSource& source) {
  ReaderSnapshot settings;
  settings.sourceType = SourceType::mtc;
  settings.selectedMIDISourceName = source.name();
  return settings;
}

ReaderSnapshot emittingTo(ReaderSnapshot settings, const SimulatedMidiDestination& destination, OutputFrameRate rate) {
  settings.outputProtocol = OutputProtocol::mtc;
  settings.outputFrameRate = rate;
  settings.selectedMIDIDestinationName = destination.name();
  return settings;
}

ReaderSnapshot generatorTo(const SimulatedMidiDestination& destination, const Timecode& start) {
  return startingFrom(emittingTo({}, destination), start);
}

}  // namespace tallyrig
