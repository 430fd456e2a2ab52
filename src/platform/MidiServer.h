#pragma once

#include "platform/MidiSystem.h"

namespace tallyrig {

/// A MIDI system whose endpoints come from a server that may be missing, and may come and go. Its clients are told of
/// both. Main thread.
class MidiServer : public MidiSystem {
 public:
  /// Whether the server answers. While it does not, there are no endpoints.
  virtual bool isAvailable() const = 0;
};

}  // namespace tallyrig
