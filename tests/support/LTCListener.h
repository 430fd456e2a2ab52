#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>

#include "timecode/Timecode.h"

namespace tallyrig {

/// Reads LTC (SMPTE 12M) off the level changes of a clean signal: a second opinion beside the decoder that the program
/// uses. It knows no tolerance for a missing sample, it wants the code at nominal speed, and it hears the last frame
/// before silence too. One thread at a time.
class LTCListener {
 public:
  struct Frame {
    Timecode timecode;
    /// Its first sample, and the sample after its last.
    std::int64_t start = 0;
    std::int64_t end = 0;
  };

  explicit LTCListener(double sampleRate);

  /// Called for each whole frame, inside `hear`.
  std::function<void(const Frame&)> onFrame;

  /// Takes what is heard from `position` on. What lies between two calls, if anything, was silent.
  void hear(std::int64_t position, std::span<const float> samples);

  /// There is nothing more to hear: silence from here on.
  void finish();

  /// Sounds that belonged to no whole frame: breaks in the code, clicks, cut-off frames.
  int brokenCount() const { return broken_; }

 private:
  static constexpr std::int64_t kBits = 80;

  void sample(std::int64_t position, float value);
  void change(std::int64_t position);
  void bit(bool one, std::int64_t end);
  void endOfSound(std::int64_t position);
  std::optional<Timecode> decode(std::int64_t length) const;
  int field(int first, int width) const;
  bool at(int bit) const { return bits_[static_cast<std::size_t>((count_ + bit) % kBits)]; }

  const double sampleRate_;
  /// A bit at 25 frames a second, in samples.
  const double bitLength_;

  std::int64_t next_ = 0;
  /// The first sample of the present run of silence; absent during sound.
  std::optional<std::int64_t> quietSince_ = 0;
  bool isSounding_ = false;
  bool isHigh_ = false;
  /// The last level change.
  std::int64_t lastChange_ = 0;
  /// The first half of a one has been heard.
  bool isInOne_ = false;
  /// The last 80 bits and where each began, as rings.
  std::array<bool, kBits> bits_{};
  std::array<std::int64_t, kBits> starts_{};
  std::int64_t count_ = 0;
  std::int64_t bitStart_ = 0;
  /// Bits since the last whole frame or the beginning of the sound.
  std::int64_t sinceFrame_ = 0;
  int broken_ = 0;
};

}  // namespace tallyrig
