#pragma once

#include "timecode/Timecode.h"

namespace tallyrig {

// Two positions at different rates, each digit pair unlike the others.
inline constexpr Timecode kStart{10, 20, 30, 12, MTCFrameRate::fps25};
inline constexpr Timecode kCue{1, 2, 3, 4, MTCFrameRate::fps30};

}  // namespace tallyrig
