#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "platform/simulated/SimulatedDevice.h"
#include "support/LTCSignal.h"

namespace tallyrig {

/// What an output channel plays, held against the encoder's own samples: silence, then from the first frame's first
/// sample on the code without a gap, then silence for good.
class ExactOutput {
 public:
  ExactOutput(SimulatedDevice& device, std::size_t channel, const Timecode& start, double sampleRate)
      : truth_(start.frameRate, start, sampleRate), next_(device.nextPosition()) {
    device.onOutput(channel,
                    [this](std::int64_t position, std::span<const float> samples) { hear(position, samples); });
  }

  /// The position of the code's first sample.
  std::optional<std::int64_t> origin() const { return origin_; }
  /// The first position that is silent where code would go on.
  std::optional<std::int64_t> end() const { return end_; }
  /// Samples that are neither the code's nor the silence around it.
  std::int64_t strayCount() const { return strays_; }

  /// There is nothing more to hear.
  void finish() {
    if (origin_ && !end_) end_ = next_;
  }

  /// First sample of the frame that is the `index`th from the start.
  std::int64_t frameStart(std::int64_t index, double samplesPerFrame) {
    return *origin_ + truth_.frameStart(std::llround((static_cast<double>(index) + 0.5) * samplesPerFrame));
  }

 private:
  void hear(std::int64_t position, std::span<const float> samples) {
    // Where the device did not run there was silence.
    if (position != next_) finish();
    next_ = position + static_cast<std::int64_t>(samples.size());
    if (!origin_) find(position, samples);
    if (!origin_) return;
    expected_.resize(samples.size());
    truth_.fill(position - *origin_, expected_);
    for (std::size_t i = 0; i < samples.size(); ++i) {
      const std::int64_t at = position + static_cast<std::int64_t>(i);
      if (end_ ? samples[i] == 0.0F : samples[i] == expected_[i]) continue;
      if (!end_ && samples[i] == 0.0F) {
        end_ = at;
      } else {
        ++strays_;
      }
    }
  }

  void find(std::int64_t position, std::span<const float> samples) {
    std::vector<float> beginning(64);
    truth_.fill(0, beginning);
    const auto isSound = [](float sample) { return sample != 0.0F; };
    const auto sound = std::find_if(samples.begin(), samples.end(), isSound);
    if (sound == samples.end()) return;
    const auto first = std::find_if(beginning.begin(), beginning.end(), isSound);
    origin_ = position + (sound - samples.begin()) - (first - beginning.begin());
  }

  LTCSignal truth_;
  std::vector<float> expected_;
  std::optional<std::int64_t> origin_;
  std::optional<std::int64_t> end_;
  std::int64_t next_;
  std::int64_t strays_ = 0;
};

}  // namespace tallyrig
