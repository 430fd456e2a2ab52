#include "player/StreamingMediaPlaybackSession.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <utility>

namespace tallyrig {
namespace {

constexpr std::int64_t kLeastRingFrames = 8192;
constexpr std::int64_t kMostRingBytes = 33'554'432;
constexpr std::int64_t kLeastScratchFrames = 1024;
constexpr double kRingSeconds = 4.0;

std::uint32_t channelsOf(const AudioBuffer& buffer) noexcept {
  return std::max(buffer.channelCount, 1U);
}

struct Lane {
  float* first = nullptr;
  std::uint32_t stride = 0;
};

// Counts channels across the buffers. A buffer that says 0 holds one.
Lane findLane(std::span<const AudioBuffer> buffers, std::int64_t channel) noexcept {
  std::int64_t firstChannel = 0;
  for (const AudioBuffer& buffer : buffers) {
    const std::uint32_t channels = channelsOf(buffer);
    if (channel < firstChannel + channels) {
      return buffer.data == nullptr ? Lane{} : Lane{buffer.data + (channel - firstChannel), channels};
    }
    firstChannel += channels;
  }
  return {};
}

}  // namespace

StreamingMediaPlaybackSession::StreamingMediaPlaybackSession(Settings settings)
    : settings_(std::move(settings)),
      renderScratchFrameCapacity_(std::max(settings_.maximumFramesToRender, kLeastScratchFrames)),
      ring_(settings_.stream.channelCount, ringCapacity(settings_.outputRate, settings_.stream.channelCount)),
      renderScratch_(
          std::make_unique<float[]>(static_cast<std::size_t>(renderScratchFrameCapacity_ * ring_.channelCount()))) {}

std::int64_t StreamingMediaPlaybackSession::ringCapacity(double rate, int channelCount) {
  if (channelCount > 1024) return kLeastRingFrames;
  const std::int64_t most = kMostRingBytes / (std::max(channelCount, 1) * static_cast<std::int64_t>(sizeof(float)));
  return std::min(std::max(static_cast<std::int64_t>(rate * kRingSeconds), kLeastRingFrames), most);
}

void StreamingMediaPlaybackSession::cancel() {
  isCancelled_.store(true);
  wantsPlayback_.store(false);
  isRendering_.store(false);
  const std::lock_guard lock(readerLock_);
  if (const auto reader = std::exchange(activeReader_, nullptr)) reader->cancel();
}

bool StreamingMediaPlaybackSession::registerReader(std::shared_ptr<AudioReader> reader) {
  const std::lock_guard lock(readerLock_);
  if (isCancelled()) {
    reader->cancel();
    return false;
  }
  activeReader_ = std::move(reader);
  return true;
}

void StreamingMediaPlaybackSession::clearReader(const std::shared_ptr<AudioReader>& reader) {
  const std::lock_guard lock(readerLock_);
  if (activeReader_ == reader) activeReader_.reset();
}

bool StreamingMediaPlaybackSession::claimDecoder() noexcept {
  bool expected = false;
  return decoderClaimed_.compare_exchange_strong(expected, true);
}

void StreamingMediaPlaybackSession::render(std::span<AudioBuffer> buffers) noexcept {
  for (const AudioBuffer& buffer : buffers) {
    if (buffer.data != nullptr) std::memset(buffer.data, 0, buffer.byteSize);
  }
  if (buffers.empty() || !isRendering()) return;
  const auto frames =
      static_cast<std::int64_t>(buffers.front().byteSize / (channelsOf(buffers.front()) * sizeof(float)));
  if (frames > renderScratchFrameCapacity_ || !skipSome(frames)) return;
  const std::int64_t count = ring_.read(renderScratch_.get(), frames);
  if (count == 0) return;
  mix(buffers, count);
  renderedFrames_.fetch_add(count);
}

bool StreamingMediaPlaybackSession::skipSome(std::int64_t cycleFrames) noexcept {
  // As much in a cycle as costs little; the clip goes on meanwhile, so that a cycle without sound is to be passed over
  // as well.
  constexpr int kMostReads = 2;
  std::int64_t left = framesToSkip_.load();
  for (int reads = 0; left > 0 && reads < kMostReads; ++reads) {
    const std::int64_t count = ring_.read(renderScratch_.get(), std::min(left, renderScratchFrameCapacity_));
    if (count == 0) break;
    renderedFrames_.fetch_add(count);
    left = framesToSkip_.fetch_sub(count) - count;
  }
  if (left <= 0) return true;
  framesToSkip_.fetch_add(cycleFrames);
  return false;
}

void StreamingMediaPlaybackSession::mix(std::span<AudioBuffer> buffers, std::int64_t frames) noexcept {
  const std::int64_t channels = ring_.channelCount();
  const auto sources = std::min(static_cast<std::int64_t>(settings_.assignments.size()), channels);
  for (std::int64_t source = 0; source < sources; ++source) {
    const int output = settings_.assignments[static_cast<std::size_t>(source)];
    if (output < 0 || output >= settings_.outputChannelCount) continue;
    const Lane lane = findLane(buffers, output);
    if (lane.first == nullptr) continue;
    for (std::int64_t frame = 0; frame < frames; ++frame)
      lane.first[frame * lane.stride] += renderScratch_[frame * channels + source];
  }
}

}  // namespace tallyrig
