#pragma once

#include <array>
#include <cstdint>

#include "timecode/Timecode.h"

namespace tallyrig {

// Short names for what tests say again and again.

inline constexpr MTCFrameRate k24 = MTCFrameRate::fps24;
inline constexpr MTCFrameRate k25 = MTCFrameRate::fps25;
inline constexpr MTCFrameRate k2997 = MTCFrameRate::fps2997;
inline constexpr MTCFrameRate k30 = MTCFrameRate::fps30;
inline constexpr std::array kFrameRates = {k24, k25, k2997, k30};

inline Timecode at25(std::int64_t hours, std::int64_t minutes, std::int64_t seconds, std::int64_t frames) {
  return {hours, minutes, seconds, frames, k25};
}

}  // namespace tallyrig
