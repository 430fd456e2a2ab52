#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

namespace tallyrig {

/// The MIDI 1.0 bytes of one universal MIDI packet; at most six of system-exclusive data between its two ends.
struct MidiBytes {
  std::array<std::uint8_t, 8> bytes{};
  std::size_t size = 0;

  std::span<const std::uint8_t> view() const { return {bytes.data(), size}; }
};

/// Of how many words the packet that begins with `word` consists.
std::size_t universalPacketWords(std::uint32_t word);

/// The packet's content as MIDI 1.0 bytes, by "Universal MIDI Packet (UMP) Format and MIDI 2.0 Protocol" (M2-104-UM):
/// system messages, MIDI 1.0 channel voice messages and 7-bit system-exclusive data, of which a message may take
/// several packets. Empty for anything else, and for a packet that is cut short. Real-time safe.
MidiBytes midiBytesOf(std::span<const std::uint32_t> packet);

}  // namespace tallyrig
