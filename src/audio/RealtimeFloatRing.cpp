#include "audio/RealtimeFloatRing.h"

#include <algorithm>

namespace tallyrig {

RealtimeFloatRing::RealtimeFloatRing(std::int64_t capacity)
    : positions_(std::max<std::int64_t>(capacity, 0) + 1),
      storage_(std::make_unique<float[]>(static_cast<std::size_t>(positions_))) {}

std::int64_t RealtimeFloatRing::availableSamples() const noexcept {
  const std::int64_t read = readIndex_.load(std::memory_order_acquire);
  const std::int64_t write = writeIndex_.load(std::memory_order_acquire);
  return write >= read ? write - read : positions_ - read + write;
}

void RealtimeFloatRing::write(std::span<const float> samples) noexcept {
  const std::int64_t write = writeIndex_.load(std::memory_order_relaxed);
  const std::int64_t read = readIndex_.load(std::memory_order_acquire);
  const std::int64_t room = (read > write ? read - write : positions_ - write + read) - 1;
  const std::int64_t count = std::min<std::int64_t>(static_cast<std::int64_t>(samples.size()), room);
  const std::int64_t first = std::min(count, positions_ - write);
  std::copy_n(samples.data(), first, &storage_[write]);
  std::copy_n(samples.data() + first, count - first, &storage_[0]);
  const std::int64_t end = write + count;
  writeIndex_.store(end >= positions_ ? end - positions_ : end, std::memory_order_release);
}

std::int64_t RealtimeFloatRing::read(float* destination, std::int64_t count) noexcept {
  if (count < 1) return 0;
  const std::int64_t read = readIndex_.load(std::memory_order_relaxed);
  const std::int64_t write = writeIndex_.load(std::memory_order_acquire);
  const std::int64_t available = write >= read ? write - read : positions_ - read + write;
  const std::int64_t delivered = std::min(count, available);
  const std::int64_t first = std::min(delivered, positions_ - read);
  std::copy_n(&storage_[read], first, destination);
  std::copy_n(&storage_[0], delivered - first, destination + first);
  std::fill_n(destination + delivered, count - delivered, 0.0F);
  const std::int64_t end = read + delivered;
  readIndex_.store(end >= positions_ ? end - positions_ : end, std::memory_order_release);
  return delivered;
}

}  // namespace tallyrig
