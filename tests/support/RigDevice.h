#pragma once

#include <map>
#include <string>

namespace tallyrig {

/// A virtual audio device of the rig.
struct RigDevice {
  enum class Kind { kDuplex, kSink, kSource };

  Kind kind = Kind::kDuplex;
  /// The node's name: one at a time.
  std::string name;
  std::string description = {};
  int channels = 2;
  std::map<std::string, std::string> properties = {};
};

/// A virtual MIDI device of the rig, with as many in-ports as out-ports.
struct RigMidiDevice {
  /// The node's name: one at a time.
  std::string name;
  std::string description = {};
  int ports = 1;
};

}  // namespace tallyrig
