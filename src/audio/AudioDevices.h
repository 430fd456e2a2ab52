#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/AudioSystem.h"
#include "platform/MidiSystem.h"

namespace tallyrig {

/// One side, input or output, of an audio device as the program lists it. `id` is valid for this run only.
/// Plain value.
struct AudioDevice {
  AudioDeviceID id = 0;
  /// Valid UTF-8, never empty: "Unknown" where the system gives none.
  std::string name;
  /// The sum of `channelGroups`, above 0.
  int channelCount = 0;
  /// Channels of each stream of the device in order: the hardware layout.
  std::vector<int> channelGroups;

  bool operator==(const AudioDevice&) const = default;
};

struct AudioInputDevice : AudioDevice {
  bool operator==(const AudioInputDevice&) const = default;
};

struct AudioOutputDevice : AudioDevice {
  bool operator==(const AudioOutputDevice&) const = default;
};

/// A place that MIDI comes from. `endpoint` is valid for this run only; `name` is as an audio device's. Plain value.
struct MIDISourceDevice {
  MIDIEndpointRef endpoint = 0;
  std::string name;

  bool operator==(const MIDISourceDevice&) const = default;
};

/// A place that MIDI can be sent to, told like a source.
struct MIDIDestinationDevice {
  MIDIEndpointRef endpoint = 0;
  std::string name;

  bool operator==(const MIDIDestinationDevice&) const = default;
};

/// The devices with an input side, read from the system now. Phones, wireless audio receivers and hands-free sets are
/// left out by name. Main thread.
std::vector<AudioInputDevice> listInputDevices(const AudioSystem& audio);

/// The devices with an output side, read from the system now. Nothing is left out. Main thread.
std::vector<AudioOutputDevice> listOutputDevices(const AudioSystem& audio);

/// All sources and all destinations of MIDI, read from the system now and in its order. Main thread.
std::vector<MIDISourceDevice> listMIDISources(const MidiSystem& midi);
std::vector<MIDIDestinationDevice> listMIDIDestinations(const MidiSystem& midi);

/// Channel groups as the log shows them: "8", "2+2+8".
std::string layoutText(const std::vector<int>& channelGroups);

}  // namespace tallyrig
