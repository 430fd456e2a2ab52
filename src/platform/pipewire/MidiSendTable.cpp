#include "platform/pipewire/MidiSendTable.h"

#include <cerrno>
#include <utility>

namespace tallyrig {

void MidiSendTable::addPort(MIDIPortRef port) {
  const std::lock_guard lock(mutex_);
  ports_.insert(port);
}

void MidiSendTable::removePort(MIDIPortRef port) {
  const std::lock_guard lock(mutex_);
  ports_.erase(port);
}

void MidiSendTable::setDestinations(bool available, const std::vector<MidiEndpointDescription>& destinations) {
  const std::lock_guard lock(mutex_);
  available_ = available;
  auto before = std::exchange(destinations_, {});
  for (const auto& listed : destinations) destinations_[listed.endpoint] = std::move(before[listed.endpoint]);
}

void MidiSendTable::setFailed(MIDIEndpointRef destination) {
  const std::lock_guard lock(mutex_);
  if (const auto found = destinations_.find(destination); found != destinations_.end()) {
    found->second = {.schedule = nullptr, .failed = true};
  }
}

bool MidiSendTable::release(MIDIEndpointRef destination) {
  const std::lock_guard lock(mutex_);
  const auto found = destinations_.find(destination);
  if (found == destinations_.end() || !found->second.schedule) return true;
  if (found->second.schedule->wasUsed()) return false;
  found->second.schedule.reset();
  return true;
}

PlatformStatus MidiSendTable::statusOf(MIDIEndpointRef destination) const {
  if (!available_) return -ENOTCONN;
  return destinations_.contains(destination) ? kPlatformOk : -ENODEV;
}

PlatformStatus MidiSendTable::send(MIDIPortRef port, MIDIEndpointRef destination, std::span<const std::uint8_t> bytes,
                                   HostTime when, const HostClock& clock, const Open& open) {
  if (bytes.empty()) return -EINVAL;
  std::unique_lock lock(mutex_);
  if (!ports_.contains(port)) return -EBADF;
  if (const PlatformStatus status = statusOf(destination); status != kPlatformOk) return status;
  if (std::exchange(destinations_[destination].failed, false)) return -EPIPE;
  if (!destinations_[destination].schedule) {
    lock.unlock();
    std::shared_ptr<MidiSchedule> opened;
    if (const PlatformStatus status = open(destination, opened); status != kPlatformOk) return status;
    lock.lock();
    // Either may have gone meanwhile.
    if (!ports_.contains(port)) return -EBADF;
    if (const PlatformStatus status = statusOf(destination); status != kPlatformOk) return status;
    destinations_[destination].schedule = std::move(opened);
  }
  return destinations_[destination].schedule->add(bytes, when, clock.now());
}

PlatformStatus MidiSendTable::flush(MIDIEndpointRef destination) {
  const std::lock_guard lock(mutex_);
  if (const PlatformStatus status = statusOf(destination); status != kPlatformOk) return status;
  if (const auto& schedule = destinations_[destination].schedule) schedule->flush();
  return kPlatformOk;
}

}  // namespace tallyrig
