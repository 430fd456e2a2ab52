#include "reader/ReaderInstance.h"

#include <utility>

#include "reader/FindDevice.h"
#include "reader/QtText.h"

namespace tallyrig {
namespace {

template <typename Device>
std::optional<std::string> nameOf(const Device* device) {
  return device == nullptr ? std::nullopt : std::optional(device->name);
}

}  // namespace

ReaderInstance::ReaderInstance(const ReaderServices& services, ReaderSnapshot settings)
    : services_(services), settings_(std::move(settings)) {}

ReaderInstance::~ReaderInstance() = default;

void ReaderInstance::startMonitoring() {
  stopMonitoring();
  if (settings_.cardRole == CardRole::generator) {
    setWarning(std::nullopt);
    prepareGeneratorDisplay();
  } else if (settings_.sourceType == SourceType::ltc) {
    startLTCMonitoring();
  } else {
    startMTCMonitoring();
  }
}

void ReaderInstance::startLTCMonitoring() {
  auto receiver = std::make_shared<LTCReceiver>(services_.clock, services_.scheduler, services_.log, services_.registry,
                                                services_.hub);
  resolveInputDevice(*receiver);
  receiver->setSelectedChannel(settings_.selectedChannel);
  receiverConnections_ = {
      connect(receiver.get(), &LTCReceiver::currentAnchorChanged, this, &ReaderInstance::handleAnchor),
      connect(receiver.get(), &LTCReceiver::isReceivingChanged, this, &ReaderInstance::handleReceivingChanged),
      connect(receiver.get(), &LTCReceiver::peakLevelChanged, this, &ReaderInstance::setPeakLevel)};
  ltcReceiver_ = std::move(receiver);

  if (!ltcReceiver_->selectedDevice()) {
    services_.log.line("ReaderInstance: no device selected, not requesting audio permission");
    return;
  }
  services_.scheduler.mainQueue().post([weak = weak_from_this()] {
    if (const auto self = weak.lock()) self->startReceiver();
  });
}

void ReaderInstance::resolveInputDevice(LTCReceiver& receiver) {
  const auto* device = findStoredDevice(receiver.availableDevices(), &AudioInputDevice::id, settings_.selectedDeviceID,
                                        settings_.selectedDeviceName);
  if (device != nullptr) {
    set(&ReaderSnapshot::selectedDeviceID, device->id);
    set(&ReaderSnapshot::selectedDeviceName, device->name);
    receiver.setSelectedDevice(*device);
    setWarning(std::nullopt);
  } else if (settings_.selectedDeviceID) {
    setWarning("Audio device unavailable: " + settings_.selectedDeviceName.value_or("saved device"));
  } else {
    setWarning(std::nullopt);
  }
}

void ReaderInstance::startReceiver() {
  if (!ltcReceiver_) return;
  ltcReceiver_->start();
  if (const auto& device = ltcReceiver_->selectedDevice()) {
    set(&ReaderSnapshot::selectedDeviceID, device->id);
    set(&ReaderSnapshot::selectedDeviceName, device->name);
    setWarning(std::nullopt);
  }
}

void ReaderInstance::startMTCMonitoring() {
  auto receiver = std::make_shared<MTCReceiver>(services_.clock, services_.scheduler, services_.log, services_.midi);
  resolveMIDISource(*receiver);
  // What the receiver announces takes one more turn of the main queue; by then this may be another receiver's card.
  const auto throughMainQueue = [this, sender = std::weak_ptr(receiver)](auto handler) {
    return [this, sender, handler](const auto& value) {
      services_.scheduler.mainQueue().post([weak = weak_from_this(), sender, handler, value] {
        const auto self = weak.lock();
        if (self && self->mtcReceiver_ && self->mtcReceiver_ == sender.lock()) ((*self).*handler)(value);
      });
    };
  };
  receiverConnections_ = {connect(receiver.get(), &MTCReceiver::currentAnchorChanged, this,
                                  throughMainQueue(&ReaderInstance::handleAnchor)),
                          connect(receiver.get(), &MTCReceiver::isReceivingChanged, this,
                                  throughMainQueue(&ReaderInstance::handleReceivingChanged))};
  mtcReceiver_ = std::move(receiver);
}

void ReaderInstance::resolveMIDISource(MTCReceiver& receiver) {
  const auto* source = findStoredDevice(receiver.availableSources(), &MIDISourceDevice::endpoint, selectedMIDIEndpoint_,
                                        settings_.selectedMIDISourceName);
  if (source != nullptr) {
    selectedMIDIEndpoint_ = source->endpoint;
    set(&ReaderSnapshot::selectedMIDISourceName, source->name);
    setWarning(std::nullopt);
    receiver.setSelectedSource(*source);
    receiver.reconnect();
  } else if (settings_.selectedMIDISourceName) {
    selectedMIDIEndpoint_.reset();
    setWarning("MIDI source unavailable: " + *settings_.selectedMIDISourceName);
  } else {
    setWarning(std::nullopt);
  }
}

void ReaderInstance::stopMonitoring() {
  for (const auto& connection : receiverConnections_) disconnect(connection);
  receiverConnections_.clear();
  if (ltcReceiver_) ltcReceiver_->stop();
  ltcReceiver_.reset();
  mtcReceiver_.reset();
  stopOutputImmediately();
  setTimecode(currentTimecode_, std::nullopt);
  setReceiving(false);
  setGeneratorRunning(false);
  setJamSyncState(JamSyncState::off);
  setPeakLevel(0);
  setWarning(std::nullopt);
}

void ReaderInstance::handleAnchor(const TimecodeAnchor& anchor) {
  if (isJammed()) {
    handleJamAnchor(anchor);
    return;
  }
  const TimecodeAnchor confirmed{applyFrameOffset(anchor.timecode), anchor.hostTime};
  lastConfirmedInputAnchor_ = confirmed;
  setTimecode(confirmed.timecode, confirmed);
  if (isReceiving_) startOutput(confirmed, false);
}

void ReaderInstance::handleReceivingChanged(bool receiving) {
  setReceiving(receiving);
  if (isJammed()) {
    handleJamReceivingChanged(receiving);
    return;
  }
  if (receiving) return;
  if (!liveAnchor_ && !isOutputRunning()) return;

  std::optional<Timecode> held = currentTimecode_;
  if (lastConfirmedInputAnchor_) {
    held = lastConfirmedInputAnchor_->timecode;
  } else if (liveAnchor_) {
    held = liveAnchor_->timecode;
  }
  services_.log.timed(logTag() + "input loss detected at confirmed " + textOrNone(held) + ", displayed " +
                      textOrNone(currentTimecode_) + "; stopping " + std::string(rawValue(settings_.outputProtocol)) +
                      " output");
  setTimecode(held, std::nullopt);
  stopOutput(settings_.sourceType == SourceType::mtc ? held : std::nullopt);
}

std::string ReaderInstance::logTag() const {
  return "ReaderInstance[" + settings_.label + "]: ";
}

Timecode ReaderInstance::applyFrameOffset(const Timecode& timecode) const {
  return settings_.sourceType == SourceType::ltc ? timecode.advanced(settings_.ltcFrameOffset) : timecode;
}

void ReaderInstance::setLtcFrameOffset(std::int64_t offset) {
  set(&ReaderSnapshot::ltcFrameOffset, offset);
  if (settings_.sourceType != SourceType::ltc || isJammed() || !isReceiving_ || !ltcReceiver_) return;
  if (const auto anchor = ltcReceiver_->currentAnchor()) handleAnchor(*anchor);
}

void ReaderInstance::selectInputDevice(std::optional<AudioDeviceID> id, const std::vector<AudioInputDevice>& devices) {
  set(&ReaderSnapshot::selectedDeviceID, id);
  set(&ReaderSnapshot::selectedDeviceName, nameOf(findDevice(devices, &AudioInputDevice::id, id)));
  setWarning(std::nullopt);
}

void ReaderInstance::selectOutputDevice(std::optional<AudioDeviceID> id,
                                        const std::vector<AudioOutputDevice>& devices) {
  set(&ReaderSnapshot::selectedOutputDeviceID, id);
  set(&ReaderSnapshot::selectedOutputDeviceName, nameOf(findDevice(devices, &AudioOutputDevice::id, id)));
  setWarning(std::nullopt);
}

void ReaderInstance::selectMIDISource(std::optional<MIDIEndpointRef> endpoint,
                                      const std::vector<MIDISourceDevice>& sources) {
  selectedMIDIEndpoint_ = endpoint;
  set(&ReaderSnapshot::selectedMIDISourceName, nameOf(findDevice(sources, &MIDISourceDevice::endpoint, endpoint)));
  setWarning(std::nullopt);
}

std::optional<Timecode> ReaderInstance::displayedTimecode(HostTime tick) const {
  if (!isJammed() && liveAnchor_ && isReceiving_) return liveAnchor_->extrapolated(tick, services_.clock);
  return currentTimecode_;
}

void ReaderInstance::setTimecode(std::optional<Timecode> current, std::optional<TimecodeAnchor> live) {
  if (current == currentTimecode_ && live == liveAnchor_) return;
  currentTimecode_ = current;
  liveAnchor_ = live;
  emit timecodeChanged();
  emit changed();
}

void ReaderInstance::setReceiving(bool receiving) {
  if (isReceiving_ == receiving) return;
  isReceiving_ = receiving;
  emit isReceivingChanged();
  emit changed();
}

void ReaderInstance::setGeneratorRunning(bool running) {
  if (isGeneratorRunning_ == running) return;
  isGeneratorRunning_ = running;
  emit isGeneratorRunningChanged();
  emit changed();
}

void ReaderInstance::setJamSyncState(JamSyncState state) {
  if (jamSyncState_ == state) return;
  jamSyncState_ = state;
  emit jamChanged();
  emit changed();
}

void ReaderInstance::setWarning(std::optional<std::string> warning) {
  if (sourceAvailabilityWarning_ == warning) return;
  sourceAvailabilityWarning_ = std::move(warning);
  emit sourceAvailabilityWarningChanged();
  emit changed();
}

void ReaderInstance::setPeakLevel(float level) {
  if (peakLevel_ == level) return;
  peakLevel_ = level;
  emit peakLevelChanged();
  emit changed();
}

QString ReaderInstance::cardRoleText() const {
  return toQString(rawValue(settings_.cardRole));
}
QString ReaderInstance::labelText() const {
  return toQString(settings_.label);
}
QString ReaderInstance::backgroundColorHexText() const {
  return toQString(settings_.backgroundColorHex);
}
QString ReaderInstance::sourceTypeText() const {
  return toQString(rawValue(settings_.sourceType));
}
QString ReaderInstance::tileSizeText() const {
  return toQString(rawValue(settings_.tileSize));
}
QString ReaderInstance::displayModeText() const {
  return toQString(rawValue(settings_.displayMode));
}
QString ReaderInstance::outputProtocolText() const {
  return toQString(rawValue(settings_.outputProtocol));
}
QString ReaderInstance::selectedDeviceNameText() const {
  return toQStringOrEmpty(settings_.selectedDeviceName);
}
qint64 ReaderInstance::selectedChannelNumber() const {
  return settings_.selectedChannel;
}
QString ReaderInstance::selectedMIDISourceNameText() const {
  return toQStringOrEmpty(settings_.selectedMIDISourceName);
}
QString ReaderInstance::selectedOutputDeviceNameText() const {
  return toQStringOrEmpty(settings_.selectedOutputDeviceName);
}
qint64 ReaderInstance::selectedOutputChannelNumber() const {
  return settings_.selectedOutputChannel;
}
QString ReaderInstance::selectedMIDIDestinationNameText() const {
  return toQStringOrEmpty(settings_.selectedMIDIDestinationName);
}
QString ReaderInstance::sourceAvailabilityWarningText() const {
  return toQStringOrEmpty(sourceAvailabilityWarning_);
}
QString ReaderInstance::jamSyncStateText() const {
  return toQString(rawValue(jamSyncState_));
}

}  // namespace tallyrig
