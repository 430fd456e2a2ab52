#include "platform/pipewire/UniversalMidi.h"

namespace tallyrig {
namespace {

constexpr std::uint32_t kSystem = 1;
constexpr std::uint32_t kChannelVoice = 2;
constexpr std::uint32_t kSystemExclusive7 = 3;

std::uint8_t byteOf(std::uint32_t word, unsigned index) {
  return static_cast<std::uint8_t>(word >> (24 - 8 * index));
}

/// Status byte included; 0 for what is no system message of its own.
std::size_t systemMessageSize(std::uint8_t status) {
  switch (status) {
    case 0xF1:
    case 0xF3:
      return 2;
    case 0xF2:
      return 3;
    case 0xF6:
    case 0xF8:
    case 0xFA:
    case 0xFB:
    case 0xFC:
    case 0xFE:
    case 0xFF:
      return 1;
    default:
      return 0;
  }
}

std::size_t channelMessageSize(std::uint8_t status) {
  const int kind = status >> 4;
  if (kind < 0x8 || kind > 0xE) return 0;
  return kind == 0xC || kind == 0xD ? 2 : 3;
}

MidiBytes shortMessage(std::uint32_t word, std::size_t size) {
  return {.bytes = {byteOf(word, 1), byteOf(word, 2), byteOf(word, 3)}, .size = size};
}

MidiBytes systemExclusive(std::uint32_t first, std::uint32_t second) {
  enum Position { kWhole, kBegin, kMiddle, kEnd };
  const unsigned position = (first >> 20) & 0xF;
  const unsigned count = (first >> 16) & 0xF;
  if (position > kEnd || count > 6) return {};
  const std::array<std::uint8_t, 6> data{byteOf(first, 2),  byteOf(first, 3),  byteOf(second, 0),
                                         byteOf(second, 1), byteOf(second, 2), byteOf(second, 3)};
  MidiBytes message;
  if (position == kWhole || position == kBegin) message.bytes[message.size++] = 0xF0;
  for (unsigned index = 0; index < count; ++index) message.bytes[message.size++] = data[index];
  if (position == kWhole || position == kEnd) message.bytes[message.size++] = 0xF7;
  return message;
}

}  // namespace

std::size_t universalPacketWords(std::uint32_t word) {
  // By message type; those that are not assigned yet have their sizes already.
  constexpr std::array<std::uint8_t, 16> kWords{1, 1, 1, 2, 2, 4, 1, 1, 2, 2, 2, 3, 3, 4, 4, 4};
  return kWords[word >> 28];
}

MidiBytes midiBytesOf(std::span<const std::uint32_t> packet) {
  if (packet.empty() || packet.size() < universalPacketWords(packet[0])) return {};
  const std::uint8_t status = byteOf(packet[0], 1);
  switch (packet[0] >> 28) {
    case kSystem:
      return shortMessage(packet[0], systemMessageSize(status));
    case kChannelVoice:
      return shortMessage(packet[0], channelMessageSize(status));
    case kSystemExclusive7:
      return systemExclusive(packet[0], packet[1]);
    default:
      return {};
  }
}

}  // namespace tallyrig
