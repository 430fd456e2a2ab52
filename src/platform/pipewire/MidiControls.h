#pragma once

#include <spa/buffer/buffer.h>
#include <spa/pod/builder.h>

#include "platform/pipewire/MidiCycle.h"
#include "platform/pipewire/MidiInputRing.h"
#include "platform/pipewire/MidiSchedule.h"

namespace tallyrig {

/// Writes the events of one buffer of the server into the ring, with their instants. Events are due when the host clock
/// reaches the place in the cycle at which they came, so that the events of a long cycle are read with the pace they
/// had on the wire. Data thread, real-time safe.
void readMidiControls(const spa_data& data, const MidiCycle& cycle, MidiInputRing& ring);

/// The events of one buffer of the server as it is filled. Data thread, real-time safe.
class MidiControlWriter final : public MidiSchedule::Wire {
 public:
  explicit MidiControlWriter(spa_data& data);

  std::size_t room() const override;
  bool isEmpty() const override { return empty_; }
  void put(std::uint32_t offset, std::span<const std::uint8_t> bytes) override;

  /// Makes the buffer ready to be given to the server, also where there was nothing to put.
  void finish();

 private:
  spa_data& data_;
  spa_pod_builder builder_{};
  spa_pod_frame frame_{};
  bool empty_ = true;
};

}  // namespace tallyrig
