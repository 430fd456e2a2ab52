#include "platform/simulated/OutputHistory.h"

#include <algorithm>
#include <bit>

namespace tallyrig {

void OutputHistory::reserve(std::size_t samples) {
  if (samples <= ring_.size()) return;
  std::vector<float> kept(ring_.size());
  const std::int64_t begin = end_ - static_cast<std::int64_t>(ring_.size());
  read(begin, kept);
  ring_.assign(std::bit_ceil(samples), 0.0f);
  write(begin, kept);
}

void OutputHistory::write(std::int64_t position, std::span<const float> samples) {
  const auto size = static_cast<std::int64_t>(ring_.size());
  for (std::int64_t gap = std::max(end_, position - size); gap < position; ++gap) ring_[index(gap)] = 0.0f;
  const std::size_t skipped = samples.size() > ring_.size() ? samples.size() - ring_.size() : 0;
  const auto kept = samples.subspan(skipped);
  const std::size_t start = index(position + static_cast<std::int64_t>(skipped));
  const std::size_t untilWrap = std::min(kept.size(), ring_.size() - start);
  std::copy_n(kept.data(), untilWrap, ring_.data() + start);
  std::copy_n(kept.data() + untilWrap, kept.size() - untilWrap, ring_.data());
  end_ = std::max(end_, position + static_cast<std::int64_t>(samples.size()));
}

void OutputHistory::read(std::int64_t position, std::span<float> samples) const {
  const std::int64_t end = position + static_cast<std::int64_t>(samples.size());
  const std::int64_t first = std::clamp(end_ - static_cast<std::int64_t>(ring_.size()), position, end);
  const std::int64_t last = std::clamp(end_, first, end);
  float* target = std::fill_n(samples.data(), first - position, 0.0f);
  const std::size_t start = index(first);
  const auto count = static_cast<std::size_t>(last - first);
  const std::size_t untilWrap = std::min(count, ring_.size() - start);
  target = std::copy_n(ring_.data() + start, untilWrap, target);
  target = std::copy_n(ring_.data(), count - untilWrap, target);
  std::fill(target, samples.data() + samples.size(), 0.0f);
}

}  // namespace tallyrig
