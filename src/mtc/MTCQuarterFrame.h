#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "timecode/Timecode.h"

namespace tallyrig {

/// The bytes of MIDI Time Code (MIDI 1.0, after SMPTE 12M), for reading and for sending.
///
/// A quarter frame is two bytes, 0xF1 and a data byte: bits 4 to 6 number the piece, bits 0 to 3 are its nibble. Eight
/// pieces, over two frames, carry one timecode:
///
///     0, 1  frames, low and high      4, 5  minutes, low and high
///     2, 3  seconds, low and high     6, 7  hours, low; bit 0 of piece 7 their bit 4, its bits 1 and 2 the rate code
///
/// The rate code is the raw value of `MTCFrameRate`. Any thread, real-time safe.
inline constexpr std::uint8_t kQuarterFrameStatus = 0xF1;
inline constexpr std::uint8_t kSystemExclusiveStart = 0xF0;
inline constexpr std::uint8_t kSystemExclusiveEnd = 0xF7;

inline constexpr int kQuarterFramePieces = 8;
inline constexpr std::size_t kFullFrameLength = 10;

/// The nibbles of pieces 0 to 7.
using QuarterFrameNibbles = std::array<std::uint8_t, kQuarterFramePieces>;

/// Four for each frame of real time: 96, 100, 119.88... or 120.
double quarterFramesPerSecond(MTCFrameRate rate) noexcept;

/// The time from one quarter frame to the next, to the nearest nanosecond.
std::uint64_t quarterFrameNanos(MTCFrameRate rate) noexcept;

/// Piece number, 0 to 7, and nibble of a quarter frame's data byte. Bit 7 is not looked at.
constexpr int quarterFramePiece(std::uint8_t data) noexcept {
  return (data >> 4) & 7;
}
constexpr std::uint8_t quarterFrameNibble(std::uint8_t data) noexcept {
  return data & 15;
}

/// The data byte that carries piece 0 to 7 of `timecode`. A field too large for its bits loses the upper ones.
std::uint8_t quarterFrameData(const Timecode& timecode, int piece) noexcept;

/// The timecode that eight pieces carry, whose fields may be out of range: nibbles are not checked.
Timecode timecodeFromQuarterFrames(const QuarterFrameNibbles& nibbles) noexcept;

/// The message that locates to `timecode`, for all devices: F0 7F 7F 01 01 hr mn sc fr F7.
std::array<std::uint8_t, kFullFrameLength> fullFrameMessage(const Timecode& timecode) noexcept;

/// The timecode of a full-frame message from any device; absent for other messages and for fields out of range.
/// Whatever stands between the frames and the closing 0xF7 is passed over. A label that drop frame leaves out passes.
std::optional<Timecode> timecodeFromFullFrame(std::span<const std::uint8_t> message) noexcept;

}  // namespace tallyrig
