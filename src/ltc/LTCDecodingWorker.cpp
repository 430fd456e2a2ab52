#include "ltc/LTCDecodingWorker.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstring>
#include <utility>

#include "audio/LogicalChannel.h"

namespace tallyrig {
namespace {

using namespace std::chrono_literals;

constexpr int kRingSlots = 64;
constexpr int kFramesPerSlot = 8192;
constexpr TimerSchedule kDrainSchedule{.interval = 2ms, .leeway = 1ms};
constexpr auto kReceiveTimeout = 80ms;
constexpr std::uint64_t kPeakPublishNanos = 50'000'000;

}  // namespace

LTCDecodingWorker::LTCDecodingWorker(const HostClock& clock, Scheduler& scheduler, Log& log, Events events)
    : clock_(clock),
      main_(scheduler.mainQueue()),
      log_(log),
      events_(std::make_shared<const Events>(std::move(events))),
      queue_(scheduler.makeQueue("Tallyrig.LTCDecoder", QueuePriority::kUserInitiated)),
      ring_(std::make_shared<RealtimeAudioChunkRing>(kRingSlots, kFramesPerSlot)),
      decoder_(clock) {
  decoder_.onTimecode = [this](const LTCTimecodeDecoder::DecodedFrame& frame) { handleFrame(frame); };
}

void LTCDecodingWorker::capture(RealtimeAudioChunkRing& ring, std::int64_t channel,
                                std::span<const AudioBuffer> buffers, std::uint32_t frames, double sampleRate,
                                const AudioTimeStamp& time) noexcept {
  const LogicalChannel source = findLogicalChannel(buffers, channel);
  if (source.first == nullptr) return;
  RealtimeAudioChunkRing::Slot* const slot = ring.beginPush();
  if (slot == nullptr) return;

  const auto count = std::min<std::int64_t>(frames, ring.maximumFrames());
  float peak = 0;
  if (source.stride == 1) {
    std::memcpy(slot->samples, source.first, static_cast<std::size_t>(count) * sizeof(float));
    for (std::int64_t i = 0; i < count; ++i) peak = std::max(peak, std::abs(slot->samples[i]));
  } else {
    for (std::int64_t i = 0; i < count; ++i) {
      const float sample = source.first[i * source.stride];
      slot->samples[i] = sample;
      peak = std::max(peak, std::abs(sample));
    }
  }
  slot->count = count;
  slot->sampleRate = sampleRate;
  slot->hostTime = time.hostTimeValid ? time.hostTime : HostTime{};
  slot->hasHostTime = time.hostTimeValid;
  slot->peak = std::min(peak, 1.0F);
  ring.endPush();
}

void LTCDecodingWorker::cancelTimeouts() noexcept {
  receiveTimeoutGeneration_.fetch_add(1, std::memory_order_relaxed);
}

bool LTCDecodingWorker::isCurrentTimeout(std::uint64_t generation) const noexcept {
  return receiveTimeoutGeneration_.load(std::memory_order_acquire) == generation;
}

void LTCDecodingWorker::resetNow() {
  queue_->runSync([this] {
    cancelTimeouts();
    decoder_.reset();
  });
}

void LTCDecodingWorker::resetAndDiscardLater() {
  queue_->post([self = shared_from_this()] {
    self->cancelTimeouts();
    self->decoder_.reset();
    self->ring_->discard();
  });
}

void LTCDecodingWorker::resetDecoderLater() {
  queue_->post([self = shared_from_this()] { self->decoder_.reset(); });
}

std::unique_ptr<RepeatingTimer> LTCDecodingWorker::startDraining() {
  return queue_->repeat(kDrainSchedule, [weak = weak_from_this()] {
    if (const auto self = weak.lock()) self->drain();
  });
}

void LTCDecodingWorker::drain() {
  bool drained = false;
  float peak = 0;
  while (const RealtimeAudioChunkRing::Slot* const slot = ring_->front()) {
    const auto hostTime = slot->hasHostTime ? std::optional(slot->hostTime) : std::nullopt;
    decoder_.process({slot->samples, static_cast<std::size_t>(slot->count)}, hostTime, slot->sampleRate);
    peak = slot->peak;
    drained = true;
    ring_->pop();
  }
  if (drained) {
    const HostTime now = clock_.now();
    if (now - lastPeakPublishHostTime_ >= clock_.ticksFromNanos(kPeakPublishNanos)) {
      lastPeakPublishHostTime_ = now;
      main_.post([events = events_, peak] { events->peak(peak); });
    }
  }
  if (const auto dropped = ring_->takeDroppedCount(); dropped != 0) {
    log_.timed(
        formatted("LTCReceiver: dropped %llu audio chunk(s) before decode", static_cast<unsigned long long>(dropped)));
  }
}

void LTCDecodingWorker::handleFrame(const LTCTimecodeDecoder::DecodedFrame& frame) {
  armTimeout();
  main_.post([events = events_, frame] { events->frame(frame); });
}

void LTCDecodingWorker::armTimeout() {
  const std::uint64_t generation = receiveTimeoutGeneration_.fetch_add(1, std::memory_order_relaxed) + 1;
  queue_->postAfter(kReceiveTimeout, [weak = weak_from_this(), generation] {
    const auto self = weak.lock();
    if (!self || !self->isCurrentTimeout(generation)) return;
    self->main_.post([events = self->events_, generation] { events->timeout(generation); });
  });
}

}  // namespace tallyrig
