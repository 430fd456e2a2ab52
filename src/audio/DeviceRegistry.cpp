#include "audio/DeviceRegistry.h"

#include <string>

namespace tallyrig {

DeviceRegistry::DeviceRegistry(const AudioSystem& audio, const MidiSystem& midi, Log& log)
    : audio_(audio), midi_(midi), log_(log) {
  refresh("startup");
}

void DeviceRegistry::refresh(std::string_view reason) {
  log_.timed(std::string("DeviceRegistry: refresh begin reason=").append(reason));
  audioInputs_ = listInputDevices(audio_);
  audioOutputs_ = listOutputDevices(audio_);
  midiSources_ = listMIDISources(midi_);
  midiDestinations_ = listMIDIDestinations(midi_);
  log_.timed(
      formatted("DeviceRegistry: refresh complete inputs=%zu, outputs=%zu, midiSources=%zu, midiDestinations=%zu",
                audioInputs_.size(), audioOutputs_.size(), midiSources_.size(), midiDestinations_.size()));
  emit refreshed();
}

}  // namespace tallyrig
