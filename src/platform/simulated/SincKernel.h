#pragma once

#include <cstddef>
#include <vector>

namespace tallyrig {

/// A windowed-sinc interpolator of 32 taps: the value of a sampled signal between two of its samples.
/// Making one allocates; `at` is real-time safe.
class SincKernel {
 public:
  static constexpr std::size_t kTaps = 32;
  /// Taps after the sample that is at or before the wanted place.
  static constexpr std::size_t kTapsAfter = kTaps / 2;

  /// `cutoff`: the highest frequency that passes, relative to half the signal's sample rate, above 0 up to 1.
  explicit SincKernel(double cutoff);

  /// `samples`: the `kTaps` samples around the place, of which it lies `fraction` after the one at `kTapsAfter` - 1.
  float at(const float* samples, double fraction) const noexcept;

 private:
  static constexpr std::size_t kPhases = 512;

  /// One row of taps for each phase, and one more for phase 1.
  std::vector<float> rows_;
};

}  // namespace tallyrig
