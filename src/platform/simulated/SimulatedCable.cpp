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
      noiseState_(static_cast<std::uint32_t>(seed) | 1) {
  setDelay(options.delay);
}

void SimulatedCable::setDelay(std::int64_t samples) {
  options_.delay = samples;
  history_.reserve(static_cast<std::size_t>(samples + kHistory));
}

void SimulatedCable::addTo(std::span<float> sum, std::int64_t position) {
  if (isCut_) return;
  std::array<float, kBlock> block;
  for (std::size_t done = 0; done < sum.size(); done += kBlock) {
    const std::size_t count = std::min(kBlock, sum.size() - done);
    fetch({block.data(), count}, position + static_cast<std::int64_t>(done));
    const float* source = block.data();
    float* target = sum.data() + done;
    for (const float* end = source + count; source != end; ++source) *target++ += *source * options_.gain;
  }
  if (options_.noise > 0) addNoise(sum);
}

/// A uniform distribution over -w to w has the root mean square w / sqrt(3). Marsaglia's xorshift draws it.
void SimulatedCable::addNoise(std::span<float> sum) {
  const float scale = options_.noise * std::sqrt(3.0f) / 2147483648.0f;
  std::uint32_t state = noiseState_;
  float* target = sum.data();
  for (const float* end = target + sum.size(); target != end; ++target) {
    state ^= state << 13;
    state ^= state >> 17;
    state ^= state << 5;
    *target += static_cast<float>(static_cast<std::int32_t>(state)) * scale;
  }
  noiseState_ = state;
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
  const float* window = window_.data();
  float* target = samples.data();
  for (std::size_t i = 0; i < samples.size(); ++i) {
    const double along = first.fraction + step * static_cast<double>(i);
    const auto whole = static_cast<std::size_t>(along);
    target[i] = kernel.at(window + whole, along - static_cast<double>(whole));
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
