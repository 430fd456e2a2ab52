#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "platform/simulated/SimulatedDevice.h"
#include "support/LTCListener.h"

namespace tallyrig {

/// All LTC that an output channel of a simulated device has played since it was made, as another decoder hears it.
/// The device must not run on without it, so it lives as long as the world.
class HeardOutput {
 public:
  HeardOutput(SimulatedDevice& device, std::size_t channel, double sampleRate = 48000) : listener_(sampleRate) {
    listener_.onFrame = [this](const LTCListener::Frame& frame) { frames_.push_back(frame); };
    device.onOutput(channel, [this](std::int64_t position, std::span<const float> samples) {
      listener_.hear(position, samples);
      for (std::size_t i = samples.size(); i > 0; --i) {
        if (samples[i - 1] == 0.0F) continue;
        soundEnd_ = position + static_cast<std::int64_t>(i);
        break;
      }
    });
  }
  HeardOutput(const HeardOutput&) = delete;
  HeardOutput& operator=(const HeardOutput&) = delete;

  /// There is nothing more to hear; a device that has been closed plays no silence that would tell.
  void finish() { listener_.finish(); }

  const std::vector<LTCListener::Frame>& frames() const { return frames_; }
  /// Breaks in the code so far.
  int brokenCount() const { return listener_.brokenCount(); }
  /// The position after the last sample that was not silent.
  std::int64_t soundEnd() const { return soundEnd_; }

  /// The frame that holds the sample; absent in silence and beyond the last whole frame.
  std::optional<LTCListener::Frame> frameAt(std::int64_t position) const {
    const auto next =
        std::upper_bound(frames_.begin(), frames_.end(), position,
                         [](std::int64_t at, const LTCListener::Frame& frame) { return at < frame.start; });
    if (next == frames_.begin() || std::prev(next)->end <= position) return std::nullopt;
    return *std::prev(next);
  }

 private:
  LTCListener listener_;
  std::vector<LTCListener::Frame> frames_;
  std::int64_t soundEnd_ = 0;
};

}  // namespace tallyrig
