#include "filetools/TimecodeTrackFormat.h"

#include <cmath>
#include <optional>

#include "platform/Log.h"

namespace tallyrig {
namespace {

/// What a track's own measure of its frame rate may be off by, since it is frames over duration.
constexpr double kTolerance = 0.01;

bool isNear(double rate, double expected) {
  return std::abs(rate - expected) < kTolerance;
}

/// The frame duration of a picture that runs at the timecode's rate; absent if it does not.
std::optional<FrameDuration> cadenceOf(double pictureRate, MTCFrameRate rate) {
  constexpr double kFilmOnVideo = 24000.0 / 1001.0;
  if (!std::isfinite(pictureRate) || pictureRate <= 0) return std::nullopt;
  if (rate == MTCFrameRate::fps24 && isNear(pictureRate, kFilmOnVideo)) return FrameDuration{1001, 24000};
  if (isNear(pictureRate, exactFrameRate(rate))) return timecodeTrackFormat(rate).frameDuration;
  return std::nullopt;
}

}  // namespace

TimecodeTrackFormat timecodeTrackFormat(MTCFrameRate rate) noexcept {
  const auto quanta = static_cast<std::uint32_t>(nominalFrameRate(rate));
  if (rate == MTCFrameRate::fps2997) return {rate, {1001, 30000}, quanta, kTimeCodeFlagDropFrame};
  return {rate, {1, quanta}, quanta, 0};
}

TimecodeTrackError resolveTrackFormat(MTCFrameRate rate, std::span<const double> pictureRates,
                                      TimecodeTrackFormat& format) {
  std::optional<FrameDuration> first;
  for (const double pictureRate : pictureRates) {
    const std::optional<FrameDuration> cadence = cadenceOf(pictureRate, rate);
    if (!cadence) {
      return TimecodeTrackError{
          TimecodeTrackFault::kCadenceMismatch,
          formatted("LTC %s does not match the picture cadence (%.3f fps).", rateText(rate), pictureRate)};
    }
    if (first && *cadence != *first) return TimecodeTrackFault::kMixedCadences;
    first = cadence;
  }
  format = timecodeTrackFormat(rate);
  if (first) format.frameDuration = *first;
  return {};
}

}  // namespace tallyrig
