#pragma once

#include <array>
#include <cmath>
#include <vector>

#include "timecode/Timecode.h"

namespace tallyrig {

/// The fields of one LTC frame (SMPTE 12M) as its bits hold them, sensible or not.
struct LtcFields {
  int frameUnits = 0;
  int frameTens = 0;
  bool dropFrame = false;
  int secondsUnits = 0;
  int secondsTens = 0;
  int minutesUnits = 0;
  int minutesTens = 0;
  int hoursUnits = 0;
  int hoursTens = 0;

  /// The flag is set at `fps2997`.
  static LtcFields of(const Timecode& timecode) {
    const auto units = [](std::int64_t field) { return static_cast<int>(field % 10); };
    const auto tens = [](std::int64_t field) { return static_cast<int>(field / 10); };
    return {.frameUnits = units(timecode.frames),
            .frameTens = tens(timecode.frames),
            .dropFrame = timecode.frameRate == MTCFrameRate::fps2997,
            .secondsUnits = units(timecode.seconds),
            .secondsTens = tens(timecode.seconds),
            .minutesUnits = units(timecode.minutes),
            .minutesTens = tens(timecode.minutes),
            .hoursUnits = units(timecode.hours),
            .hoursTens = tens(timecode.hours)};
  }
};

/// Writes LTC as a square wave, frame by frame, each as long as it is told: a second opinion beside the encoder that
/// the program uses, and a source of frames that no encoder would make.
class LtcWriter {
 public:
  explicit LtcWriter(float level = 0.5F) : level_(level) {}

  void setLevel(float level) { level_ = level; }
  void frame(const LtcFields& fields, double lengthInSamples) { write(bits(fields), lengthInSamples); }
  void frame(const Timecode& timecode, double lengthInSamples) { frame(LtcFields::of(timecode), lengthInSamples); }
  /// `count` frames in a row from `first`.
  void frames(Timecode first, int count, double lengthInSamples) {
    for (int index = 0; index < count; ++index) frame(first.advanced(index), lengthInSamples);
  }
  void silence(std::size_t count) {
    samples.resize(samples.size() + count, 0.0F);
    end_ = static_cast<double>(samples.size());
  }

  std::vector<float> samples;

 private:
  using Bits = std::array<bool, 80>;

  static Bits bits(const LtcFields& fields) {
    Bits all{};
    const auto put = [&all](std::size_t first, int width, int value) {
      for (int bit = 0; bit < width; ++bit) all[first + bit] = (value >> bit & 1) != 0;
    };
    put(0, 4, fields.frameUnits);
    put(8, 2, fields.frameTens);
    put(10, 1, fields.dropFrame ? 1 : 0);
    put(16, 4, fields.secondsUnits);
    put(24, 3, fields.secondsTens);
    put(32, 4, fields.minutesUnits);
    put(40, 3, fields.minutesTens);
    put(48, 4, fields.hoursUnits);
    put(56, 2, fields.hoursTens);
    // The sync word 0011 1111 1111 1101, first bit first.
    put(64, 16, 0xbffc);
    return all;
  }

  // Biphase mark: the level changes at the start of every bit, and in the middle of a one.
  void write(const Bits& all, double lengthInSamples) {
    const double half = lengthInSamples / 160;
    for (const bool one : all) {
      high_ = !high_;
      hold(half);
      if (one) high_ = !high_;
      hold(half);
    }
  }
  void hold(double length) {
    end_ += length;
    samples.resize(static_cast<std::size_t>(std::llround(end_)), high_ ? level_ : -level_);
  }

  float level_;
  bool high_ = false;
  double end_ = 0;
};

}  // namespace tallyrig
