#include "player/MediaTimecode.h"

#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>

#include "platform/Log.h"

namespace tallyrig {
namespace {

std::optional<std::int64_t> wholeNumber(std::string_view text) {
  std::int64_t value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return value;
}

std::optional<std::array<std::int64_t, 4>> fourNumbers(std::string_view text) {
  std::array<std::int64_t, 4> numbers{};
  for (std::size_t i = 0; i < numbers.size(); ++i) {
    const auto end = text.find_first_of(":;");
    const bool isLast = i + 1 == numbers.size();
    if ((end == std::string_view::npos) != isLast) return std::nullopt;
    const auto number = wholeNumber(text.substr(0, end));
    if (!number || *number < 0) return std::nullopt;
    numbers[i] = *number;
    if (!isLast) text.remove_prefix(end + 1);
  }
  return numbers;
}

}  // namespace

std::string positionText(double seconds) {
  if (!std::isfinite(seconds)) return "00:00.000";
  const auto total = static_cast<std::int64_t>(std::fmax(seconds, 0) * 1000 + 1e-6);
  const auto milliseconds = static_cast<int>(total % 1000);
  const auto second = static_cast<int>(total / 1000 % 60);
  const auto minute = static_cast<int>(total / 60'000 % 60);
  const auto hour = static_cast<int>(total / 3'600'000);
  return hour > 0 ? formatted("%02d:%02d:%02d.%03d", hour, minute, second, milliseconds)
                  : formatted("%02d:%02d.%03d", minute, second, milliseconds);
}

std::string runningTimecodeText(const std::optional<Timecode>& start, double seconds) {
  if (!start) return "--:--:--:--";
  // A picture's time is a fraction that a double does not always reach.
  const double frames = seconds * exactFrameRate(start->frameRate);
  return start->advanced(static_cast<std::int64_t>(std::floor(frames + 1e-6))).text();
}

std::optional<double> positionOfTimecode(const Timecode& start, std::string_view text) {
  const auto numbers = fourNumbers(text);
  if (!numbers) return std::nullopt;
  const auto [hours, minutes, seconds, frames] = *numbers;
  if (hours > 23 || minutes > 59 || seconds > 59 || frames > maxFrameField(start.frameRate)) return std::nullopt;
  const auto distance = start.signedFrameDistance({hours, minutes, seconds, frames, start.frameRate});
  if (!distance) return std::nullopt;
  return static_cast<double>(*distance) / exactFrameRate(start.frameRate);
}

}  // namespace tallyrig
