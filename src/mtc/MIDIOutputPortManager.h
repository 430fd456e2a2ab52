#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/Log.h"
#include "platform/MidiSystem.h"

namespace tallyrig {

/// Owns the one client and the one output port that all senders of MIDI share. Built on demand: a sender that finds no
/// port asks for one; a failed send has it dropped, and the next start builds it anew. A port outlives changes of the
/// endpoints. Main thread.
class MIDIOutputPortManager {
 public:
  MIDIOutputPortManager(MidiSystem& midi, Log& log) : midi_(midi), log_(log) {}
  ~MIDIOutputPortManager() { dispose(); }
  MIDIOutputPortManager(const MIDIOutputPortManager&) = delete;
  MIDIOutputPortManager& operator=(const MIDIOutputPortManager&) = delete;

  /// 0 while there is none. Whoever was given a number keeps it and is not told when it becomes void.
  MIDIPortRef outputPort() const { return outputPort_; }
  /// Why the last `rebuild` failed; absent if it did not.
  const std::optional<std::string>& lastErrorMessage() const { return lastErrorMessage_; }

  /// Makes a fresh client and port, in place of any there are.
  void rebuild();
  /// Drops client and port. `reason` is for the log.
  void invalidate(std::string_view reason);

 private:
  void dispose();

  MidiSystem& midi_;
  Log& log_;
  MIDIClientRef client_ = 0;
  MIDIPortRef outputPort_ = 0;
  std::optional<std::string> lastErrorMessage_;
};

}  // namespace tallyrig
