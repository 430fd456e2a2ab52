#pragma once

#include <algorithm>
#include <optional>

#include "audio/AudioDevices.h"
#include "platform/DefaultOutput.h"

namespace tallyrig {

/// The device that the system itself plays on; absent if it does not say. Main thread.
inline std::optional<AudioDeviceID> defaultOutput(const AudioSystem& audio) {
  const auto* const system = dynamic_cast<const DefaultOutput*>(&audio);
  return system ? system->defaultOutput() : std::nullopt;
}

/// The output device of that number, or the system's default if none is given; its first where it names none. Main
/// thread.
inline std::optional<AudioOutputDevice> findOutput(const AudioSystem& audio, std::optional<AudioDeviceID> id) {
  const auto devices = listOutputDevices(audio);
  if (devices.empty()) return std::nullopt;
  const auto wanted = id ? id : defaultOutput(audio);
  const auto found =
      std::find_if(devices.begin(), devices.end(), [&](const auto& device) { return device.id == wanted; });
  if (found != devices.end()) return *found;
  return id ? std::nullopt : std::optional(devices.front());
}

}  // namespace tallyrig
