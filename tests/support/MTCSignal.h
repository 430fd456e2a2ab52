#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "mtc/MTCQuarterFrame.h"
#include "timecode/Timecode.h"

namespace tallyrig {

using MidiBytes = std::vector<std::uint8_t>;

inline constexpr std::array kMTCRates{MTCFrameRate::fps24, MTCFrameRate::fps25, MTCFrameRate::fps2997,
                                      MTCFrameRate::fps30};

/// Piece 0 to 7 of a timecode as it goes over the wire.
inline MidiBytes quarterFrame(const Timecode& timecode, int piece) {
  return {kQuarterFrameStatus, quarterFrameData(timecode, piece)};
}

inline MidiBytes fullFrame(const Timecode& timecode) {
  const auto message = fullFrameMessage(timecode);
  return {message.begin(), message.end()};
}

}  // namespace tallyrig
