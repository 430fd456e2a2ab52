#include "reader/ReaderSettingsForm.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "reader/QtText.h"

namespace tallyrig {
namespace {

template <typename Device>
QVariantList namedList(const std::vector<Device>& devices) {
  QVariantList list;
  for (const auto& device : devices) list.append(QVariantMap{{"name", toQString(device.name)}});
  return list;
}

template <typename Device, typename Matches>
int indexWhere(const std::vector<Device>& devices, Matches&& matches) {
  const auto found = std::find_if(devices.begin(), devices.end(), matches);
  return found == devices.end() ? -1 : static_cast<int>(found - devices.begin());
}

}  // namespace

ReaderSettingsForm::ReaderSettingsForm(std::shared_ptr<ReaderInstance> reader, ReaderStore& store,
                                       const ReaderServices& services)
    : reader_(std::move(reader)), store_(store), services_(services) {
  const ReaderSnapshot& settings = reader_->settings();
  label_ = toQString(settings.label);
  selectedHex_ = toQString(settings.backgroundColorHex);
  cardRole_ = settings.cardRole;
  sourceType_ = settings.sourceType;
  selectedDeviceID_ = settings.selectedDeviceID;
  selectedChannel_ = settings.selectedChannel;
  ltcFrameOffset_ = settings.ltcFrameOffset;
  selectedEndpoint_ = reader_->selectedMIDIEndpoint();
  refreshDevices();
}

void ReaderSettingsForm::refreshDevices() {
  services_.registry.refresh("settings " + reader_->settings().label);
  loadDevices();
}

void ReaderSettingsForm::loadDevices() {
  devices_ = services_.registry.audioInputs();
  sources_ = services_.registry.midiSources();
  services_.log.timed("Settings[" + reader_->settings().label + "]: loaded cached device registry");

  const ReaderSnapshot& settings = reader_->settings();
  if (deviceIndex() < 0 && settings.selectedDeviceName && selectedDeviceID_ == settings.selectedDeviceID) {
    const int named = indexWhere(devices_, [&](const auto& d) { return d.name == *settings.selectedDeviceName; });
    if (named >= 0) selectedDeviceID_ = devices_[static_cast<std::size_t>(named)].id;
  }
  if (sourceIndex() < 0 && settings.selectedMIDISourceName && selectedEndpoint_ == reader_->selectedMIDIEndpoint()) {
    const int named = indexWhere(sources_, [&](const auto& s) { return s.name == *settings.selectedMIDISourceName; });
    if (named >= 0) selectedEndpoint_ = sources_[static_cast<std::size_t>(named)].endpoint;
  }
  rememberMissingDevice();
  emit devicesLoaded();
  emit edited();
}

void ReaderSettingsForm::rememberMissingDevice() {
  const ReaderSnapshot& settings = reader_->settings();
  const bool isStored = selectedDeviceID_ && selectedDeviceID_ == settings.selectedDeviceID;
  if (!isStored || deviceIndex() >= 0 || !settings.selectedDeviceName) return;
  constexpr std::int64_t kMostChannels = 1024;
  AudioInputDevice missing;
  missing.id = *selectedDeviceID_;
  missing.name = *settings.selectedDeviceName;
  missing.channelCount = static_cast<int>(std::clamp<std::int64_t>(selectedChannel_, 0, kMostChannels - 1)) + 1;
  missing.channelGroups = {missing.channelCount};
  devices_.push_back(std::move(missing));
}

bool ReaderSettingsForm::needsRestart() const {
  const ReaderSnapshot& settings = reader_->settings();
  if (cardRole_ != settings.cardRole || sourceType_ != settings.sourceType) return true;
  if (cardRole_ != CardRole::reader) return false;
  if (sourceType_ == SourceType::mtc) return selectedEndpoint_ != reader_->selectedMIDIEndpoint();
  return selectedDeviceID_ != settings.selectedDeviceID || selectedChannel_ != settings.selectedChannel;
}

bool ReaderSettingsForm::apply() {
  const bool restart = needsRestart();
  reader_->set(&ReaderSnapshot::label, label_.toStdString());
  reader_->set(&ReaderSnapshot::backgroundColorHex, selectedHex_.toStdString());
  reader_->set(&ReaderSnapshot::cardRole, cardRole_);
  reader_->set(&ReaderSnapshot::sourceType, sourceType_);
  if (cardRole_ == CardRole::reader && sourceType_ == SourceType::ltc) {
    reader_->selectInputDevice(selectedDeviceID_, devices_);
    reader_->set(&ReaderSnapshot::selectedChannel, selectedChannel_);
    reader_->setLtcFrameOffset(ltcFrameOffset_);
  } else if (cardRole_ == CardRole::reader) {
    reader_->selectMIDISource(selectedEndpoint_, sources_);
  }
  if (restart) {
    services_.log.timed("Settings[" + reader_->settings().label + "]: restarting monitoring after transport change");
    reader_->startMonitoring();
  }
  reader_->prepareGeneratorDisplay();
  store_.saveReaders();
  return true;
}

QString ReaderSettingsForm::cardRole() const {
  return toQString(rawValue(cardRole_));
}

void ReaderSettingsForm::setCardRole(const QString& raw) {
  cardRole_ = fromRawValue<CardRole>(raw.toStdString()).value_or(cardRole_);
  emit edited();
}

QString ReaderSettingsForm::sourceType() const {
  return toQString(rawValue(sourceType_));
}

void ReaderSettingsForm::setSourceType(const QString& raw) {
  sourceType_ = fromRawValue<SourceType>(raw.toStdString()).value_or(sourceType_);
  emit edited();
}

QVariantList ReaderSettingsForm::availableDevices() const {
  return namedList(devices_);
}
QVariantList ReaderSettingsForm::availableSources() const {
  return namedList(sources_);
}

int ReaderSettingsForm::deviceIndex() const {
  return indexWhere(devices_, [this](const auto& device) { return device.id == selectedDeviceID_; });
}

void ReaderSettingsForm::setDeviceIndex(int index) {
  const bool exists = index >= 0 && index < static_cast<int>(devices_.size());
  selectedDeviceID_ = exists ? std::optional(devices_[static_cast<std::size_t>(index)].id) : std::nullopt;
  if (exists && selectedChannel_ >= channelCount()) selectedChannel_ = 0;
  emit edited();
}

int ReaderSettingsForm::sourceIndex() const {
  return indexWhere(sources_, [this](const auto& source) { return source.endpoint == selectedEndpoint_; });
}

void ReaderSettingsForm::setSourceIndex(int index) {
  const bool exists = index >= 0 && index < static_cast<int>(sources_.size());
  selectedEndpoint_ = exists ? std::optional(sources_[static_cast<std::size_t>(index)].endpoint) : std::nullopt;
  emit edited();
}

int ReaderSettingsForm::channelCount() const {
  const int index = deviceIndex();
  return index < 0 ? 0 : devices_[static_cast<std::size_t>(index)].channelCount;
}

void ReaderSettingsForm::setSelectedChannel(int channel) {
  selectedChannel_ = channel;
  emit edited();
}

void ReaderSettingsForm::changeOffset(int byFrames) {
  constexpr std::int64_t kLargest = std::numeric_limits<int>::max();
  ltcFrameOffset_ = std::clamp(ltcFrameOffset_, -kLargest, kLargest) + byFrames;
  emit edited();
}

QString ReaderSettingsForm::offsetText() const {
  return QString::asprintf("%s%lld frames", ltcFrameOffset_ < 0 ? "" : "+", static_cast<long long>(ltcFrameOffset_));
}

QStringList ReaderSettingsForm::palette() const {
  QStringList list;
  for (const auto& hex : cardPalette()) list.append(toQString(hex));
  return list;
}

}  // namespace tallyrig
