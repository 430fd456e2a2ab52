#include "audio/LTCAudioDeviceSession.h"

#include <cstring>
#include <utility>

namespace tallyrig {

LTCAudioDeviceSession::LTCAudioDeviceSession(AudioInputDevice device, AudioSystem& audio, Log& log)
    : device_(std::move(device)), audio_(audio), log_(log) {}

LTCAudioDeviceSession::~LTCAudioDeviceSession() {
  close();
}

std::optional<LTCAudioInputError> LTCAudioDeviceSession::open() {
  using Kind = LTCAudioInputError::Kind;
  if (const auto status = audio_.nominalSampleRate(device_.id, sampleRate_); status != kPlatformOk) {
    return LTCAudioInputError{Kind::osStatus, status};
  }
  state_->sampleRate = sampleRate_;

  std::unique_ptr<AudioIO> io;
  const auto created = audio_.createIO(
      device_.id, [state = state_](const AudioCycle& cycle) { runCycle(*state, cycle); }, io);
  if (created != kPlatformOk) return LTCAudioInputError{Kind::osStatus, created};
  if (!io) return LTCAudioInputError{Kind::missingIOProc};

  io_ = std::move(io);
  if (const auto started = io_->start(); started != kPlatformOk) {
    io_.reset();
    return LTCAudioInputError{Kind::osStatus, started};
  }
  logOpened();
  return std::nullopt;
}

void LTCAudioDeviceSession::close() {
  if (io_) {
    io_->stop();
    io_.reset();
  }
  state_->input = std::make_unique<InputSnapshot>();
  state_->output = std::make_unique<OutputSnapshot>();
}

void LTCAudioDeviceSession::addInput(const QUuid& subscriber, AudioInputHandler handler) {
  subscribers_[subscriber] = std::make_shared<const AudioInputHandler>(std::move(handler));
  publishInputs();
}

void LTCAudioDeviceSession::removeInput(const QUuid& subscriber) {
  subscribers_.erase(subscriber);
  publishInputs();
}

void LTCAudioDeviceSession::addOutput(const QUuid& subscriber, AudioOutputHandler handler) {
  outputs_[subscriber] = std::make_shared<const AudioOutputHandler>(std::move(handler));
  publishOutputs();
}

void LTCAudioDeviceSession::removeOutput(const QUuid& subscriber) {
  outputs_.erase(subscriber);
  publishOutputs();
}

void LTCAudioDeviceSession::runCycle(const CallbackState& state, const AudioCycle& cycle) {
  if (!cycle.input.empty() && cycle.input.front().channelCount != 0 && !state.input->handlers.empty()) {
    const AudioBuffer& first = cycle.input.front();
    const auto frames = static_cast<std::uint32_t>(first.byteSize / (first.channelCount * sizeof(float)));
    for (const auto& handler : state.input->handlers)
      (*handler)(cycle.input, frames, state.sampleRate, cycle.inputTime);
  }
  if (!state.output->handlers.empty()) {
    for (const AudioBuffer& buffer : cycle.output) {
      if (buffer.data != nullptr) std::memset(buffer.data, 0, buffer.byteSize);
    }
    for (const auto& handler : state.output->handlers) (*handler)(cycle.output, cycle.outputTime);
  }
}

void LTCAudioDeviceSession::publishInputs() {
  auto next = std::make_unique<InputSnapshot>();
  next->handlers.reserve(subscribers_.size());
  for (const auto& [subscriber, handler] : subscribers_) next->handlers.push_back(handler);
  std::unique_ptr<const InputSnapshot> snapshot = std::move(next);
  betweenCycles([&] { state_->input.swap(snapshot); });
}

void LTCAudioDeviceSession::publishOutputs() {
  auto next = std::make_unique<OutputSnapshot>();
  next->handlers.reserve(outputs_.size());
  for (const auto& [subscriber, handler] : outputs_) next->handlers.push_back(handler);
  std::unique_ptr<const OutputSnapshot> snapshot = std::move(next);
  betweenCycles([&] { state_->output.swap(snapshot); });
}

void LTCAudioDeviceSession::betweenCycles(const std::function<void()>& change) {
  if (io_ && !io_->isCallbackContext()) {
    io_->betweenCycles(change);
  } else {
    change();
  }
}

void LTCAudioDeviceSession::logOpened() const {
  const auto timing = audio_.timing(device_.id);
  log_.line(formatted(
      "LTCAudioDeviceSession: opened shared IOProc %s, id %u, layout %s @ %lldHz, buffer %uf, latency %uf, safety %uf",
      device_.name.c_str(), device_.id, layoutText(device_.channelGroups).c_str(), static_cast<long long>(sampleRate_),
      timing.bufferFrames.value_or(0), timing.inputLatency.value_or(0), timing.inputSafetyOffset.value_or(0)));
}

}  // namespace tallyrig
