#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "timecode/Timecode.h"

struct LTCEncoder;

namespace tallyrig {

/// A source of whole LTC frames (SMPTE 12M linear timecode) as audio. It knows nothing of devices, rings or clocks.
///
/// One thread at a time; not real-time safe, since it allocates.
class LTCAudioGenerator {
 public:
  struct GeneratedFrame {
    /// The time that this frame carries.
    Timecode timecode;
    /// Mono, nominally within -1...1. Where a frame is no whole number of samples the size differs from frame to frame,
    /// so that the rate is exact in the long run.
    std::vector<float> samples;
  };

  /// `sampleRate` in hertz. A volume in dBFS above 0, or too low for 8 bits, leaves the encoder's own default of
  /// about -3 dBFS. Null if there can be no encoder for this sample rate.
  static std::unique_ptr<LTCAudioGenerator> create(MTCFrameRate frameRate, double sampleRate, double volumeDBFS);
  /// Numbers like `frameRate` but gives each frame the length of another rate, as 23.976 does with the numbers of 24.
  static std::unique_ptr<LTCAudioGenerator> create(MTCFrameRate frameRate, double framesPerSecond, double sampleRate,
                                                   double volumeDBFS);

  /// The time of the next frame. Its rate is not looked at; each field must be within 0...255.
  void setTimecode(const Timecode& timecode);

  /// The next frame; moves on by one.
  GeneratedFrame nextFrame();
  /// The same as the encoder has it: a byte a sample, with silence at 128 and full scale 128 away. Until the next call.
  std::span<const std::uint8_t> nextSamples();

 private:
  struct FreeEncoder {
    void operator()(LTCEncoder* encoder) const noexcept;
  };

  LTCAudioGenerator(MTCFrameRate frameRate, LTCEncoder* encoder);

  MTCFrameRate frameRate_;
  std::unique_ptr<LTCEncoder, FreeEncoder> encoder_;
};

}  // namespace tallyrig
