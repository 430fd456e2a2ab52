#include "mtc/MTCOutputWorker.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdlib>
#include <utility>

#include "mtc/MTCQuarterFrame.h"

namespace tallyrig {
namespace {

using namespace std::chrono_literals;

constexpr TimerSchedule kRefillSchedule{.interval = 10ms, .leeway = 1ms};
constexpr std::uint64_t kScheduleAheadNanos = 100'000'000;
/// In frames.
constexpr std::int64_t kSmallestRelocation = 2;

}  // namespace

MTCOutputWorker::MTCOutputWorker(const HostClock& clock, Scheduler& scheduler, Log& log, MidiSystem& midi)
    : clock_(clock),
      log_(log),
      midi_(midi),
      queue_(scheduler.makeQueue("Tallyrig.MTCOutput", QueuePriority::kUserInteractive)) {}

void MTCOutputWorker::start(MIDIPortRef outputPort, MIDIEndpointRef destination, const TimecodeAnchor& anchor,
                            ErrorHandler onError) {
  queue_->runSync([&] {
    const HostTime now = clock_.now();
    outputPort_ = outputPort;
    destination_ = destination;
    anchor_ = anchor;
    nextPacketHostTime_ = now;
    quarterFrameHostTicks_ = clock_.ticksFromNanos(quarterFrameNanos(anchor.timecode.frameRate));
    hasScheduledPackets_ = false;
    restartSequence();
    latestScheduledTimecode_.reset();
    onError_ = std::move(onError);

    midi_.flushOutput(destination_);
    // Its first event comes after this task. A locate that fails takes the timer with it.
    timer_ = queue_->repeat(kRefillSchedule, [weak = weak_from_this()] {
      if (const auto self = weak.lock()) self->refill();
    });
    if (sendFullFrame(anchor.timecode, now)) nextPacketHostTime_ = now + quarterFrameHostTicks_;
  });
}

std::optional<Timecode> MTCOutputWorker::stop() {
  std::optional<Timecode> latest;
  queue_->runSync([&] {
    timer_.reset();
    latest = std::exchange(latestScheduledTimecode_, std::nullopt);
    if (destination_ != 0) midi_.flushOutput(destination_);
    outputPort_ = 0;
    destination_ = 0;
    anchor_.reset();
    nextPacketHostTime_ = {};
    quarterFrameHostTicks_ = {};
    hasScheduledPackets_ = false;
    restartSequence();
    onError_ = nullptr;
  });
  return latest;
}

void MTCOutputWorker::relocate(const TimecodeAnchor& anchor) {
  queue_->post([weak = weak_from_this(), anchor] {
    if (const auto self = weak.lock()) self->follow(anchor);
  });
}

void MTCOutputWorker::follow(const TimecodeAnchor& anchor) {
  if (!anchor_) {
    anchor_ = anchor;
    return;
  }
  if (isWithinTolerance(anchor)) return;
  anchor_ = anchor;
  restartSequence();
  const HostTime now = clock_.now();
  if (sendFullFrame(anchor.timecode, now)) {
    nextPacketHostTime_ = std::max(now + quarterFrameHostTicks_, nextPacketHostTime_);
  }
  log_.timed("MTCOutput: relocated stream to " + anchor.timecode.text());
}

bool MTCOutputWorker::isWithinTolerance(const TimecodeAnchor& anchor) const {
  const auto distance = anchor_->extrapolated(anchor.hostTime, clock_).signedFrameDistance(anchor.timecode);
  return distance && std::abs(*distance) < kSmallestRelocation;
}

void MTCOutputWorker::refill() {
  if (!anchor_ || outputPort_ == 0 || destination_ == 0 || quarterFrameHostTicks_.ticks == 0) return;
  const HostTime now = clock_.now();
  restartIfDrained(now);
  const HostTime horizon = now + clock_.ticksFromNanos(kScheduleAheadNanos);
  while (nextPacketHostTime_ <= horizon) {
    if (!scheduleQuarterFrame(nextPacketHostTime_)) return;
    nextPacketHostTime_ = nextPacketHostTime_ + quarterFrameHostTicks_;
  }
}

void MTCOutputWorker::restartIfDrained(HostTime now) {
  if (now <= nextPacketHostTime_) return;
  if (hasScheduledPackets_) {
    log_.timed(formatted("MTCOutput: CoreMIDI schedule-ahead window exhausted by %.1fms",
                         clock_.milliseconds(now - nextPacketHostTime_)));
  }
  nextPacketHostTime_ = now;
  restartSequence();
}

void MTCOutputWorker::restartSequence() {
  nextPiece_ = 0;
  sequenceTimecode_.reset();
}

bool MTCOutputWorker::sendFullFrame(const Timecode& timecode, HostTime when) {
  if (outputPort_ == 0 || destination_ == 0) return false;
  if (!send(fullFrameMessage(timecode), when)) return false;
  log_.timed("MTCOutput: sent full-frame locate " + timecode.text());
  return true;
}

bool MTCOutputWorker::scheduleQuarterFrame(HostTime when) {
  // Anew from the anchor at each piece 0, so that no rounding adds up.
  if (nextPiece_ == 0) sequenceTimecode_ = anchor_->extrapolated(when, clock_);
  if (!sequenceTimecode_) return false;
  latestScheduledTimecode_ = sequenceTimecode_;
  if (!send(std::array{kQuarterFrameStatus, quarterFrameData(*sequenceTimecode_, nextPiece_)}, when)) return false;
  hasScheduledPackets_ = true;
  nextPiece_ = (nextPiece_ + 1) % kQuarterFramePieces;
  if (nextPiece_ == 0) sequenceTimecode_.reset();
  return true;
}

bool MTCOutputWorker::send(std::span<const std::uint8_t> bytes, HostTime when) {
  const PlatformStatus status = midi_.send(outputPort_, destination_, bytes, when);
  if (status == kPlatformOk) return true;
  timer_.reset();
  onError_(status);
  return false;
}

}  // namespace tallyrig
