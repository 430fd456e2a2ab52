#include "ltc/LTCReceiver.h"

#include <algorithm>
#include <chrono>
#include <limits>
#include <utility>

namespace tallyrig {
namespace {

using namespace std::chrono_literals;

constexpr TimerSchedule kWatchdogSchedule{.interval = 1s, .first = 1s};
constexpr double kAudioCallbackTimeoutSeconds = 3.0;
constexpr float kActiveSignalThreshold = 0.01F;

}  // namespace

LTCReceiver::LTCReceiver(const HostClock& clock, Scheduler& scheduler, Log& log, DeviceRegistry& registry,
                         LTCAudioInputHub& hub)
    : clock_(clock),
      main_(scheduler.mainQueue()),
      log_(log),
      registry_(registry),
      hub_(hub),
      availableDevices_(registry.audioInputs()) {
  LTCDecodingWorker::Events events;
  events.frame = lifetime_.guard([this](const LTCTimecodeDecoder::DecodedFrame& frame) { handleFrame(frame); });
  events.peak = lifetime_.guard([this](float peak) { handlePeak(peak); });
  events.timeout = lifetime_.guard([this](std::uint64_t generation) { handleTimeout(generation); });
  worker_ = std::make_shared<LTCDecodingWorker>(clock, scheduler, log, std::move(events));
}

LTCReceiver::~LTCReceiver() {
  hub_.unsubscribe(subscriberID_);
}

void LTCReceiver::setSelectedDevice(std::optional<AudioInputDevice> device) {
  selectedDevice_ = std::move(device);
  if (isRunning_) start();
}

void LTCReceiver::setSelectedChannel(std::int64_t channel) {
  selectedChannel_ = channel;
  if (isRunning_) start();
}

void LTCReceiver::start() {
  if (!selectedDevice_) return;
  stop();
  worker_->resetNow();

  const auto device = resolveDevice();
  if (!device) {
    log_.line("LTCReceiver: audio device unavailable — " + selectedDevice_->name);
    selectedDevice_.reset();
    return;
  }
  if (*device != *selectedDevice_) selectedDevice_ = device;
  if (!subscribe(*device)) return;

  subscriptionDeviceID_ = device->id;
  isRunning_ = true;
  decodeDrainTimer_ = worker_->startDraining();
  lastAudioCallbackAt_ = clock_.now();
  watchdogTimer_ = main_.repeat(kWatchdogSchedule, lifetime_.guard([this] { checkAudioCallbacks(); }));
  log_.line(formatted("LTCReceiver: subscribed %s, id %u, logical channel %lld, hardware layout %s",
                      device->name.c_str(), device->id, channelNumber(), layoutText(device->channelGroups).c_str()));
}

void LTCReceiver::stop() {
  hub_.unsubscribe(subscriberID_);
  subscriptionDeviceID_.reset();
  isRunning_ = false;
  decodeDrainTimer_.reset();
  setReceiving(false);
  setPeakLevel(0);
  lastAudioCallbackAt_.reset();
  hasReportedAudioStall_ = false;
  hasActiveSignalLevel_ = false;
  hasLoggedFirstDecodeForSignal_ = false;
  hasLoggedLatency_ = false;
  worker_->resetAndDiscardLater();
  watchdogTimer_.reset();
}

std::optional<AudioInputDevice> LTCReceiver::resolveDevice() {
  availableDevices_ = registry_.audioInputs();
  const AudioInputDevice* found = findSelected();
  if (found == nullptr) {
    registry_.refresh("ltc-receiver-resolve-device");
    availableDevices_ = registry_.audioInputs();
    found = findSelected();
  }
  return found == nullptr ? std::nullopt : std::optional(*found);
}

const AudioInputDevice* LTCReceiver::findSelected() const {
  const auto matching = [this](auto&& matches) {
    const auto found = std::find_if(availableDevices_.begin(), availableDevices_.end(), matches);
    return found == availableDevices_.end() ? nullptr : &*found;
  };
  if (const auto* byID = matching([this](const auto& device) { return device.id == selectedDevice_->id; })) return byID;
  return matching([this](const auto& device) { return device.name == selectedDevice_->name; });
}

bool LTCReceiver::subscribe(const AudioInputDevice& device) {
  hub_.unsubscribe(subscriberID_);
  hub_.addSubscription(subscriberID_, {device.id, device.name,
                                       [ring = worker_->ring(), channel = selectedChannel_](
                                           std::span<const AudioBuffer> buffers, std::uint32_t frames,
                                           double sampleRate, const AudioTimeStamp& time) {
                                         LTCDecodingWorker::capture(*ring, channel, buffers, frames, sampleRate, time);
                                       }});
  if (const auto error = hub_.join(subscriberID_, device)) {
    hub_.unsubscribe(subscriberID_);
    log_.line("LTCReceiver: failed to subscribe to audio device — " + error->description());
    return false;
  }
  return true;
}

long long LTCReceiver::channelNumber() const {
  return selectedChannel_ < std::numeric_limits<std::int64_t>::max() ? selectedChannel_ + 1 : selectedChannel_;
}

void LTCReceiver::handlePeak(float peak) {
  if (hasReportedAudioStall_) log_.line("LTCReceiver: audio callbacks resumed");
  setPeakLevel(peak);
  lastAudioCallbackAt_ = clock_.now();
  hasReportedAudioStall_ = false;

  const bool active = peak >= kActiveSignalThreshold;
  if (active == hasActiveSignalLevel_) return;
  hasActiveSignalLevel_ = active;
  if (active) {
    hasLoggedFirstDecodeForSignal_ = false;
    log_.timed(
        formatted("LTCReceiver: channel %lld signal active, peak %.3f", channelNumber(), static_cast<double>(peak)));
  } else {
    log_.timed(formatted("LTCReceiver: channel %lld signal quiet, last decoded frame %s", channelNumber(),
                         textOrNone(currentTimecode_).c_str()));
  }
}

void LTCReceiver::handleFrame(const LTCTimecodeDecoder::DecodedFrame& frame) {
  if (!hasLoggedFirstDecodeForSignal_) {
    log_.timed(
        formatted("LTCReceiver: channel %lld first decoded frame %s", channelNumber(), frame.timecode.text().c_str()));
    hasLoggedFirstDecodeForSignal_ = true;
  }
  // An LTC frame carries the time of its own first bit; at its end the next frame's time has been reached.
  const Timecode advanced = frame.timecode.advanced(1);
  setReceiving(true);
  currentTimecode_ = advanced;
  currentAnchor_ = TimecodeAnchor{advanced, frame.endHostTime.value_or(clock_.now())};
  emit currentAnchorChanged(*currentAnchor_);

  if (!hasLoggedLatency_ && frame.endHostTime) {
    hasLoggedLatency_ = true;
    log_.timed(formatted("LTCReceiver: frame-end to publish latency %.1fms",
                         clock_.milliseconds(clock_.now() - *frame.endHostTime)));
  }
}

void LTCReceiver::handleTimeout(std::uint64_t generation) {
  if (!worker_->isCurrentTimeout(generation)) return;
  if (hasActiveSignalLevel_) {
    log_.timed(
        formatted("LTCReceiver: channel %lld decode timeout ignored while signal remains active", channelNumber()));
    worker_->armTimeout();
    return;
  }
  worker_->resetDecoderLater();
  setReceiving(false);
  hasLoggedFirstDecodeForSignal_ = false;
  log_.timed(formatted("LTCReceiver: channel %lld decoder reset after signal loss", channelNumber()));
}

void LTCReceiver::checkAudioCallbacks() {
  if (!isRunning_ || !lastAudioCallbackAt_ || hasReportedAudioStall_) return;
  if (clock_.seconds(clock_.now() - *lastAudioCallbackAt_) <= kAudioCallbackTimeoutSeconds) return;
  hasReportedAudioStall_ = true;
  log_.line("LTCReceiver: audio callbacks paused, waiting for selected device to resume");
  if (subscriptionDeviceID_ && hub_.sessions().contains(*subscriptionDeviceID_)) hub_.scheduleRebuild(true);
}

void LTCReceiver::setReceiving(bool receiving) {
  if (isReceiving_ == receiving) return;
  isReceiving_ = receiving;
  emit isReceivingChanged(receiving);
}

void LTCReceiver::setPeakLevel(float level) {
  peakLevel_ = level;
  emit peakLevelChanged(level);
}

}  // namespace tallyrig
