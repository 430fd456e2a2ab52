#include "audio/AudioDevices.h"

#include <QString>
#include <algorithm>
#include <array>
#include <numeric>
#include <utility>

namespace tallyrig {
namespace {

// Devices that carry calls and streams, never timecode.
constexpr std::array kLeftOutInputs{"iphone", "ipad", "airplay", "bluetooth", "hands-free"};

// Bytes that are no UTF-8 become U+FFFD.
std::string deviceName(const std::string& given) {
  if (given.empty()) return "Unknown";
  return QString::fromUtf8(given.data(), static_cast<qsizetype>(given.size())).toStdString();
}

template <typename Device>
std::vector<Device> listDevices(const AudioSystem& audio, std::vector<int> AudioDeviceDescription::*groups) {
  std::vector<Device> devices;
  for (AudioDeviceDescription& description : audio.devices()) {
    std::vector<int>& channelGroups = description.*groups;
    const int channelCount = std::accumulate(channelGroups.begin(), channelGroups.end(), 0);
    if (channelCount <= 0) continue;
    Device device;
    device.id = description.id;
    device.name = deviceName(description.name);
    device.channelCount = channelCount;
    device.channelGroups = std::move(channelGroups);
    devices.push_back(std::move(device));
  }
  return devices;
}

template <typename Device>
std::vector<Device> listEndpoints(const std::vector<MidiEndpointDescription>& descriptions) {
  std::vector<Device> devices;
  for (const auto& description : descriptions) devices.push_back({description.endpoint, deviceName(description.name)});
  return devices;
}

bool isLeftOut(const AudioInputDevice& device) {
  const QString name = QString::fromStdString(device.name).toLower();
  return std::any_of(kLeftOutInputs.begin(), kLeftOutInputs.end(),
                     [&name](const char* word) { return name.contains(QLatin1String(word)); });
}

}  // namespace

std::vector<AudioInputDevice> listInputDevices(const AudioSystem& audio) {
  auto devices = listDevices<AudioInputDevice>(audio, &AudioDeviceDescription::inputGroups);
  std::erase_if(devices, isLeftOut);
  return devices;
}

std::vector<AudioOutputDevice> listOutputDevices(const AudioSystem& audio) {
  return listDevices<AudioOutputDevice>(audio, &AudioDeviceDescription::outputGroups);
}

std::vector<MIDISourceDevice> listMIDISources(const MidiSystem& midi) {
  return listEndpoints<MIDISourceDevice>(midi.sources());
}

std::vector<MIDIDestinationDevice> listMIDIDestinations(const MidiSystem& midi) {
  return listEndpoints<MIDIDestinationDevice>(midi.destinations());
}

std::string layoutText(const std::vector<int>& channelGroups) {
  std::string text;
  for (const int channels : channelGroups) {
    if (!text.empty()) text += '+';
    text += std::to_string(channels);
  }
  return text;
}

}  // namespace tallyrig
