#pragma once

#include <algorithm>
#include <optional>

#include "audio/AudioDevices.h"

namespace tallyrig {

/// The output device of that number, or the system's default, which is its first, if none is given. Main thread.
inline std::optional<AudioOutputDevice> findOutput(const AudioSystem& audio, std::optional<AudioDeviceID> id) {
  const auto devices = listOutputDevices(audio);
  const auto found =
      std::find_if(devices.begin(), devices.end(), [&](const auto& device) { return !id || device.id == *id; });
  if (found == devices.end()) return std::nullopt;
  return *found;
}

}  // namespace tallyrig
