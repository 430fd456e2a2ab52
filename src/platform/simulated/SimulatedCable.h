#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "platform/simulated/DeviceTimeline.h"
#include "platform/simulated/OutputHistory.h"
#include "platform/simulated/SincKernel.h"

namespace tallyrig {

struct SimulatedCableOptions {
  /// Factor on each sample.
  float gain = 1.0f;
  /// White noise added to the signal, as its root mean square.
  float noise = 0.0f;
  /// In samples of the device that plays, 0 or more.
  std::int64_t delay = 0;
};

/// A wire from an output channel of a device to an input channel of the same device or another.
///
/// What is at the output connector at an instant is at the input connector at that instant, plus the delay. Between
/// clocks of one rate and phase, samples pass bit for bit. Otherwise they are interpolated at the true instant by a
/// windowed sinc of 32 taps, so that time stamps on the two sides agree to a fraction of a sample. The sinc needs 16
/// samples from after that instant: for these the receiving device calls back 16 samples late, with its stamps
/// unchanged (`SimulatedDevice`). Where two devices wait for each other that cannot be had, and a sample that is not
/// there yet counts as equal to the last one that is.
///
/// The thread of its devices' cycles.
class SimulatedCable {
 public:
  /// A cable within one device has `source` equal to `destination`. Both timelines and the history outlive it.
  SimulatedCable(OutputHistory& history, const DeviceTimeline& source, const DeviceTimeline& destination,
                 const SimulatedCableOptions& options, std::uint64_t seed);

  /// A cut cable is silent, without noise.
  void cut() { isCut_ = true; }
  void restore() { isCut_ = false; }
  void setDelay(std::int64_t samples);

  /// Adds to `sum` what arrives from sample position `position` of the destination on.
  void addTo(std::span<float> sum, std::int64_t position);
  /// How many samples after an instant the playing device must have played for the instant to be complete, as both
  /// clocks run by now.
  std::int64_t samplesNeeded() const;

 private:
  static constexpr std::size_t kBlock = 64;

  void addNoise(std::span<float> sum);
  void fetch(std::span<float> samples, std::int64_t position);
  void interpolate(std::span<float> samples, DeviceTimeline::Place first, DeviceTimeline::Place end);
  void readHolding(std::span<float> samples, std::int64_t position) const;
  bool isInStep(FineTime time, const DeviceTimeline::Place& place) const;
  const SincKernel& kernelFor(double step);

  OutputHistory& history_;
  const DeviceTimeline& source_;
  const DeviceTimeline& destination_;
  SimulatedCableOptions options_;
  bool isCut_ = false;
  std::uint32_t noiseState_;
  std::unique_ptr<SincKernel> kernel_;
  double kernelCutoff_ = 0;
  std::vector<float> window_;
};

}  // namespace tallyrig
