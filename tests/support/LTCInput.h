#pragma once

#include <cmath>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>

#include "platform/HostClock.h"
#include "platform/simulated/SimulatedDevice.h"
#include "support/LTCSignal.h"

namespace tallyrig {

/// LTC played into one input channel of a simulated device, and what a card on that channel must show.
class LTCInput {
 public:
  LTCInput(SimulatedDevice& device, std::size_t channel, MTCFrameRate rate, const Timecode& start,
           double sampleRate = 48000)
      : device_(device), signal_(rate, start, sampleRate), channel_(channel) {
    connect();
  }

  /// Plays on from the present position of the signal's own time; a mute does not stop it.
  void connect() {
    device_.feed(channel_, [this](std::int64_t position, std::span<float> samples) {
      signal_.fill(position, samples);
      for (float& sample : samples) sample *= gain;
    });
  }

  /// The frame at the connector at `now`; absent within `margin` samples of a boundary between two frames, where
  /// either neighbour is right.
  std::optional<Timecode> truthAt(HostTime now, const HostClock& clock, double actualRate, std::int64_t margin = 3) {
    const double seconds = clock.seconds(now - device_.timeOf(0));
    const auto position = static_cast<std::int64_t>(std::llround(seconds * actualRate));
    if (position < margin) return std::nullopt;
    const Timecode early = signal_.frameAt(position - margin);
    if (early != signal_.frameAt(position + margin)) return std::nullopt;
    return early;
  }

  float gain = 1;

 private:
  SimulatedDevice& device_;
  LTCSignal signal_;
  std::size_t channel_;
};

}  // namespace tallyrig
