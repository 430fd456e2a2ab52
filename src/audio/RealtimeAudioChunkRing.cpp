#include "audio/RealtimeAudioChunkRing.h"

#include <algorithm>

namespace tallyrig {

RealtimeAudioChunkRing::RealtimeAudioChunkRing(std::int64_t capacity, std::int64_t maximumFrames)
    : capacity_(std::max<std::int64_t>(capacity, 2)),
      maximumFrames_(std::max<std::int64_t>(maximumFrames, 0)),
      samples_(std::make_unique_for_overwrite<float[]>(static_cast<std::size_t>(capacity_ * maximumFrames_))),
      slots_(std::make_unique<Slot[]>(static_cast<std::size_t>(capacity_))) {
  for (std::int64_t index = 0; index < capacity_; ++index) {
    slots_[index].samples = &samples_[index * maximumFrames_];
    // Brings in the page that a chunk of usual size fits in, so that the callback does not have to wait for it.
    if (maximumFrames_ > 0) slots_[index].samples[0] = 0;
  }
}

RealtimeAudioChunkRing::Slot* RealtimeAudioChunkRing::beginPush() noexcept {
  const std::int64_t write = writeIndex_.load(std::memory_order_relaxed);
  if (following(write) == readIndex_.load(std::memory_order_acquire)) {
    droppedChunks_.fetch_add(1, std::memory_order_relaxed);
    return nullptr;
  }
  return &slots_[write];
}

void RealtimeAudioChunkRing::endPush() noexcept {
  writeIndex_.store(following(writeIndex_.load(std::memory_order_relaxed)), std::memory_order_release);
}

const RealtimeAudioChunkRing::Slot* RealtimeAudioChunkRing::front() const noexcept {
  const std::int64_t read = readIndex_.load(std::memory_order_relaxed);
  if (read == writeIndex_.load(std::memory_order_acquire)) return nullptr;
  return &slots_[read];
}

void RealtimeAudioChunkRing::pop() noexcept {
  readIndex_.store(following(readIndex_.load(std::memory_order_relaxed)), std::memory_order_release);
}

std::uint64_t RealtimeAudioChunkRing::takeDroppedCount() noexcept {
  return droppedChunks_.exchange(0, std::memory_order_acq_rel);
}

void RealtimeAudioChunkRing::discard() noexcept {
  readIndex_.store(writeIndex_.load(std::memory_order_acquire), std::memory_order_release);
}

}  // namespace tallyrig
