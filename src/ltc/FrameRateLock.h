#pragma once

#include <optional>

#include "timecode/Timecode.h"

namespace tallyrig {

/// The frame rate that a single LTC frame shows: the drop-frame flag, or else its length in samples against the
/// midpoints between the nominal frame periods. 23.976 frames a second reads as 24; 29.97 without the flag as 30.
/// Any thread, real-time safe.
MTCFrameRate observedFrameRate(bool dropFrameFlag, double durationSamples, double sampleRate) noexcept;

/// Holds the frame rate of a stream of frames against stray observations. The first frame locks at once; a change
/// needs four frames in a row that show the same new rate. One thread at a time, real-time safe.
class FrameRateLock {
 public:
  /// The rate to report for a frame that shows `observed`.
  MTCFrameRate resolve(MTCFrameRate observed) noexcept;
  void reset() noexcept { *this = {}; }

 private:
  std::optional<MTCFrameRate> lockedFrameRate_;
  std::optional<MTCFrameRate> candidateFrameRate_;
  int candidateFrameRateCount_ = 0;
};

}  // namespace tallyrig
