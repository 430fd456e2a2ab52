#include "platform/simulated/SimulatedCable.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace tallyrig {
namespace {

/// Two clocks closer than this, in samples, are in phase.
constexpr double kInPhase = 1e-4;
constexpr std::int64_t kHistory = 1 << 16;

}  // namespace

SimulatedCable::SimulatedCable(OutputHistory& history, const DeviceTimeline& source, const DeviceTimeline& destination,
                               const SimulatedCableOptions& options, std::uint64_t seed)
    : history_(history),
      source_(source),
      destination_(destination),
      options_(options),
      noise_(static_cast<std::uint32_t>(seed)) {
  setDelay(options.delay);
}

void SimulatedCable::setDelay(std::int64_t samples) {
  options_.delay = samples;
  history_.reserve(static_cast<std::size_t>(samples + kHistory));
}

void SimulatedCable::addTo(std::span<float> sum, std::int64_t position) {
  if (isCut_) return;
  std::array<float, kBlock> block;
  for (std::size_t done = 0; done < sum.size();) {
    const std::span<float> samples(block.data(), std::min(kBlock, sum.size() - done));
    fetch(samples, position + static_cast<std::int64_t>(done));
    for (const float sample : samples) sum[done++] += sample * options_.gain;
  }
  if (options_.noise <= 0) return;
  // A uniform distribution over -w to w has the root mean square w / sqrt(3).
  const float scale = 2 * options_.noise * std::sqrt(3.0f) / static_cast<float>(std::minstd_rand::max());
  const float middle = options_.noise * std::sqrt(3.0f);
  for (float& sample : sum) sample += static_cast<float>(noise_()) * scale - middle;
}

std::int64_t SimulatedCable::samplesNeeded() const {
  if (&source_ == &destination_) return 0;
  const FineTime time = std::max(source_.lastChange(), destination_.lastChange());
  return isInStep(time, source_.placeAt(time)) ? 0 : static_cast<std::int64_t>(SincKernel::kTapsAfter) + 1;
}

void SimulatedCable::fetch(std::span<float> samples, std::int64_t position) {
  if (&source_ == &destination_) {
    history_.read(position - options_.delay, samples);
    return;
  }
  const FineTime time = destination_.timeAt(position);
  auto first = source_.placeAt(time);
  if (isInStep(time, first)) {
    const std::int64_t nearest = first.position + (first.fraction > 0.5 ? 1 : 0);
    history_.read(nearest - options_.delay, samples);
    return;
  }
  const FineTime endTime = destination_.timeAt(position + static_cast<std::int64_t>(samples.size()));
  interpolate(samples, first, source_.placeAt(endTime));
}

void SimulatedCable::interpolate(std::span<float> samples, DeviceTimeline::Place first, DeviceTimeline::Place end) {
  const double distance = static_cast<double>(end.position - first.position) + end.fraction - first.fraction;
  const double step = distance / static_cast<double>(samples.size());
  const SincKernel& kernel = kernelFor(step);
  const std::int64_t windowStart =
      first.position - options_.delay - static_cast<std::int64_t>(SincKernel::kTapsAfter) + 1;
  window_.resize(static_cast<std::size_t>(end.position - first.position) + SincKernel::kTaps + 2);
  readHolding(window_, windowStart);
  for (std::size_t i = 0; i < samples.size(); ++i) {
    const double along = first.fraction + step * static_cast<double>(i);
    const auto whole = static_cast<std::size_t>(along);
    samples[i] = kernel.at(window_.data() + whole, along - static_cast<double>(whole));
  }
}

void SimulatedCable::readHolding(std::span<float> samples, std::int64_t position) const {
  history_.read(position, samples);
  const std::int64_t there = history_.end() - position;
  if (there <= 0 || there >= static_cast<std::int64_t>(samples.size())) return;
  std::fill(samples.begin() + there, samples.end(), samples[static_cast<std::size_t>(there - 1)]);
}

bool SimulatedCable::isInStep(FineTime time, const DeviceTimeline::Place& place) const {
  return destination_.hasRateOf(source_, time) && std::abs(place.fraction - std::round(place.fraction)) < kInPhase;
}

/// A source of a higher rate loses what the destination's rate cannot carry, as in a converter.
const SincKernel& SimulatedCable::kernelFor(double step) {
  const double cutoff = std::min(1.0, 1.0 / step);
  if (!kernel_ || std::abs(cutoff - kernelCutoff_) > 0.005) {
    kernel_ = std::make_unique<SincKernel>(cutoff);
    kernelCutoff_ = cutoff;
  }
  return *kernel_;
}

}  // namespace tallyrig
