#include "ltc/LTCOutputSession.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <utility>

namespace tallyrig {
namespace {

using namespace std::chrono_literals;

constexpr TimerSchedule kProducerSchedule{.interval = 10ms, .leeway = 1ms};
constexpr double kSecondsAhead = 2.0;
/// The ring's room unless two seconds and the frame that reaches them need more, as from 96 kHz on.
constexpr std::int64_t kSmallestRing = 192'000;

}  // namespace

LTCOutputSession::LTCOutputSession(Settings settings, const HostClock& clock, Scheduler& scheduler, Log& log)
    : settings_(std::move(settings)),
      clock_(clock),
      log_(log),
      producerQueue_(scheduler.makeQueue("Tallyrig.LTCOutputProducer", QueuePriority::kUserInitiated)) {}

std::optional<LTCOutputError> LTCOutputSession::configure(double sampleRate) {
  std::optional<LTCOutputError> error;
  producerQueue_->runSync([&] {
    sampleRate_ = sampleRate;
    generator_ = LTCAudioGenerator::create(settings_.frameRate, sampleRate, settings_.volumeDBFS);
    if (!generator_) {
      error = LTCOutputError{LTCOutputError::Kind::generatorCreationFailed};
      return;
    }
    generator_->setTimecode(settings_.startTimecode.converted(settings_.frameRate));
    const auto largestFrame = static_cast<std::int64_t>(std::ceil(sampleRate / exactFrameRate(settings_.frameRate)));
    renderer_ = std::make_shared<LTCOutputRenderer>(settings_.channel,
                                                    std::max(kSmallestRing, samplesAhead() + largestFrame), clock_);
    fill();
    producerTimer_ = producerQueue_->repeat(kProducerSchedule, [weak = weak_from_this()] {
      if (const auto self = weak.lock()) self->tick();
    });
  });
  return error;
}

std::int64_t LTCOutputSession::samplesAhead() const {
  return static_cast<std::int64_t>(kSecondsAhead * sampleRate_);
}

void LTCOutputSession::fill() {
  if (!generator_) return;
  RealtimeFloatRing& ring = renderer_->ring();
  while (ring.availableSamples() < samplesAhead()) {
    const auto frame = generator_->nextFrame();
    if (frame.samples.empty()) return;
    frameBoundaries_.push_back({generatedSampleOffset_, frame.timecode});
    generatedSampleOffset_ += static_cast<std::int64_t>(frame.samples.size());
    ring.write(frame.samples);
  }
}

void LTCOutputSession::tick() {
  if (!requestedStopBoundary_) fill();
  publishNewestPlayedBoundary();
  if (renderer_->takeUnderrun() && onUnderrun) onUnderrun();
  reportBoundaryStop();
}

void LTCOutputSession::publishNewestPlayedBoundary() {
  const std::int64_t rendered = renderer_->renderedSampleOffset();
  const auto next = std::upper_bound(frameBoundaries_.begin(), frameBoundaries_.end(), rendered,
                                     [](std::int64_t at, const auto& boundary) { return at < boundary.sampleOffset; });
  if (next == frameBoundaries_.begin()) return;
  const FrameBoundary newest = *std::prev(next);
  if (newest.sampleOffset <= lastPublishedBoundaryOffset_) return;
  lastPublishedBoundaryOffset_ = newest.sampleOffset;
  const std::int64_t oldestKept = newest.sampleOffset - static_cast<std::int64_t>(sampleRate_);
  std::erase_if(frameBoundaries_, [&](const auto& boundary) { return boundary.sampleOffset < oldestKept; });
  if (onAnchor) onAnchor({newest.timecode, renderer_->hostTimeOf(newest.sampleOffset, sampleRate_)});
}

void LTCOutputSession::reportBoundaryStop() {
  if (!requestedStopBoundary_ || didReportBoundaryStop_) return;
  if (requestedStopBoundary_->sampleOffset > renderer_->renderedSampleOffset()) return;
  didReportBoundaryStop_ = true;
  const Timecode final = requestedStopBoundary_->timecode.advanced(-1);
  const TimecodeAnchor anchor{final, renderer_->hostTimeOf(requestedStopBoundary_->sampleOffset, sampleRate_)};
  log_.timed("LTCOutput: boundary stop after final transmitted frame " + final.text() + "; silence begins at " +
             requestedStopBoundary_->timecode.text());
  if (onAnchor) onAnchor(anchor);
  if (boundaryStopCompletion_) boundaryStopCompletion_(anchor);
}

void LTCOutputSession::requestBoundaryStop(std::function<void(const TimecodeAnchor&)> completion) {
  producerQueue_->post([weak = weak_from_this(), completion = std::move(completion)]() mutable {
    const auto self = weak.lock();
    if (!self || self->requestedStopBoundary_) return;
    self->boundaryStopCompletion_ = std::move(completion);
    const std::int64_t rendered = self->renderer_->renderedSampleOffset();
    for (const FrameBoundary& boundary : self->frameBoundaries_) {
      if (boundary.sampleOffset <= rendered) continue;
      self->requestedStopBoundary_ = boundary;
      self->renderer_->requestStopAt(boundary.sampleOffset);
      return;
    }
  });
}

void LTCOutputSession::close() {
  producerQueue_->runSync([this] {
    producerTimer_.reset();
    generator_.reset();
    frameBoundaries_.clear();
    requestedStopBoundary_.reset();
    boundaryStopCompletion_ = nullptr;
  });
}

}  // namespace tallyrig
