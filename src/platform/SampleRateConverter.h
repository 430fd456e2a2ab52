#pragma once

#include <memory>
#include <span>
#include <vector>

namespace tallyrig {

/// Turns sound of one rate into the same sound at another: interleaved 32-bit floats, any number of channels. The first
/// frame that comes out is of the same instant as the first that went in. What goes in comes out some milliseconds of
/// sound later, and the rest of it at the end.
///
/// One thread at a time that is no real-time thread.
class SampleRateConverter {
 public:
  virtual ~SampleRateConverter() = default;

  /// Appends to `output` what can be told after these whole frames of `input`.
  virtual void convert(std::span<const float> input, std::vector<float>& output) = 0;

  /// There is no more input: appends the rest. Nothing may follow.
  virtual void finish(std::vector<float>& output) = 0;
};

class SampleRateConverters {
 public:
  virtual ~SampleRateConverters() = default;

  /// Rates in hertz, whole and above 0; at least one channel. Empty if there is no such converter. Any thread but a
  /// real-time one.
  virtual std::unique_ptr<SampleRateConverter> make(double from, double to, int channelCount) = 0;
};

}  // namespace tallyrig
