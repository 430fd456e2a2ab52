#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace tallyrig {

/// The frame rates of timecode. The raw value is the rate code of MIDI Time Code (MIDI 1.0) and what cards store.
/// `fps2997` always counts in drop frame (SMPTE 12M).
enum class MTCFrameRate : int { fps24 = 0, fps25 = 1, fps2997 = 2, fps30 = 3 };

/// Absent for any number but 0 to 3.
std::optional<MTCFrameRate> frameRateFromRawValue(std::int64_t rawValue) noexcept;
/// Frames in a counted second, a whole number.
int nominalFrameRate(MTCFrameRate rate) noexcept;
/// Frames in a second of real time: 30000/1001 at `fps2997`.
double exactFrameRate(MTCFrameRate rate) noexcept;
std::int64_t framesPerDay(MTCFrameRate rate) noexcept;
/// The largest number in the frames field.
int maxFrameField(MTCFrameRate rate) noexcept;
/// "24", "25", "29.97 DF" or "30".
const char* rateText(MTCFrameRate rate) noexcept;

/// A time of day counted in frames (SMPTE 12M). Not validated on construction: the arithmetic takes the fields as they
/// stand and always gives a normalised value. There is no order: use `signedFrameDistance`.
///
/// All members: any thread, real-time safe, except `text`, which allocates.
struct Timecode {
  std::int64_t hours = 0;
  std::int64_t minutes = 0;
  std::int64_t seconds = 0;
  std::int64_t frames = 0;
  MTCFrameRate frameRate = MTCFrameRate::fps30;

  bool operator==(const Timecode&) const = default;

  /// Frames since 00:00:00:00 at this value's own rate.
  std::int64_t totalFrames() const noexcept;
  /// The inverse, for a count of 0 up to, but not including, `framesPerDay`.
  static Timecode fromTotalFrames(std::int64_t count, MTCFrameRate rate) noexcept;
  /// Moved by a count of frames of either sign, round the 24-hour circle, at the same rate.
  Timecode advanced(std::int64_t byFrames) const noexcept;
  /// The same instant of the day at another rate. Converting to the own rate is computed like any other conversion,
  /// so that a value can land one frame lower.
  Timecode converted(MTCFrameRate target) const noexcept;
  /// The shortest way round the circle from here to `other`, in frames; absent between different rates.
  std::optional<std::int64_t> signedFrameDistance(const Timecode& other) const noexcept;
  /// "HH:MM:SS:FF", with colons at every rate.
  std::string text() const;
};

/// `text` of a value, or "none".
std::string textOrNone(const std::optional<Timecode>& timecode);

}  // namespace tallyrig

template <>
struct std::hash<tallyrig::Timecode> {
  std::size_t operator()(const tallyrig::Timecode& timecode) const noexcept;
};
