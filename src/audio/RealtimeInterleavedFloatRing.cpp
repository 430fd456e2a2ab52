#include "audio/RealtimeInterleavedFloatRing.h"

#include <algorithm>

namespace tallyrig {

RealtimeInterleavedFloatRing::RealtimeInterleavedFloatRing(std::int64_t channelCount, std::int64_t capacityFrames)
    : channelCount_(std::max<std::int64_t>(channelCount, 1)),
      positions_(std::max<std::int64_t>(capacityFrames, 1) + 1),
      storage_(std::make_unique<float[]>(static_cast<std::size_t>(positions_ * channelCount_))) {}

std::int64_t RealtimeInterleavedFloatRing::availableFrames() const noexcept {
  const std::int64_t read = readFrameIndex_.load(std::memory_order_acquire);
  const std::int64_t write = writeFrameIndex_.load(std::memory_order_acquire);
  return write >= read ? write - read : positions_ - read + write;
}

std::int64_t RealtimeInterleavedFloatRing::write(const float* source, std::int64_t frames) noexcept {
  const std::int64_t count = std::min(frames, positions_ - 1 - availableFrames());
  if (count < 1) return 0;
  const std::int64_t write = writeFrameIndex_.load(std::memory_order_relaxed);
  const std::int64_t first = std::min(count, positions_ - write);
  std::copy_n(source, first * channelCount_, &storage_[write * channelCount_]);
  std::copy_n(source + first * channelCount_, (count - first) * channelCount_, &storage_[0]);
  const std::int64_t end = write + count;
  writeFrameIndex_.store(end >= positions_ ? end - positions_ : end, std::memory_order_release);
  return count;
}

std::int64_t RealtimeInterleavedFloatRing::read(float* destination, std::int64_t frames) noexcept {
  const std::int64_t count = std::min(frames, availableFrames());
  if (count < 1) return 0;
  const std::int64_t read = readFrameIndex_.load(std::memory_order_relaxed);
  const std::int64_t first = std::min(count, positions_ - read);
  std::copy_n(&storage_[read * channelCount_], first * channelCount_, destination);
  std::copy_n(&storage_[0], (count - first) * channelCount_, destination + first * channelCount_);
  const std::int64_t end = read + count;
  readFrameIndex_.store(end >= positions_ ? end - positions_ : end, std::memory_order_release);
  return count;
}

}  // namespace tallyrig
