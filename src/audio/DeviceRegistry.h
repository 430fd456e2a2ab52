#pragma once

#include <QObject>
#include <string_view>
#include <vector>

#include "audio/AudioDevices.h"
#include "platform/Log.h"

namespace tallyrig {

/// The machine's audio and MIDI endpoints as last enumerated. Takes no notice of changes by itself: it is refreshed on
/// demand. Main thread.
class DeviceRegistry : public QObject {
  Q_OBJECT

 public:
  /// Refreshes once, with the reason "startup".
  DeviceRegistry(const AudioSystem& audio, const MidiSystem& midi, Log& log);

  /// Enumerates everything anew. `reason` is for the log only.
  void refresh(std::string_view reason);

  const std::vector<AudioInputDevice>& audioInputs() const { return audioInputs_; }
  const std::vector<AudioOutputDevice>& audioOutputs() const { return audioOutputs_; }
  const std::vector<MIDISourceDevice>& midiSources() const { return midiSources_; }
  const std::vector<MIDIDestinationDevice>& midiDestinations() const { return midiDestinations_; }

 signals:
  /// After each refresh, when all four lists stand.
  void refreshed();

 private:
  const AudioSystem& audio_;
  const MidiSystem& midi_;
  Log& log_;
  std::vector<AudioInputDevice> audioInputs_;
  std::vector<AudioOutputDevice> audioOutputs_;
  std::vector<MIDISourceDevice> midiSources_;
  std::vector<MIDIDestinationDevice> midiDestinations_;
};

}  // namespace tallyrig
