#pragma once

#include <chrono>

#include "timecode/Timecode.h"

namespace tallyrig {

/// The time of day at `moment`, `utcOffset` ahead of UTC, as a timecode: the label of the frame in progress, with no
/// rounding up. At `fps2997` it takes no account of the labels that drop frame leaves out. Any thread.
Timecode timeOfDay(std::chrono::system_clock::time_point moment, std::chrono::seconds utcOffset, MTCFrameRate rate);

}  // namespace tallyrig
