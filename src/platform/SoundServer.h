#pragma once

#include "platform/AudioSystem.h"
#include "platform/DefaultOutput.h"

namespace tallyrig {

/// An audio system whose devices come from a server that may be missing, and may come and go. Its observers are told
/// of both. Main thread.
class SoundServer : public AudioSystem, public DefaultOutput {
 public:
  /// Whether the server answers. While it does not, the device list is empty.
  virtual bool isAvailable() const = 0;
};

}  // namespace tallyrig
