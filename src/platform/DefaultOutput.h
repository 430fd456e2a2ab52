#pragma once

#include <optional>

#include "platform/AudioSystem.h"

namespace tallyrig {

/// What an audio system can do besides, if it knows which device plays for those who choose none. Main thread.
class DefaultOutput {
 public:
  virtual ~DefaultOutput() = default;

  /// Absent while the system names none, or one that it does not list. The observers of the device list are told of a
  /// change.
  virtual std::optional<AudioDeviceID> defaultOutput() const = 0;
};

}  // namespace tallyrig
