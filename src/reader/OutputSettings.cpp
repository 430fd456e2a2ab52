#include "reader/OutputSettings.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

namespace tallyrig {
namespace {

constexpr std::array kReaderRates{OutputFrameRate::followInput, OutputFrameRate::fps24, OutputFrameRate::fps25,
                                  OutputFrameRate::fps2997, OutputFrameRate::fps30};
constexpr std::array kGeneratorRates{MTCFrameRate::fps24, MTCFrameRate::fps25, MTCFrameRate::fps2997,
                                     MTCFrameRate::fps30};
constexpr double kLowestLevel = -30;
constexpr double kHighestLevel = 0;

template <typename Values>
bool isPlaceIn(const Values& values, int index) {
  return index >= 0 && index < static_cast<int>(values.size());
}

template <typename Values, typename Value>
int placeIn(const Values& values, const Value& value) {
  return static_cast<int>(std::find(values.begin(), values.end(), value) - values.begin());
}

}  // namespace

OutputSettings::OutputSettings(ReaderSnapshot& draft)
    : draft_(draft),
      device_(draft.selectedOutputDeviceID, draft.selectedOutputDeviceName),
      destination_(std::nullopt, draft.selectedMIDIDestinationName) {}

void OutputSettings::load(const DeviceRegistry& registry) {
  device_.load(registry.audioOutputs());
  destination_.load(registry.midiDestinations());
  emit devicesLoaded();
  takeChoices();
}

void OutputSettings::takeChoices() {
  draft_.selectedOutputDeviceID = device_.number();
  draft_.selectedOutputDeviceName = device_.name();
  draft_.selectedMIDIDestinationName = destination_.name();
  emit channelCountChanged();
  emit edited();
}

QString OutputSettings::outputProtocol() const {
  return toQString(rawValue(draft_.outputProtocol));
}

void OutputSettings::setOutputProtocol(const QString& raw) {
  draft_.outputProtocol = fromRawValue<OutputProtocol>(raw.toStdString()).value_or(draft_.outputProtocol);
  emit edited();
}

QStringList OutputSettings::readerRates() const {
  QStringList texts;
  for (const OutputFrameRate rate : kReaderRates) texts.append(toQString(rawValue(rate)));
  return texts;
}

QStringList OutputSettings::generatorRates() const {
  return {"24 fps", "25 fps", "29.97 DF", "30 fps"};
}

int OutputSettings::readerRateIndex() const {
  return placeIn(kReaderRates, draft_.outputFrameRate);
}

void OutputSettings::setReaderRateIndex(int index) {
  if (isPlaceIn(kReaderRates, index)) draft_.outputFrameRate = kReaderRates[static_cast<std::size_t>(index)];
  emit edited();
}

int OutputSettings::generatorRateIndex() const {
  return placeIn(kGeneratorRates, draft_.generatorFrameRate);
}

void OutputSettings::setGeneratorRateIndex(int index) {
  if (isPlaceIn(kGeneratorRates, index)) draft_.generatorFrameRate = kGeneratorRates[static_cast<std::size_t>(index)];
  emit edited();
}

void OutputSettings::setDeviceIndex(int index) {
  device_.choose(index);
  if (device_.device() != nullptr && draft_.selectedOutputChannel >= channelCount()) draft_.selectedOutputChannel = 0;
  takeChoices();
}

void OutputSettings::setDestinationIndex(int index) {
  destination_.choose(index);
  takeChoices();
}

int OutputSettings::channelCount() const {
  return offeredChannels(device_, draft_.selectedOutputChannel);
}

int OutputSettings::selectedChannel() const {
  return static_cast<int>(
      std::clamp<std::int64_t>(draft_.selectedOutputChannel, 0, std::numeric_limits<int>::max() - 1));
}

void OutputSettings::setSelectedChannel(int channel) {
  draft_.selectedOutputChannel = channel;
  emit edited();
}

int OutputSettings::level() const {
  return static_cast<int>(std::lround(std::clamp(draft_.outputLevelDBFS, kLowestLevel, kHighestLevel)));
}

void OutputSettings::setLevel(int level) {
  draft_.outputLevelDBFS = std::clamp<double>(level, kLowestLevel, kHighestLevel);
  emit edited();
}

}  // namespace tallyrig
