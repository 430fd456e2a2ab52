#include "support/LTCListener.h"

#include <cmath>

namespace tallyrig {
namespace {

/// A half of a bit lasts 0.42 to 0.52 of a bit at 25 frames a second, a whole one 0.83 to 1.04.
constexpr double kShortest = 0.3;
constexpr double kBetween = 0.67;
constexpr double kLongest = 1.3;
/// Below this a sample is silent. The encoder's steps are twice as large.
constexpr float kSilence = 1.0F / 256;

}  // namespace

LTCListener::LTCListener(double sampleRate) : sampleRate_(sampleRate), bitLength_(sampleRate / 25 / kBits) {}

void LTCListener::hear(std::int64_t position, std::span<const float> samples) {
  if (position != next_) finish();
  for (const float value : samples) sample(position++, value);
  next_ = position;
}

void LTCListener::finish() {
  if (isSounding_) endOfSound(quietSince_.value_or(next_));
}

void LTCListener::sample(std::int64_t position, float value) {
  if (std::abs(value) < kSilence) {
    if (!quietSince_) quietSince_ = position;
    // A level change may pass through silence for a moment.
    if (isSounding_ && static_cast<double>(position - *quietSince_) > kShortest * bitLength_) endOfSound(*quietSince_);
    return;
  }
  quietSince_.reset();
  const bool isHigh = value > 0;
  if (!isSounding_) {
    isSounding_ = true;
    isHigh_ = isHigh;
    lastChange_ = position;
    bitStart_ = position;
    isInOne_ = false;
    sinceFrame_ = 0;
    return;
  }
  if (isHigh == isHigh_) return;
  isHigh_ = isHigh;
  change(position);
}

void LTCListener::change(std::int64_t position) {
  const double length = static_cast<double>(position - lastChange_) / bitLength_;
  lastChange_ = position;
  const bool isHalf = length < kBetween;
  if (length < kShortest || length > kLongest || (isInOne_ && !isHalf)) {
    ++broken_;
    isInOne_ = false;
    sinceFrame_ = 0;
    bitStart_ = position;
  } else if (isHalf && !isInOne_) {
    isInOne_ = true;
  } else {
    bit(isHalf, position);
    isInOne_ = false;
    bitStart_ = position;
  }
}

void LTCListener::bit(bool one, std::int64_t end) {
  const auto place = static_cast<std::size_t>(count_ % kBits);
  bits_[place] = one;
  starts_[place] = bitStart_;
  ++count_;
  ++sinceFrame_;
  // The sync word, the bit heard first being the lowest.
  if (sinceFrame_ < 16 || field(64, 16) != 0xbffc) return;
  const std::int64_t start = starts_[static_cast<std::size_t>(count_ % kBits)];
  const auto timecode = sinceFrame_ == kBits ? decode(end - start) : std::nullopt;
  if (timecode) {
    if (onFrame) onFrame({*timecode, start, end});
  } else {
    ++broken_;
  }
  sinceFrame_ = 0;
}

/// The last bit of the sound ends where the silence begins.
void LTCListener::endOfSound(std::int64_t position) {
  change(position);
  if (sinceFrame_ != 0 || isInOne_) ++broken_;
  isSounding_ = false;
}

int LTCListener::field(int first, int width) const {
  int value = 0;
  for (int i = 0; i < width; ++i) value |= (at(first + i) ? 1 : 0) << i;
  return value;
}

std::optional<Timecode> LTCListener::decode(std::int64_t length) const {
  const double perSecond = sampleRate_ / static_cast<double>(length);
  MTCFrameRate rate = MTCFrameRate::fps30;
  if (at(10)) {
    rate = MTCFrameRate::fps2997;
  } else if (perSecond < 24.5) {
    rate = MTCFrameRate::fps24;
  } else if (perSecond < 27) {
    rate = MTCFrameRate::fps25;
  }
  const auto number = [this](int units, int tens, int width) { return field(units, 4) + 10 * field(tens, width); };
  const Timecode timecode{number(48, 56, 2), number(32, 40, 3), number(16, 24, 3), number(0, 8, 2), rate};
  // A label that counting could not reach is broken code.
  return timecode == timecode.advanced(0) ? std::optional(timecode) : std::nullopt;
}

}  // namespace tallyrig
