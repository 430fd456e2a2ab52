#include "platform/simulated/CycleBuffers.h"

#include <algorithm>

namespace tallyrig {

CycleBuffers::CycleBuffers(const std::vector<int>& groups, BufferArrangement arrangement, bool hasEmptyFirst) {
  if (hasEmptyFirst) buffers_.emplace_back();
  for (const int group : groups) {
    const auto count = static_cast<std::uint32_t>(group);
    if (arrangement == BufferArrangement::kOneBufferPerGroup) {
      for (std::uint32_t offset = 0; offset < count; ++offset) channels_.push_back({buffers_.size(), offset});
      buffers_.push_back({count, 0, nullptr});
    } else {
      for (std::uint32_t channel = 0; channel < count; ++channel) {
        channels_.push_back({buffers_.size(), 0});
        buffers_.push_back({1, 0, nullptr});
      }
    }
  }
  stores_.resize(buffers_.size());
}

void CycleBuffers::resize(std::uint32_t frames) {
  if (frames == frames_) return;
  frames_ = frames;
  for (std::size_t i = 0; i < buffers_.size(); ++i) {
    AudioBuffer& buffer = buffers_[i];
    stores_[i].samples.assign(static_cast<std::size_t>(frames) * buffer.channelCount, 0.0f);
    buffer.byteSize = static_cast<std::uint32_t>(stores_[i].samples.size() * sizeof(float));
    buffer.data = stores_[i].isWithheld || stores_[i].samples.empty() ? nullptr : stores_[i].samples.data();
  }
}

void CycleBuffers::withholdData(std::size_t buffer, bool withhold) {
  Store& store = stores_.at(buffer);
  store.isWithheld = withhold;
  buffers_[buffer].data = withhold || store.samples.empty() ? nullptr : store.samples.data();
}

void CycleBuffers::fill(float value) {
  for (Store& store : stores_) std::fill(store.samples.begin(), store.samples.end(), value);
}

void CycleBuffers::write(std::size_t channel, std::span<const float> samples) {
  const Channel place = channels_[channel];
  const std::size_t stride = buffers_[place.buffer].channelCount;
  float* target = stores_[place.buffer].samples.data() + place.offset;
  const float* source = samples.data();
  for (const float* end = source + samples.size(); source != end; target += stride) *target = *source++;
}

void CycleBuffers::addTo(std::span<float> sum, std::size_t channel) const {
  const Channel place = channels_[channel];
  const std::size_t stride = buffers_[place.buffer].channelCount;
  const float* source = stores_[place.buffer].samples.data() + place.offset;
  float* target = sum.data();
  for (const float* end = target + sum.size(); target != end; source += stride) *target++ += *source;
}

}  // namespace tallyrig
