#pragma once

#include <cstdint>
#include <span>

#include "filetools/TimecodeTrackError.h"
#include "timecode/Timecode.h"

namespace tallyrig {

/// The bit of `timeCodeFlags` for drop-frame counting, the only one that is ever set.
constexpr std::uint32_t kTimeCodeFlagDropFrame = 1;

/// `value` units of which `timescale` make a second.
struct FrameDuration {
  std::uint32_t value = 0;
  std::uint32_t timescale = 0;

  bool operator==(const FrameDuration&) const = default;
};

/// How the timecode track of a QuickTime movie counts.
struct TimecodeTrackFormat {
  MTCFrameRate frameRate = MTCFrameRate::fps30;
  FrameDuration frameDuration;
  /// Frames in a counted second, at most 255 in a file.
  std::uint32_t frameQuanta = 0;
  std::uint32_t timeCodeFlags = 0;

  bool operator==(const TimecodeTrackFormat&) const = default;
};

/// The format of a rate where no picture asks for another: `fps24` then counts whole 24ths of a second.
TimecodeTrackFormat timecodeTrackFormat(MTCFrameRate rate) noexcept;

/// The format of a rate for a movie whose pictures run at `pictureRates`, in frames per second and in the order of
/// their tracks. All must run at the timecode's rate, where `fps24` also goes with 23.976, and at one rate among each
/// other. An error leaves `format` as it was.
TimecodeTrackError resolveTrackFormat(MTCFrameRate rate, std::span<const double> pictureRates,
                                      TimecodeTrackFormat& format);

}  // namespace tallyrig
