#pragma once

#include <optional>

#include "platform/DefaultOutput.h"
#include "support/ForwardedAudio.h"

namespace tallyrig {

/// Another audio system, with a device of it named as the default.
class AudioWithDefault : public ForwardedAudio, public DefaultOutput {
 public:
  using ForwardedAudio::ForwardedAudio;

  std::optional<AudioDeviceID> defaultOutput() const override { return output; }

  std::optional<AudioDeviceID> output;
};

}  // namespace tallyrig
