#include "ltc/LTCOutputRenderer.h"

#include <algorithm>
#include <cstring>

#include "audio/LogicalChannel.h"
#include "timecode/TimecodeAnchor.h"

namespace tallyrig {

LTCOutputRenderer::LTCOutputRenderer(std::int64_t channel, std::int64_t ringCapacity, const HostClock& clock)
    : channel_(channel), clock_(clock), ring_(ringCapacity) {}

void LTCOutputRenderer::render(std::span<AudioBuffer> buffers, const AudioTimeStamp& time, bool clearOutput) noexcept {
  if (buffers.empty()) return;
  const std::uint32_t channels = std::max(buffers.front().channelCount, 1U);
  const auto frames = static_cast<std::int64_t>(buffers.front().byteSize / (channels * sizeof(float)));
  if (frames < 1 || frames > kLargestCycle) return;
  if (clearOutput) {
    for (const AudioBuffer& buffer : buffers) {
      if (buffer.data != nullptr) std::memset(buffer.data, 0, buffer.byteSize);
    }
  }

  const std::int64_t position = renderedSampleOffset_.load(std::memory_order_relaxed);
  if (ring_.read(scratch_.get(), frames) < frames) underrunPending_.store(true, std::memory_order_release);
  if (const auto stop = requestedStopSampleOffset_.load(std::memory_order_acquire); stop >= 0) {
    const std::int64_t left = std::clamp<std::int64_t>(stop - position, 0, frames);
    std::fill(scratch_.get() + left, scratch_.get() + frames, 0.0F);
  }

  const LogicalChannel target = findLogicalChannel(buffers, channel_);
  if (target.first != nullptr) {
    for (std::int64_t i = 0; i < frames; ++i) target.first[i * target.stride] = scratch_[i];
  }
  publish(position, frames, time);
}

void LTCOutputRenderer::publish(std::int64_t position, std::int64_t frames, const AudioTimeStamp& time) noexcept {
  const HostTime instant = time.hostTimeValid ? time.hostTime : clock_.now();
  const std::uint64_t sequence = stampSequence_.load(std::memory_order_relaxed);
  stampSequence_.store(sequence + 1, std::memory_order_seq_cst);
  callbackSampleOffset_.store(position, std::memory_order_seq_cst);
  callbackHostTime_.store(instant.ticks, std::memory_order_seq_cst);
  stampSequence_.store(sequence + 2, std::memory_order_seq_cst);
  renderedSampleOffset_.store(position + frames, std::memory_order_release);
}

HostTime LTCOutputRenderer::hostTimeOf(std::int64_t offset, double sampleRate) const noexcept {
  std::int64_t callbackOffset = 0;
  std::uint64_t callbackTime = 0;
  std::uint64_t sequence = 0;
  // The two numbers must be of one cycle, or the instant would be off by a whole cycle. A write takes nanoseconds.
  do {
    sequence = stampSequence_.load(std::memory_order_seq_cst);
    callbackOffset = callbackSampleOffset_.load(std::memory_order_seq_cst);
    callbackTime = callbackHostTime_.load(std::memory_order_seq_cst);
  } while (sequence % 2 != 0 || sequence != stampSequence_.load(std::memory_order_seq_cst));
  if (callbackTime == 0) return clock_.now();
  return offsetBySamples(HostTime{callbackTime}, offset - callbackOffset, sampleRate, clock_);
}

}  // namespace tallyrig
