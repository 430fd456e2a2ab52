#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "timecode/Timecode.h"

namespace tallyrig {

/// A place in a clip as text: "MM:SS.mmm", with hours before it from one hour on; "00:00.000" for what is no number.
std::string positionText(double seconds);

/// The clip's timecode at that place, in seconds from its start; "--:--:--:--" without a start.
std::string runningTimecodeText(const std::optional<Timecode>& start, double seconds);

/// Where in a clip that begins at `start` the timecode of the text stands, in seconds; negative before the start.
/// Absent if the text is no timecode of that rate: four whole numbers between colons or semicolons.
std::optional<double> positionOfTimecode(const Timecode& start, std::string_view text);

}  // namespace tallyrig
