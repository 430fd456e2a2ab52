#pragma once

#include <QStringList>
#include <algorithm>
#include <cstddef>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "audio/AudioDevices.h"
#include "reader/FindDevice.h"
#include "reader/QtText.h"

namespace tallyrig {

/// One device chosen out of a list that can change while it is open. What was chosen stays chosen: it is found again
/// by its number, then by its name, and while it is away it stands at the end of the list. `kNumber` is the member that
/// holds a device's number. Main thread.
template <typename Device, auto kNumber>
class DeviceChoice {
 public:
  /// What the card has stored; `load` has yet to come.
  DeviceChoice(const std::optional<std::uint32_t>& number, const std::optional<std::string>& name)
      : number_(number), name_(name) {}

  /// Takes the devices that are there now.
  void load(std::vector<Device> devices) {
    devices_ = std::move(devices);
    const Device* found = findStoredDevice(devices_, kNumber, number_, name_);
    away_.reset();
    if (found != nullptr) {
      number_ = found->*kNumber;
      name_ = found->name;
    } else if (name_ && !devices_.empty()) {
      away_ = Away{number_, *name_};
    }
  }

  /// In list order; empty only where no device was found at all.
  QStringList names() const {
    QStringList names;
    for (const Device& device : devices_) names.append(toQString(device.name));
    if (away_) names.append(toQString(away_->name));
    return names;
  }

  /// Place in `names`, or -1 for none.
  int index() const {
    if (const Device* chosen = device()) return static_cast<int>(chosen - devices_.data());
    return away_ && number_ == away_->number && name_ == away_->name ? static_cast<int>(devices_.size()) : -1;
  }

  /// A place that does not exist chooses none.
  void choose(int index) {
    number_.reset();
    name_.reset();
    if (index < 0) return;
    const auto place = static_cast<std::size_t>(index);
    if (place < devices_.size()) {
      number_ = devices_[place].*kNumber;
      name_ = devices_[place].name;
    } else if (place == devices_.size() && away_) {
      number_ = away_->number;
      name_ = away_->name;
    }
  }

  const std::vector<Device>& devices() const { return devices_; }
  const std::optional<std::uint32_t>& number() const { return number_; }
  const std::optional<std::string>& name() const { return name_; }
  /// Null while none is chosen or the chosen one is away.
  const Device* device() const { return findDevice(devices_, kNumber, number_); }

 private:
  struct Away {
    std::optional<std::uint32_t> number;
    std::string name;
  };

  std::optional<std::uint32_t> number_;
  std::optional<std::string> name_;
  std::vector<Device> devices_;
  std::optional<Away> away_;
};

using InputDeviceChoice = DeviceChoice<AudioInputDevice, &AudioInputDevice::id>;
using OutputDeviceChoice = DeviceChoice<AudioOutputDevice, &AudioOutputDevice::id>;
using MIDISourceChoice = DeviceChoice<MIDISourceDevice, &MIDISourceDevice::endpoint>;
using MIDIDestinationChoice = DeviceChoice<MIDIDestinationDevice, &MIDIDestinationDevice::endpoint>;

/// Channels to offer for an audio device: its own, or as many as `selectedChannel` (from 0) needs while it is away.
/// 0 without a device.
template <typename Choice>
int offeredChannels(const Choice& choice, std::int64_t selectedChannel) {
  constexpr std::int64_t kMostChannels = 1024;
  if (const auto* device = choice.device()) return device->channelCount;
  if (choice.index() < 0) return 0;
  return static_cast<int>(std::clamp<std::int64_t>(selectedChannel, 0, kMostChannels - 1)) + 1;
}

}  // namespace tallyrig
