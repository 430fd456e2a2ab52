#include "mtc/MTCQuarterFrame.h"

#include <cmath>

namespace tallyrig {
namespace {

constexpr std::array<double, 4> kQuarterFramesPerSecond{96.0, 100.0, 119.88011988011988, 120.0};

constexpr std::uint8_t kUniversalRealTime = 0x7F;
constexpr std::uint8_t kAllDevices = 0x7F;
constexpr std::uint8_t kTimeCode = 0x01;
constexpr std::uint8_t kFullMessage = 0x01;

constexpr unsigned rateCode(MTCFrameRate rate) {
  return static_cast<unsigned>(rate);
}

constexpr unsigned low(std::int64_t field, unsigned mask) {
  return static_cast<unsigned>(field) & mask;
}

}  // namespace

double quarterFramesPerSecond(MTCFrameRate rate) noexcept {
  return kQuarterFramesPerSecond[rateCode(rate)];
}

std::uint64_t quarterFrameNanos(MTCFrameRate rate) noexcept {
  return static_cast<std::uint64_t>(std::llround(1e9 / quarterFramesPerSecond(rate)));
}

std::uint8_t quarterFrameData(const Timecode& timecode, int piece) noexcept {
  const unsigned hours = low(timecode.hours, 31) | rateCode(timecode.frameRate) << 5;
  const std::array fields{low(timecode.frames, 31), low(timecode.seconds, 63), low(timecode.minutes, 63), hours};
  const unsigned field = fields[static_cast<std::size_t>(piece) / 2];
  const unsigned nibble = piece % 2 == 0 ? field & 15 : field >> 4;
  return static_cast<std::uint8_t>(static_cast<unsigned>(piece) << 4 | nibble);
}

Timecode timecodeFromQuarterFrames(const QuarterFrameNibbles& nibbles) noexcept {
  const auto& n = nibbles;
  const auto rate = static_cast<MTCFrameRate>((n[7] >> 1) & 3);
  return {n[6] + (n[7] & 1) * 16, n[4] + n[5] * 16, n[2] + n[3] * 16, n[0] + n[1] * 16, rate};
}

std::array<std::uint8_t, kFullFrameLength> fullFrameMessage(const Timecode& timecode) noexcept {
  const auto byte = [](unsigned value) { return static_cast<std::uint8_t>(value); };
  return {kSystemExclusiveStart,
          kUniversalRealTime,
          kAllDevices,
          kTimeCode,
          kFullMessage,
          byte(low(timecode.hours, 31) | rateCode(timecode.frameRate) << 5),
          byte(low(timecode.minutes, 63)),
          byte(low(timecode.seconds, 63)),
          byte(low(timecode.frames, 31)),
          kSystemExclusiveEnd};
}

std::optional<Timecode> timecodeFromFullFrame(std::span<const std::uint8_t> message) noexcept {
  if (message.size() < kFullFrameLength) return std::nullopt;
  if (message[0] != kSystemExclusiveStart || message[1] != kUniversalRealTime) return std::nullopt;
  if (message[3] != kTimeCode || message[4] != kFullMessage) return std::nullopt;
  if (message.back() != kSystemExclusiveEnd) return std::nullopt;

  const auto rate = static_cast<MTCFrameRate>((message[5] >> 5) & 3);
  const Timecode timecode{message[5] & 31, message[6], message[7], message[8], rate};
  if (timecode.hours > 23 || timecode.minutes > 59 || timecode.seconds > 59) return std::nullopt;
  if (timecode.frames > maxFrameField(rate)) return std::nullopt;
  return timecode;
}

}  // namespace tallyrig
