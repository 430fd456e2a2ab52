#include "reader/ReaderSettingsForm.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "reader/OutputConflict.h"
#include "reader/QtText.h"
#include "reader/TransportChange.h"

namespace tallyrig {

ReaderSettingsForm::ReaderSettingsForm(std::shared_ptr<ReaderInstance> reader, ReaderStore& store,
                                       const ReaderServices& services)
    : reader_(std::move(reader)),
      store_(store),
      services_(services),
      draft_(reader_->settings()),
      device_(draft_.selectedDeviceID, draft_.selectedDeviceName),
      source_(reader_->selectedMIDIEndpoint(), draft_.selectedMIDISourceName),
      generatorStart_(draft_, services_),
      output_(draft_) {
  connect(&services_.registry, &DeviceRegistry::refreshed, this, &ReaderSettingsForm::loadDevices);
  refreshDevices();
}

void ReaderSettingsForm::refreshDevices() {
  services_.registry.refresh("settings " + reader_->settings().label);
}

void ReaderSettingsForm::loadDevices() {
  device_.load(services_.registry.audioInputs());
  source_.load(services_.registry.midiSources());
  services_.log.timed("Settings[" + reader_->settings().label + "]: loaded cached device registry");
  emit devicesLoaded();
  takeDevice();
  output_.load(services_.registry);
}

void ReaderSettingsForm::takeDevice() {
  draft_.selectedDeviceID = device_.number();
  draft_.selectedDeviceName = device_.name();
  emit channelCountChanged();
  emit edited();
}

bool ReaderSettingsForm::isOnTheWall() const {
  const auto& readers = store_.readers();
  return std::find(readers.begin(), readers.end(), reader_) != readers.end();
}

bool ReaderSettingsForm::apply() {
  if (!isOnTheWall()) return true;
  generatorStart_.settleText();
  ReaderSnapshot edited = draft_;
  if (edited.outputProtocol == OutputProtocol::mtc && !edited.selectedMIDIDestinationName) {
    edited.selectedMIDIDestinationName = reader_->settings().selectedMIDIDestinationName;
  }
  const auto conflict = outputConflict(store_, edited);
  setOutputAssignmentWarning(toQStringOrEmpty(conflict));
  if (conflict) return false;

  const bool readsMIDI = edited.cardRole == CardRole::reader && edited.sourceType == SourceType::mtc;
  const bool restart = changesTransport(reader_->settings(), edited) ||
                       (readsMIDI && source_.number() != reader_->selectedMIDIEndpoint());
  write(edited);
  if (restart) {
    services_.log.timed("Settings[" + reader_->settings().label + "]: restarting monitoring after transport change");
    reader_->startMonitoring();
  }
  reader_->prepareGeneratorDisplay();
  store_.saveReaders();
  return true;
}

void ReaderSettingsForm::write(const ReaderSnapshot& settings) {
  using S = ReaderSnapshot;
  const auto write = [&](auto... fields) { (reader_->set(fields, settings.*fields), ...); };
  write(&S::label, &S::backgroundColorHex, &S::cardRole, &S::sourceType);
  if (settings.cardRole == CardRole::reader) writeInput(settings);
  writeOutput(settings);
  write(&S::generatorFrameRate, &S::selectedMIDIDestinationName, &S::generatorStartMode, &S::generatorStartHours,
        &S::generatorStartMinutes, &S::generatorStartSeconds, &S::generatorStartFrames);
}

// A device that is away is in no list, so its name is written beside the choice.
void ReaderSettingsForm::writeInput(const ReaderSnapshot& settings) {
  if (settings.sourceType == SourceType::mtc) {
    reader_->selectMIDISource(source_.number(), source_.devices());
    reader_->set(&ReaderSnapshot::selectedMIDISourceName, source_.name());
    return;
  }
  reader_->selectInputDevice(settings.selectedDeviceID, device_.devices());
  reader_->set(&ReaderSnapshot::selectedDeviceName, settings.selectedDeviceName);
  reader_->set(&ReaderSnapshot::selectedChannel, settings.selectedChannel);
  reader_->setLtcFrameOffset(settings.ltcFrameOffset);
}

void ReaderSettingsForm::writeOutput(const ReaderSnapshot& settings) {
  reader_->set(&ReaderSnapshot::outputProtocol, settings.outputProtocol);
  reader_->set(&ReaderSnapshot::outputFrameRate, settings.outputFrameRate);
  if (settings.outputProtocol != OutputProtocol::ltc) return;
  reader_->selectOutputDevice(settings.selectedOutputDeviceID, output_.devices());
  reader_->set(&ReaderSnapshot::selectedOutputDeviceName, settings.selectedOutputDeviceName);
  reader_->set(&ReaderSnapshot::selectedOutputChannel, settings.selectedOutputChannel);
  reader_->set(&ReaderSnapshot::outputLevelDBFS, settings.outputLevelDBFS);
}

void ReaderSettingsForm::setOutputAssignmentWarning(const QString& warning) {
  if (outputAssignmentWarning_ == warning) return;
  outputAssignmentWarning_ = warning;
  emit outputAssignmentWarningChanged();
}

QString ReaderSettingsForm::label() const {
  return toQString(draft_.label);
}

void ReaderSettingsForm::setLabel(const QString& label) {
  draft_.label = label.toStdString();
  emit edited();
}

QString ReaderSettingsForm::selectedHex() const {
  return toQString(draft_.backgroundColorHex);
}

void ReaderSettingsForm::setSelectedHex(const QString& hex) {
  draft_.backgroundColorHex = hex.toStdString();
  emit edited();
}

QString ReaderSettingsForm::cardRole() const {
  return toQString(rawValue(draft_.cardRole));
}

void ReaderSettingsForm::setCardRole(const QString& raw) {
  draft_.cardRole = fromRawValue<CardRole>(raw.toStdString()).value_or(draft_.cardRole);
  emit edited();
}

QString ReaderSettingsForm::sourceType() const {
  return toQString(rawValue(draft_.sourceType));
}

void ReaderSettingsForm::setSourceType(const QString& raw) {
  draft_.sourceType = fromRawValue<SourceType>(raw.toStdString()).value_or(draft_.sourceType);
  emit edited();
}

void ReaderSettingsForm::setDeviceIndex(int index) {
  device_.choose(index);
  if (device_.device() != nullptr && draft_.selectedChannel >= channelCount()) draft_.selectedChannel = 0;
  takeDevice();
}

void ReaderSettingsForm::setSourceIndex(int index) {
  source_.choose(index);
  emit edited();
}

int ReaderSettingsForm::channelCount() const {
  return offeredChannels(device_, draft_.selectedChannel);
}

int ReaderSettingsForm::selectedChannel() const {
  return static_cast<int>(std::clamp<std::int64_t>(draft_.selectedChannel, 0, std::numeric_limits<int>::max() - 1));
}

void ReaderSettingsForm::setSelectedChannel(int channel) {
  draft_.selectedChannel = channel;
  emit edited();
}

void ReaderSettingsForm::changeOffset(int byFrames) {
  constexpr std::int64_t kLargest = std::numeric_limits<int>::max();
  draft_.ltcFrameOffset = std::clamp(draft_.ltcFrameOffset, -kLargest, kLargest) + byFrames;
  emit edited();
}

QString ReaderSettingsForm::offsetText() const {
  const auto offset = static_cast<long long>(draft_.ltcFrameOffset);
  return QString::asprintf("%s%lld frames", offset < 0 ? "" : "+", offset);
}

QStringList ReaderSettingsForm::palette() const {
  QStringList list;
  for (const auto& hex : cardPalette()) list.append(toQString(hex));
  return list;
}

}  // namespace tallyrig
