#pragma once

#include <algorithm>
#include <optional>
#include <span>
#include <vector>

#include "ltc/LTCTimecodeDecoder.h"
#include "platform/simulated/SimulatedClock.h"

namespace tallyrig {

/// A decoder, its clock, and what it has reported.
struct DecoderRun {
  explicit DecoderRun(TickRatio tick = {}) : clock(tick) {
    decoder.onTimecode = [this](const LTCTimecodeDecoder::DecodedFrame& frame) { frames.push_back(frame); };
  }

  /// Feeds the samples in chunks. With a host time, each chunk is stamped by its distance from `start`.
  void feed(std::span<const float> samples, double sampleRate, std::size_t chunkSize,
            std::optional<HostTime> start = std::nullopt) {
    for (std::size_t position = 0; position < samples.size(); position += chunkSize) {
      std::optional<HostTime> stamp;
      if (start) stamp = *start + ticksOfSamples(position, sampleRate);
      decoder.process(samples.subspan(position, std::min(chunkSize, samples.size() - position)), stamp, sampleRate);
    }
  }

  /// Whole nanoseconds of a count of samples, in ticks.
  HostDuration ticksOfSamples(std::size_t count, double sampleRate) const {
    return clock.ticksFromNanos(static_cast<std::uint64_t>(static_cast<double>(count) * 1e9 / sampleRate + 0.5));
  }

  std::vector<Timecode> timecodes() const {
    std::vector<Timecode> all;
    for (const auto& frame : frames) all.push_back(frame.timecode);
    return all;
  }
  std::vector<std::string> texts() const {
    std::vector<std::string> all;
    for (const auto& frame : frames) all.push_back(frame.timecode.text() + " @ " + rateText(frame.timecode.frameRate));
    return all;
  }

  SimulatedClock clock;
  LTCTimecodeDecoder decoder{clock};
  std::vector<LTCTimecodeDecoder::DecodedFrame> frames;
};

}  // namespace tallyrig
