#include "platform/simulated/SimulatedAudioSystem.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <utility>

namespace tallyrig {

SimulatedAudioSystem::SimulatedAudioSystem(SimulatedClock& clock, SimulatedScheduler& scheduler, std::uint64_t seed)
    : clock_(clock), scheduler_(scheduler), origin_(clock.nanos()), random_(seed), observers_(scheduler.mainQueue()) {}

SimulatedDevice& SimulatedAudioSystem::addDevice(SimulatedDeviceOptions options, std::size_t place) {
  auto lane = scheduler_.makeQueue("SimulatedDevice", QueuePriority::kUserInteractive);
  auto& device = *all_.emplace_back(std::make_unique<SimulatedDevice>(*this, std::move(options), std::move(lane)));
  plugIn(device, place);
  return device;
}

void SimulatedAudioSystem::unplug(SimulatedDevice& device) {
  if (std::erase(listed_, &device) == 0) return;
  device.unplug();
  observers_.notify();
}

void SimulatedAudioSystem::plugIn(SimulatedDevice& device, std::size_t place, AudioDeviceID id) {
  if (std::find(listed_.begin(), listed_.end(), &device) != listed_.end()) return;
  device.plugIn(id != 0 ? id : ++nextID_);
  listed_.insert(listed_.begin() + static_cast<std::ptrdiff_t>(std::min(place, listed_.size())), &device);
  observers_.notify();
}

SimulatedCable& SimulatedAudioSystem::connect(SimulatedDevice& from, std::size_t outputChannel, SimulatedDevice& to,
                                              std::size_t inputChannel, const SimulatedCableOptions& options) {
  auto wire = std::make_unique<Wire>(
      Wire{SimulatedCable(from.engine_.history(outputChannel), from.timeline_, to.timeline_, options, random_()), &from,
           &to});
  to.engine_.plugIn(inputChannel, wire->cable);
  wires_.push_back(std::move(wire));
  updateWaits();
  return wires_.back()->cable;
}

void SimulatedAudioSystem::setNotice(std::string notice) {
  notice_ = std::move(notice);
  observers_.notify();
}

std::vector<AudioDeviceDescription> SimulatedAudioSystem::devices() const {
  std::vector<AudioDeviceDescription> result;
  for (const SimulatedDevice* device : listed_) result.push_back(device->description());
  return result;
}

Subscription SimulatedAudioSystem::observeDevices(std::function<void()> handler) {
  return observers_.add(std::move(handler));
}

PlatformStatus SimulatedAudioSystem::nominalSampleRate(AudioDeviceID device, double& rate) const {
  SimulatedDevice* found = find(device);
  if (found == nullptr) return -ENODEV;
  if (found->failures().nominalRate == kPlatformOk) rate = found->options_.rate;
  return found->failures().nominalRate;
}

AudioSystem::Timing SimulatedAudioSystem::timing(AudioDeviceID device) const {
  const SimulatedDevice* found = find(device);
  return found == nullptr ? Timing{} : found->timing();
}

PlatformStatus SimulatedAudioSystem::createIO(AudioDeviceID device, AudioCycleCallback callback,
                                              std::unique_ptr<AudioIO>& io) {
  io.reset();
  SimulatedDevice* found = find(device);
  return found == nullptr ? -ENODEV : found->createIO(std::move(callback), io);
}

std::chrono::nanoseconds SimulatedAudioSystem::draw(std::chrono::nanoseconds most) {
  if (most.count() <= 0) return std::chrono::nanoseconds{0};
  const auto range = static_cast<std::uint64_t>(most.count()) + 1;
  return std::chrono::nanoseconds{static_cast<std::int64_t>(random_() % range)};
}

void SimulatedAudioSystem::updateWaits() {
  std::vector<const SimulatedDevice*> asking;
  for (const auto& device : all_) device->setWait(waitOf(*device, asking));
}

std::chrono::nanoseconds SimulatedAudioSystem::waitOf(const SimulatedDevice& device,
                                                      std::vector<const SimulatedDevice*>& asking) const {
  std::chrono::nanoseconds longest{0};
  asking.push_back(&device);
  for (const auto& wire : wires_) {
    const bool waitsForIt = std::find(asking.begin(), asking.end(), wire->from) != asking.end();
    if (wire->to != &device || waitsForIt) continue;
    const auto samples = static_cast<double>(wire->cable.samplesNeeded());
    const auto signal = std::chrono::nanoseconds{std::llround(samples * 1e9 / wire->from->actualRate())};
    longest = std::max(longest, signal + wire->from->jitter_ + waitOf(*wire->from, asking));
  }
  asking.pop_back();
  return longest;
}

SimulatedDevice* SimulatedAudioSystem::find(AudioDeviceID id) const {
  const auto found =
      std::find_if(listed_.begin(), listed_.end(), [&](const SimulatedDevice* device) { return device->id() == id; });
  return found == listed_.end() ? nullptr : *found;
}

}  // namespace tallyrig
