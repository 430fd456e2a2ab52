#include "timecode/Timecode.h"

#include <array>
#include <cmath>

#include "platform/Log.h"

namespace tallyrig {
namespace {

struct RateFacts {
  int nominal;
  double exact;
  std::int64_t framesPerDay;
  const char* text;
};

constexpr std::array<RateFacts, 4> kRates{{
    {24, 24.0, 2073600, "24"},
    {25, 25.0, 2160000, "25"},
    {30, 29.97002997002997, 2589408, "29.97 DF"},
    {30, 30.0, 2592000, "30"},
}};

// Drop-frame counting skips two labels in each minute but every tenth.
constexpr std::int64_t kFramesPerTenMinutes = 17982;
constexpr std::int64_t kFramesPerDropMinute = 1798;
constexpr std::int64_t kLabelsPerMinute = 1800;
constexpr std::int64_t kLabelsPerHour = 108000;

// A card's file can hold any number in a field. Arithmetic on such numbers wraps, so that no value is undefined.
constexpr std::uint64_t unsignedOf(std::int64_t number) {
  return static_cast<std::uint64_t>(number);
}
constexpr std::int64_t wrapped(std::uint64_t number) {
  return static_cast<std::int64_t>(number);
}

constexpr const RateFacts& facts(MTCFrameRate rate) {
  return kRates[static_cast<std::size_t>(rate)];
}

}  // namespace

std::optional<MTCFrameRate> frameRateFromRawValue(std::int64_t rawValue) noexcept {
  if (rawValue < 0 || rawValue > 3) return std::nullopt;
  return static_cast<MTCFrameRate>(rawValue);
}

int nominalFrameRate(MTCFrameRate rate) noexcept {
  return facts(rate).nominal;
}
double exactFrameRate(MTCFrameRate rate) noexcept {
  return facts(rate).exact;
}
std::int64_t framesPerDay(MTCFrameRate rate) noexcept {
  return facts(rate).framesPerDay;
}
int maxFrameField(MTCFrameRate rate) noexcept {
  return facts(rate).nominal - 1;
}
const char* rateText(MTCFrameRate rate) noexcept {
  return facts(rate).text;
}

std::int64_t Timecode::totalFrames() const noexcept {
  const std::int64_t totalMinutes = wrapped(unsignedOf(hours) * 60 + unsignedOf(minutes));
  const std::uint64_t totalSeconds = unsignedOf(totalMinutes) * 60 + unsignedOf(seconds);
  const std::uint64_t count = totalSeconds * unsignedOf(nominalFrameRate(frameRate)) + unsignedOf(frames);
  if (frameRate != MTCFrameRate::fps2997) return wrapped(count);
  return wrapped(count - 2 * unsignedOf(totalMinutes - totalMinutes / 10));
}

Timecode Timecode::fromTotalFrames(std::int64_t count, MTCFrameRate rate) noexcept {
  if (rate == MTCFrameRate::fps2997) {
    const std::int64_t block = count / kFramesPerTenMinutes;
    const std::int64_t inBlock = count % kFramesPerTenMinutes;
    std::int64_t label = count + 18 * block;
    if (inBlock >= 2) label += 2 * ((inBlock - 2) / kFramesPerDropMinute);
    return {label / kLabelsPerHour % 24, label / kLabelsPerMinute % 60, label / 30 % 60, label % 30, rate};
  }
  const std::int64_t perSecond = nominalFrameRate(rate);
  return {count / (perSecond * 3600), count / (perSecond * 60) % 60, count / perSecond % 60, count % perSecond, rate};
}

Timecode Timecode::advanced(std::int64_t byFrames) const noexcept {
  const std::int64_t perDay = framesPerDay(frameRate);
  std::int64_t count = (totalFrames() % perDay + byFrames % perDay + perDay) % perDay;
  // Two negative remainders leave the sum negative; the circle closes all the same.
  if (count < 0) count += perDay;
  return fromTotalFrames(count, frameRate);
}

Timecode Timecode::converted(MTCFrameRate target) const noexcept {
  const double secondsOfDay = static_cast<double>(totalFrames()) / exactFrameRate(frameRate);
  const double count = std::floor(exactFrameRate(target) * secondsOfDay);
  // Whole days go before the cast, which holds no more than 64 bits.
  const double ofDay = std::fmod(count, static_cast<double>(framesPerDay(target)));
  return Timecode{0, 0, 0, 0, target}.advanced(static_cast<std::int64_t>(ofDay));
}

std::optional<std::int64_t> Timecode::signedFrameDistance(const Timecode& other) const noexcept {
  if (other.frameRate != frameRate) return std::nullopt;
  const std::int64_t perDay = framesPerDay(frameRate);
  const std::int64_t half = perDay >> 1;
  const std::int64_t difference = wrapped(unsignedOf(other.totalFrames()) - unsignedOf(totalFrames()));
  if (difference > half) return difference - perDay;
  if (difference + half < 0) return difference + perDay;
  return difference;
}

std::string Timecode::text() const {
  return formatted("%02lld:%02lld:%02lld:%02lld", static_cast<long long>(hours), static_cast<long long>(minutes),
                   static_cast<long long>(seconds), static_cast<long long>(frames));
}

std::string textOrNone(const std::optional<Timecode>& timecode) {
  return timecode ? timecode->text() : "none";
}

}  // namespace tallyrig

std::size_t std::hash<tallyrig::Timecode>::operator()(const tallyrig::Timecode& timecode) const noexcept {
  std::size_t seed = 0;
  for (const std::int64_t field : {timecode.hours, timecode.minutes, timecode.seconds, timecode.frames,
                                   static_cast<std::int64_t>(timecode.frameRate)}) {
    seed ^= std::hash<std::int64_t>{}(field) + 0x9e3779b97f4a7c15ULL + (seed << 6) + (seed >> 2);
  }
  return seed;
}
