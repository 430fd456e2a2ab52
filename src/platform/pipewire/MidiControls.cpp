#include "platform/pipewire/MidiControls.h"

#include <spa/control/control.h>
#include <spa/pod/iter.h>

#include <algorithm>

#include "platform/pipewire/UniversalMidi.h"

namespace tallyrig {
namespace {

/// A control with universal MIDI packets, of servers newer than the headers.
constexpr std::uint32_t kUniversalMidiControl = 4;

/// The server merges the links of an in-port into a buffer of this size, whatever the size of ours, and what does not
/// fit in there is lost.
constexpr std::uint32_t kLargestBuffer = 4096;

/// A control's head, its value's head, and the padding behind the value.
constexpr std::size_t kControlOverhead = sizeof(spa_pod_control) + 8;

void readUniversalPackets(std::span<const std::uint32_t> words, HostTime instant, HostTime due, MidiInputRing& ring) {
  while (!words.empty()) {
    const std::size_t size = std::min(universalPacketWords(words[0]), words.size());
    ring.write(instant, due, midiBytesOf(words.first(size)).view());
    words = words.subspan(size);
  }
}

}  // namespace

void readMidiControls(const spa_data& data, const MidiCycle& cycle, MidiInputRing& ring) {
  if (data.data == nullptr || data.chunk == nullptr) return;
  const auto* pod =
      static_cast<const spa_pod*>(spa_pod_from_data(data.data, data.maxsize, data.chunk->offset, data.chunk->size));
  if (pod == nullptr || !spa_pod_is_sequence(pod)) return;
  const auto* sequence = reinterpret_cast<const spa_pod_sequence*>(pod);
  const spa_pod_control* control = nullptr;
  SPA_POD_SEQUENCE_FOREACH(sequence, control) {
    const std::uint32_t offset = std::min(control->offset, cycle.frames - 1);
    const HostTime instant = cycle.instantOfInput(offset);
    const HostTime due = cycle.start + cycle.distanceOf(offset);
    const void* body = SPA_POD_BODY_CONST(&control->value);
    const std::size_t size = SPA_POD_BODY_SIZE(&control->value);
    if (control->type == SPA_CONTROL_Midi) {
      ring.write(instant, due, {static_cast<const std::uint8_t*>(body), size});
    } else if (control->type == kUniversalMidiControl) {
      const auto* words = static_cast<const std::uint32_t*>(body);
      readUniversalPackets({words, size / sizeof(std::uint32_t)}, instant, due, ring);
    }
  }
  ring.endCycle();
}

MidiControlWriter::MidiControlWriter(spa_data& data) : data_(data) {
  spa_pod_builder_init(&builder_, data.data, std::min(data.maxsize, kLargestBuffer));
  spa_pod_builder_push_sequence(&builder_, &frame_, 0);
}

std::size_t MidiControlWriter::room() const {
  const std::size_t used = builder_.state.offset + kControlOverhead;
  return used < builder_.size ? builder_.size - used : 0;
}

void MidiControlWriter::put(std::uint32_t offset, std::span<const std::uint8_t> bytes) {
  spa_pod_builder_control(&builder_, offset, SPA_CONTROL_Midi);
  spa_pod_builder_bytes(&builder_, bytes.data(), static_cast<std::uint32_t>(bytes.size()));
  empty_ = false;
}

void MidiControlWriter::finish() {
  spa_pod_builder_pop(&builder_, &frame_);
  data_.chunk->offset = 0;
  data_.chunk->size = builder_.state.offset;
  data_.chunk->stride = 1;
  data_.chunk->flags = 0;
}

}  // namespace tallyrig
