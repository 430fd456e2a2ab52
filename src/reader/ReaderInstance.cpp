#include "reader/ReaderInstance.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <utility>

#include "reader/QtText.h"

namespace tallyrig {
namespace {

/// The first entry of a device list that `matches` accepts, or null.
template <typename Device, typename Matches>
const Device* findDevice(const std::vector<Device>& devices, Matches&& matches) {
  const auto found = std::find_if(devices.begin(), devices.end(), matches);
  return found == devices.end() ? nullptr : &*found;
}

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
  const auto& devices = receiver.availableDevices();
  const AudioInputDevice* device = nullptr;
  if (settings_.selectedDeviceID) {
    device = findDevice(devices, [&](const auto& d) { return d.id == *settings_.selectedDeviceID; });
  }
  if (device == nullptr && settings_.selectedDeviceName) {
    device = findDevice(devices, [&](const auto& d) { return d.name == *settings_.selectedDeviceName; });
  }
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
  const auto& sources = services_.registry.midiSources();
  const MIDISourceDevice* source = nullptr;
  if (selectedMIDIEndpoint_) {
    source = findDevice(sources, [&](const auto& s) { return s.endpoint == *selectedMIDIEndpoint_; });
  }
  if (source == nullptr && settings_.selectedMIDISourceName) {
    source = findDevice(sources, [&](const auto& s) { return s.name == *settings_.selectedMIDISourceName; });
  }
  if (source != nullptr) {
    selectedMIDIEndpoint_ = source->endpoint;
    set(&ReaderSnapshot::selectedMIDISourceName, source->name);
    setWarning(std::nullopt);
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
  setTimecode(currentTimecode_, std::nullopt);
  setReceiving(false);
  setPeakLevel(0);
  setWarning(std::nullopt);
}

void ReaderInstance::handleAnchor(const TimecodeAnchor& anchor) {
  const TimecodeAnchor confirmed{applyFrameOffset(anchor.timecode), anchor.hostTime};
  lastConfirmedInputAnchor_ = confirmed;
  setTimecode(confirmed.timecode, confirmed);
}

void ReaderInstance::handleReceivingChanged(bool receiving) {
  setReceiving(receiving);
  if (receiving || !liveAnchor_) return;

  const Timecode held = lastConfirmedInputAnchor_ ? lastConfirmedInputAnchor_->timecode : liveAnchor_->timecode;
  services_.log.timed("ReaderInstance[" + settings_.label + "]: input loss detected at confirmed " + held.text() +
                      ", displayed " + textOrNone(currentTimecode_) + "; stopping " +
                      std::string(rawValue(settings_.outputProtocol)) + " output");
  setTimecode(held, std::nullopt);
}

Timecode ReaderInstance::applyFrameOffset(const Timecode& timecode) const {
  return settings_.sourceType == SourceType::ltc ? timecode.advanced(settings_.ltcFrameOffset) : timecode;
}

void ReaderInstance::setLtcFrameOffset(std::int64_t offset) {
  set(&ReaderSnapshot::ltcFrameOffset, offset);
  if (settings_.sourceType != SourceType::ltc || !isReceiving_ || !ltcReceiver_) return;
  if (const auto anchor = ltcReceiver_->currentAnchor()) handleAnchor(*anchor);
}

void ReaderInstance::selectInputDevice(std::optional<AudioDeviceID> id, const std::vector<AudioInputDevice>& devices) {
  set(&ReaderSnapshot::selectedDeviceID, id);
  set(&ReaderSnapshot::selectedDeviceName,
      nameOf(findDevice(devices, [&](const auto& device) { return device.id == id; })));
  setWarning(std::nullopt);
}

void ReaderInstance::selectOutputDevice(std::optional<AudioDeviceID> id,
                                        const std::vector<AudioOutputDevice>& devices) {
  set(&ReaderSnapshot::selectedOutputDeviceID, id);
  set(&ReaderSnapshot::selectedOutputDeviceName,
      nameOf(findDevice(devices, [&](const auto& device) { return device.id == id; })));
  setWarning(std::nullopt);
}

void ReaderInstance::selectMIDISource(std::optional<MIDIEndpointRef> endpoint,
                                      const std::vector<MIDISourceDevice>& sources) {
  selectedMIDIEndpoint_ = endpoint;
  set(&ReaderSnapshot::selectedMIDISourceName,
      nameOf(findDevice(sources, [&](const auto& source) { return source.endpoint == endpoint; })));
  setWarning(std::nullopt);
}

void ReaderInstance::prepareGeneratorDisplay() {
  if (settings_.cardRole != CardRole::generator) return;
  setTimecode(generatorStartTimecode(), std::nullopt);
  setReceiving(false);
}

Timecode ReaderInstance::generatorStartTimecode() const {
  const MTCFrameRate rate = settings_.generatorFrameRate;
  const std::int64_t top = maxFrameField(rate);
  if (settings_.generatorStartMode == GeneratorStartMode::manual) {
    return {settings_.generatorStartHours, settings_.generatorStartMinutes, settings_.generatorStartSeconds,
            std::min(settings_.generatorStartFrames, top), rate};
  }
  using namespace std::chrono;
  auto moment = services_.wallClock.now();
  if (settings_.generatorStartMode == GeneratorStartMode::localTime) moment += services_.wallClock.utcOffset(moment);
  const auto ofDay = moment - floor<days>(moment);
  const hh_mm_ss<nanoseconds> time(duration_cast<nanoseconds>(ofDay));
  const double second = static_cast<double>(time.subseconds().count()) / 1e9;
  return {time.hours().count(), time.minutes().count(), time.seconds().count(),
          std::min(static_cast<std::int64_t>(second * exactFrameRate(rate)), top), rate};
}

std::optional<Timecode> ReaderInstance::displayedTimecode(HostTime tick) const {
  if (liveAnchor_ && isReceiving_) return liveAnchor_->extrapolated(tick, services_.clock);
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

}  // namespace tallyrig
