#pragma once

#include "timecode/Timecode.h"

namespace tallyrig {

/// Where most stories begin.
inline constexpr Timecode kStart{10, 0, 0, 0, MTCFrameRate::fps25};

}  // namespace tallyrig
