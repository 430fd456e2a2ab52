// The output side of a card: how it starts, refreshes and stops what it emits.

#include <algorithm>
#include <chrono>
#include <utility>

#include "reader/FindDevice.h"
#include "reader/ReaderInstance.h"
#include "reader/TimeOfDay.h"

namespace tallyrig {
namespace {

/// The rate that a reader's setting asks for, `input` being the rate of what it re-emits.
MTCFrameRate readerOutputRate(OutputFrameRate setting, MTCFrameRate input) {
  switch (setting) {
    case OutputFrameRate::followInput:
      return input;
    case OutputFrameRate::fps24:
      return MTCFrameRate::fps24;
    case OutputFrameRate::fps25:
      return MTCFrameRate::fps25;
    case OutputFrameRate::fps2997:
      return MTCFrameRate::fps2997;
    case OutputFrameRate::fps30:
      return MTCFrameRate::fps30;
  }
  return input;
}

}  // namespace

Timecode ReaderInstance::generatorStartTimecode() const {
  const MTCFrameRate rate = settings_.generatorFrameRate;
  if (settings_.generatorStartMode == GeneratorStartMode::manual) {
    return {settings_.generatorStartHours, settings_.generatorStartMinutes, settings_.generatorStartSeconds,
            std::min<std::int64_t>(settings_.generatorStartFrames, maxFrameField(rate)), rate};
  }
  const auto now = services_.wallClock.now();
  const bool isLocal = settings_.generatorStartMode == GeneratorStartMode::localTime;
  return timeOfDay(now, isLocal ? services_.wallClock.utcOffset(now) : std::chrono::seconds{0}, rate);
}

void ReaderInstance::prepareGeneratorDisplay() {
  if (settings_.cardRole != CardRole::generator || isGeneratorRunning_) return;
  setTimecode(generatorStartTimecode(), std::nullopt);
  setReceiving(false);
}

void ReaderInstance::toggleGenerator() {
  if (settings_.cardRole != CardRole::generator) return;
  if (isGeneratorRunning_) {
    stopOutput(std::nullopt);
  } else {
    startGenerator();
  }
}

void ReaderInstance::startGenerator() {
  const TimecodeAnchor start{generatorStartTimecode(), services_.clock.now()};
  setTimecode(start.timecode, start);
  startOutput(start, true);
  setGeneratorRunning(ltcOutputGenerator_ || mtcOutputGenerator_);
  setReceiving(isGeneratorRunning_);
  if (!isGeneratorRunning_) setTimecode(currentTimecode_, std::nullopt);
}

MTCFrameRate ReaderInstance::effectiveOutputRate(const TimecodeAnchor& anchor) const {
  if (settings_.cardRole == CardRole::generator) return settings_.generatorFrameRate;
  return readerOutputRate(settings_.outputFrameRate, anchor.timecode.frameRate);
}

void ReaderInstance::startOutput(const TimecodeAnchor& anchor, bool restart) {
  if (settings_.outputProtocol == OutputProtocol::disabled) return;
  const MTCFrameRate rate = effectiveOutputRate(anchor);
  const Timecode target = anchor.extrapolated(services_.clock.now(), services_.clock).converted(rate);
  const TimecodeAnchor outputAnchor{target, services_.clock.now()};
  if (!restart && isOutputRunning()) {
    retargetRunningOutput(outputAnchor);
    return;
  }
  stopOutputImmediately();
  ++outputGeneration_;
  if (settings_.outputProtocol == OutputProtocol::ltc) {
    startLTCOutput(rate, target);
  } else {
    startMTCOutput(outputAnchor);
  }
}

void ReaderInstance::startLTCOutput(MTCFrameRate rate, const Timecode& target) {
  auto generator = std::make_shared<LTCOutputGenerator>(services_.clock, services_.scheduler, services_.log,
                                                        services_.audio, services_.hub);
  generator->availableDevices = services_.registry.audioOutputs();
  const AudioOutputDevice* device =
      findStoredDevice(generator->availableDevices, &AudioOutputDevice::id, settings_.selectedOutputDeviceID,
                       settings_.selectedOutputDeviceName);
  if (device == nullptr) {
    setWarning("No LTC output device selected");
    return;
  }
  set(&ReaderSnapshot::selectedOutputDeviceID, device->id);
  set(&ReaderSnapshot::selectedOutputDeviceName, device->name);
  const std::int64_t lastChannel = std::max(device->channelCount - 1, 0);
  const std::int64_t channel = std::min(settings_.selectedOutputChannel, lastChannel);
  set(&ReaderSnapshot::selectedOutputChannel, channel);
  if (!services_.reservations.reserve(AudioOutputReservation{device->id, channel}, settings_.id)) {
    setWarning(device->name + " channel " + std::to_string(channel + 1) + " is already in use");
    return;
  }
  outputConnections_ = {
      connect(generator.get(), &LTCOutputGenerator::currentAnchorChanged, this, &ReaderInstance::handleOutputAnchor),
      connect(generator.get(), &LTCOutputGenerator::stateChanged, this, &ReaderInstance::handleOutputState)};
  generator->start({.device = *device,
                    .channel = channel,
                    .frameRate = rate,
                    .startTimecode = target,
                    .volumeDBFS = settings_.outputLevelDBFS});
  if (!adoptOutput(generator->errorMessage())) return;
  ltcOutputGenerator_ = std::move(generator);
  services_.log.timed(logTag() + "started LTC output generation " + std::to_string(outputGeneration_) + " at " +
                      target.text());
}

void ReaderInstance::startMTCOutput(const TimecodeAnchor& anchor) {
  auto generator = std::make_shared<MTCOutputGenerator>(services_.clock, services_.scheduler, services_.log,
                                                        services_.midi, services_.midiOutput);
  generator->availableDestinations = services_.registry.midiDestinations();
  const auto& name = settings_.selectedMIDIDestinationName;
  if (findDevice(generator->availableDestinations, &MIDIDestinationDevice::name, name) == nullptr) {
    setWarning(name ? "MTC destination unavailable: " + *name : "No MTC destination selected");
    return;
  }
  if (!services_.reservations.reserve(MIDIOutputReservation{*name}, settings_.id)) {
    setWarning(*name + " is already in use");
    return;
  }
  outputConnections_ = {
      connect(generator.get(), &MTCOutputGenerator::currentAnchorChanged, this, &ReaderInstance::handleOutputAnchor),
      connect(generator.get(), &MTCOutputGenerator::stateChanged, this, &ReaderInstance::handleOutputState)};
  generator->start(*name, anchor);
  if (adoptOutput(generator->errorMessage())) mtcOutputGenerator_ = std::move(generator);
}

bool ReaderInstance::adoptOutput(const std::optional<std::string>& errorMessage) {
  if (errorMessage) services_.reservations.releaseAll(settings_.id);
  setWarning(errorMessage);
  return !errorMessage;
}

void ReaderInstance::retargetRunningOutput(const TimecodeAnchor& anchor) {
  if (!mtcOutputGenerator_) return;
  const MTCFrameRate rate = readerOutputRate(settings_.outputFrameRate, anchor.timecode.frameRate);
  mtcOutputGenerator_->update({anchor.timecode.converted(rate), anchor.hostTime});
}

bool ReaderInstance::isOutputRunning() const {
  return (ltcOutputGenerator_ && ltcOutputGenerator_->isGenerating()) ||
         (mtcOutputGenerator_ && mtcOutputGenerator_->isGenerating());
}

void ReaderInstance::handleOutputState() {
  if (ltcOutputGenerator_ && ltcOutputGenerator_->errorMessage()) setWarning(ltcOutputGenerator_->errorMessage());
  if (!mtcOutputGenerator_ || mtcOutputGenerator_->isGenerating()) return;
  // Not within the generator's own announcement.
  services_.scheduler.mainQueue().post([weak = weak_from_this(), failed = std::weak_ptr(mtcOutputGenerator_)] {
    const auto self = weak.lock();
    const auto generator = failed.lock();
    if (self && generator && self->mtcOutputGenerator_ == generator) self->giveUpMTCOutput();
  });
}

void ReaderInstance::giveUpMTCOutput() {
  const auto message = mtcOutputGenerator_->errorMessage();
  const auto shown = displayedTimecode(services_.clock.now());
  stopOutputImmediately();
  setWarning(message);
  if (settings_.cardRole == CardRole::generator) {
    setReceiving(false);
    setTimecode(shown, std::nullopt);
  }
}

void ReaderInstance::handleOutputAnchor(const TimecodeAnchor& anchor) {
  if (settings_.cardRole == CardRole::generator || isJammed()) setTimecode(anchor.timecode, anchor);
}

void ReaderInstance::stopOutput(const std::optional<Timecode>& at) {
  if (ltcOutputGenerator_ && ltcOutputGenerator_->isGenerating()) {
    services_.log.line(logTag() + "requested LTC frame-boundary stop for generation " +
                       std::to_string(outputGeneration_));
    const BoundaryStop request{at, outputGeneration_, ltcOutputGenerator_};
    ltcOutputGenerator_->requestBoundaryStop([weak = weak_from_this(), request](const TimecodeAnchor& anchor) {
      if (const auto self = weak.lock()) self->handleLTCStopCompleted(anchor.timecode, request);
    });
    return;
  }
  std::optional<Timecode> stopTimecode;
  if (settings_.cardRole == CardRole::generator && mtcOutputGenerator_ && mtcOutputGenerator_->currentAnchor()) {
    stopTimecode = mtcOutputGenerator_->currentAnchor()->extrapolated(services_.clock.now(), services_.clock);
    services_.log.line(logTag() + "generator stop command at " + stopTimecode->text());
  }
  stopOutputImmediately();
  if (settings_.cardRole == CardRole::generator) {
    setReceiving(false);
    setTimecode(stopTimecode ? stopTimecode : currentTimecode_, std::nullopt);
  }
}

void ReaderInstance::handleLTCStopCompleted(const Timecode& finalTimecode, const BoundaryStop& request) {
  if (request.at) {
    setTimecode(request.at, liveAnchor_);
  } else if (settings_.cardRole == CardRole::generator || isJammed() ||
             settings_.outputProtocol != OutputProtocol::disabled) {
    setTimecode(finalTimecode, liveAnchor_);
  }
  if (outputGeneration_ != request.generation) {
    services_.log.line(logTag() + "ignored stale stop completion for generation " + std::to_string(request.generation));
    return;
  }
  if (settings_.cardRole == CardRole::generator) {
    setTimecode(currentTimecode_, std::nullopt);
    setReceiving(false);
    setGeneratorRunning(false);
  }
  forgetOutputSubscriptions();
  if (ltcOutputGenerator_ == request.generator.lock()) ltcOutputGenerator_.reset();
  services_.reservations.releaseAll(settings_.id);
  services_.log.line(logTag() + "LTC output stopped at " + finalTimecode.text());
}

void ReaderInstance::stopOutputImmediately() {
  ++outputGeneration_;
  services_.reservations.releaseAll(settings_.id);
  forgetOutputSubscriptions();
  if (const auto generator = std::exchange(ltcOutputGenerator_, nullptr)) generator->stop();
  if (const auto generator = std::exchange(mtcOutputGenerator_, nullptr)) generator->stop();
  if (settings_.cardRole == CardRole::generator) setGeneratorRunning(false);
}

void ReaderInstance::forgetOutputSubscriptions() {
  for (const auto& connection : outputConnections_) disconnect(connection);
  outputConnections_.clear();
}

}  // namespace tallyrig
