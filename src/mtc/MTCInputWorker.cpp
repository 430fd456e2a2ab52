#include "mtc/MTCInputWorker.h"

#include <cmath>
#include <utility>

namespace tallyrig {
namespace {

constexpr double kMissingQuarterFramesBeforeTimeout = 4.0;

/// How late, in time-outs, one may be judged before the queue itself counts as having stood still.
constexpr double kToleratedTimeouts = 2.0;

std::uint64_t wholeNanos(double seconds) {
  return static_cast<std::uint64_t>(std::llround(seconds * 1e9));
}

}  // namespace

MTCInputWorker::MTCInputWorker(const HostClock& clock, Scheduler& scheduler, Log& log, Events events)
    : clock_(clock),
      log_(log),
      events_(std::move(events)),
      queue_(scheduler.makeQueue("Tallyrig.MTCDecoder", QueuePriority::kUserInteractive)),
      decoder_(clock, log) {
  decoder_.onAnchor = [this](const TimecodeAnchor& anchor, double spanMilliseconds, double delayMilliseconds) {
    lastFrameRate_ = anchor.timecode.frameRate;
    if (events_.onAnchor) events_.onAnchor(anchor, spanMilliseconds, delayMilliseconds);
  };
}

void MTCInputWorker::receive(std::span<const std::uint8_t> bytes, HostTime packetHostTime) {
  if (bytes.empty()) return;
  const HostTime receipt = clock_.now();
  latestPacketReceiptHostTime_.store(receipt);
  queue_->post([weak = weak_from_this(), copy = std::vector(bytes.begin(), bytes.end()), packetHostTime, receipt] {
    if (const auto self = weak.lock()) self->walk(copy, packetHostTime, receipt);
  });
}

void MTCInputWorker::reset() {
  latestPacketReceiptHostTime_.store(HostTime{});
  queue_->post([weak = weak_from_this()] {
    const auto self = weak.lock();
    if (!self) return;
    ++self->timeoutGeneration_;
    self->decoder_.reset();
    self->sysexBuffer_.clear();
  });
}

void MTCInputWorker::walk(std::span<const std::uint8_t> bytes, HostTime packetHostTime, HostTime receipt) {
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    const std::uint8_t byte = bytes[i];
    if (byte == kSystemExclusiveStart) {
      sysexBuffer_.assign(1, byte);
    } else if (byte == kQuarterFrameStatus && i + 1 < bytes.size()) {
      ++i;
      decoder_.process(bytes[i], packetHostTime);
      armTimeout(receipt);
    } else if (!sysexBuffer_.empty()) {
      sysexBuffer_.push_back(byte);
      if (byte == kSystemExclusiveEnd) endSystemExclusive(packetHostTime, receipt);
    }
  }
}

void MTCInputWorker::endSystemExclusive(HostTime packetHostTime, HostTime receipt) {
  const auto timecode = timecodeFromFullFrame(sysexBuffer_);
  sysexBuffer_.clear();
  if (!timecode) return;
  ++timeoutGeneration_;
  latestPacketReceiptHostTime_.store(receipt);
  decoder_.reset();
  if (events_.onFullFrame) events_.onFullFrame({*timecode, packetHostTime});
}

void MTCInputWorker::armTimeout(HostTime receipt) {
  const double seconds = kMissingQuarterFramesBeforeTimeout / quarterFramesPerSecond(lastFrameRate_);
  const HostTime deadline = receipt + clock_.ticksFromNanos(wholeNanos(seconds));
  schedule({++timeoutGeneration_, receipt, deadline, seconds, true});
}

void MTCInputWorker::schedule(const Timeout& timeout) {
  queue_->postAfter(std::chrono::nanoseconds(wholeNanos(timeout.seconds)), [weak = weak_from_this(), timeout] {
    if (const auto self = weak.lock()) self->handleTimeout(timeout);
  });
}

void MTCInputWorker::handleTimeout(Timeout timeout) {
  if (timeoutGeneration_ != timeout.generation || latestPacketReceiptHostTime() != timeout.receipt) return;
  const HostTime now = clock_.now();
  const double late = clock_.milliseconds(now - timeout.deadline);
  if (timeout.canDefer && late > kToleratedTimeouts * 1000.0 * timeout.seconds) {
    log_.timed(formatted("MTCReceiver: deferred late quarter-frame timeout, scheduler delay %.1fms", late));
    timeout.canDefer = false;
    schedule(timeout);
    return;
  }
  decoder_.reset();
  if (events_.onTimeout) events_.onTimeout(timeout.receipt, clock_.milliseconds(now - timeout.receipt));
}

}  // namespace tallyrig
