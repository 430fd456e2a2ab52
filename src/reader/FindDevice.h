#pragma once

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

namespace tallyrig {

/// The first entry of a device list whose `member` equals `value`; null if there is none, or no value.
template <typename Device, typename Base, typename Value>
const Device* findDevice(const std::vector<Device>& devices, Value Base::*member, const std::optional<Value>& value) {
  if (!value) return nullptr;
  const auto found =
      std::find_if(devices.begin(), devices.end(), [&](const Device& device) { return device.*member == *value; });
  return found == devices.end() ? nullptr : &*found;
}

/// A stored choice in a list of today: by its number, which is good for one run only, else by its exact name.
template <typename Device, typename Base, typename Number>
const Device* findStoredDevice(const std::vector<Device>& devices, Number Base::*member,
                               const std::optional<Number>& number, const std::optional<std::string>& name) {
  const Device* device = findDevice(devices, member, number);
  return device != nullptr ? device : findDevice(devices, &Device::name, name);
}

}  // namespace tallyrig
