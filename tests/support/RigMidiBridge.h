#pragma once

#include <pipewire/filter.h>
#include <pipewire/pipewire.h>

#include <atomic>
#include <cstdint>
#include <vector>

#include "support/RigDevice.h"

namespace tallyrig {

/// A virtual MIDI device on the rig's server: what comes in by one port goes out by its counterpart, one cycle later,
/// as the sound of a duplex device does. Under the rig's loop lock.
class RigMidiBridge {
 public:
  RigMidiBridge(pw_core* core, const RigMidiDevice& device);
  ~RigMidiBridge();
  RigMidiBridge(const RigMidiBridge&) = delete;
  RigMidiBridge& operator=(const RigMidiBridge&) = delete;

  /// How many cycles the server has left out since the first. Any thread.
  std::uint64_t missedCycles() const { return missedCycles_; }

 private:
  struct Wire {
    void* in = nullptr;
    void* out = nullptr;
    /// What came in the last cycle.
    std::vector<std::uint8_t> held;
    std::size_t size = 0;
  };

  void process(const spa_io_clock& clock);
  static void take(Wire& wire);
  static void give(Wire& wire);

  pw_filter* filter_ = nullptr;
  spa_hook hook_{};
  std::vector<Wire> wires_;
  std::uint32_t clockId_ = SPA_ID_INVALID;
  std::uint64_t position_ = 0;
  std::uint64_t nextPosition_ = 0;
  std::atomic<std::uint64_t> missedCycles_ = 0;
};

}  // namespace tallyrig
