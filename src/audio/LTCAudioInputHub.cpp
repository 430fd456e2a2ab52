#include "audio/LTCAudioInputHub.h"

#include <algorithm>
#include <chrono>
#include <utility>
#include <vector>

namespace tallyrig {
namespace {

using namespace std::chrono_literals;

constexpr auto kRebuildDelay = 1s;

template <typename Device>
const Device* findByName(const std::vector<Device>& devices, const std::string& name) {
  const auto found = std::find_if(devices.begin(), devices.end(), [&](const Device& d) { return d.name == name; });
  return found == devices.end() ? nullptr : &*found;
}

const AudioInputDevice* findByID(const std::vector<AudioInputDevice>& devices, AudioDeviceID id) {
  const auto found = std::find_if(devices.begin(), devices.end(), [&](const auto& d) { return d.id == id; });
  return found == devices.end() ? nullptr : &*found;
}

}  // namespace

LTCAudioInputHub::LTCAudioInputHub(AudioSystem& audio, Scheduler& scheduler, Log& log)
    : audio_(audio), scheduler_(scheduler), log_(log) {
  deviceListObserver_ = audio_.observeDevices(lifetime_.guard([this] { scheduleRebuild(false); }));
}

LTCAudioInputHub::~LTCAudioInputHub() = default;

void LTCAudioInputHub::addSubscription(const QUuid& subscriber, Subscription subscription) {
  subscriptions_[subscriber] = std::move(subscription);
}

std::optional<LTCAudioInputError> LTCAudioInputHub::join(const QUuid& subscriber, const AudioInputDevice& device) {
  const auto entry = subscriptions_.find(subscriber);
  if (entry == subscriptions_.end()) return std::nullopt;

  if (const auto existing = sessions_.find(device.id); existing != sessions_.end()) {
    existing->second->addInput(subscriber, entry->second.handler);
    entry->second.deviceID = device.id;
    log_.line(formatted("LTCAudioInputHub: joined existing device session %s, id %u", device.name.c_str(), device.id));
    return std::nullopt;
  }

  auto session = std::make_unique<LTCAudioDeviceSession>(device, audio_, log_);
  session->addInput(subscriber, entry->second.handler);
  if (const auto error = session->open()) return error;
  sessions_[device.id] = std::move(session);
  entry->second.deviceID = device.id;
  return std::nullopt;
}

void LTCAudioInputHub::unsubscribe(const QUuid& subscriber) {
  const auto entry = subscriptions_.find(subscriber);
  if (entry == subscriptions_.end()) return;
  const AudioDeviceID device = entry->second.deviceID;
  subscriptions_.erase(entry);
  if (const auto session = sessions_.find(device); session != sessions_.end()) {
    session->second->removeInput(subscriber);
    closeIfUnused(device);
  }
}

std::optional<LTCAudioInputError> LTCAudioInputHub::attachOutput(AudioDeviceID deviceID, const std::string& deviceName,
                                                                 const QUuid& subscriber, AudioOutputHandler handler) {
  detachOutput(subscriber);
  const auto devices = listInputDevices(audio_);
  const AudioInputDevice* device = findByID(devices, deviceID);
  if (device == nullptr) return LTCAudioInputError{LTCAudioInputError::Kind::outputOnlyDevice};

  outputSubscriptions_[subscriber] = {deviceID, deviceName, handler};
  auto session = sessions_.find(deviceID);
  if (session == sessions_.end()) {
    auto opened = std::make_unique<LTCAudioDeviceSession>(*device, audio_, log_);
    if (const auto error = opened->open()) {
      outputSubscriptions_.erase(subscriber);
      return error;
    }
    session = sessions_.emplace(deviceID, std::move(opened)).first;
  }
  session->second->addOutput(subscriber, std::move(handler));
  log_.line(
      formatted("LTCAudioInputHub: attached output to shared device session %s, id %u", deviceName.c_str(), deviceID));
  return std::nullopt;
}

void LTCAudioInputHub::detachOutput(const QUuid& subscriber) {
  const auto entry = outputSubscriptions_.find(subscriber);
  if (entry == outputSubscriptions_.end()) return;
  const AudioDeviceID device = entry->second.deviceID;
  outputSubscriptions_.erase(entry);
  if (const auto session = sessions_.find(device); session != sessions_.end()) {
    session->second->removeOutput(subscriber);
    closeIfUnused(device);
  }
}

void LTCAudioInputHub::closeIfUnused(AudioDeviceID device) {
  const auto session = sessions_.find(device);
  if (session != sessions_.end() && !session->second->hasClients()) sessions_.erase(session);
}

void LTCAudioInputHub::scheduleRebuild(bool force) {
  const std::uint64_t generation = ++rebuildGeneration_;
  scheduler_.mainQueue().postAfter(kRebuildDelay, lifetime_.guard([this, generation, force] {
    if (generation == rebuildGeneration_) rebuild(force);
  }));
}

void LTCAudioInputHub::rebuild(bool force) {
  if (subscriptions_.empty() && outputSubscriptions_.empty()) return;
  const auto devices = listInputDevices(audio_);
  const bool allStand = std::all_of(sessions_.begin(), sessions_.end(),
                                    [&](const auto& session) { return findByID(devices, session.first) != nullptr; });
  if (!force && allStand) return;

  log_.line("LTCAudioInputHub: rebuilding shared input sessions");
  sessions_.clear();
  rebuildInputs(devices);
  rebuildOutputs();
}

void LTCAudioInputHub::rebuildInputs(const std::vector<AudioInputDevice>& devices) {
  const auto entries = subscriptions_;
  for (const auto& [subscriber, entry] : entries) {
    if (!subscriptions_.contains(subscriber)) continue;
    const AudioInputDevice* device = findByName(devices, entry.deviceName);
    if (device == nullptr) {
      log_.line("LTCAudioInputHub: waiting for audio device — " + entry.deviceName);
    } else if (const auto error = join(subscriber, *device)) {
      log_.line("LTCAudioInputHub: failed to rebuild audio device — " + error->description());
    }
  }
}

void LTCAudioInputHub::rebuildOutputs() {
  const auto devices = listOutputDevices(audio_);
  const auto entries = outputSubscriptions_;
  for (const auto& [subscriber, entry] : entries) {
    if (!outputSubscriptions_.contains(subscriber)) continue;
    const AudioOutputDevice* device = findByName(devices, entry.deviceName);
    if (device == nullptr) continue;
    if (const auto error = attachOutput(device->id, entry.deviceName, subscriber, entry.handler)) {
      log_.line("LTCAudioInputHub: failed to rebuild audio output — " + error->description());
    }
  }
}

}  // namespace tallyrig
