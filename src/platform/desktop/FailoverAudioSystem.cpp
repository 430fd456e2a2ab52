#include "platform/desktop/FailoverAudioSystem.h"

#include <cerrno>
#include <utility>

namespace tallyrig {

FailoverAudioSystem::FailoverAudioSystem(SoundServer& server, AudioSystem& fallback, Log& log)
    : server_(server), fallback_(fallback), log_(log), onServer_(server.isAvailable()) {
  serverSubscription_ = server_.observeDevices([this] { serverChanged(); });
  fallbackSubscription_ = fallback_.observeDevices([this] { fallbackChanged(); });
}

AudioSystem& FailoverAudioSystem::active() const {
  if (onServer_) return server_;
  return fallback_;
}

std::vector<AudioDeviceDescription> FailoverAudioSystem::devices() const {
  auto list = active().devices();
  if (!onServer_) {
    for (AudioDeviceDescription& device : list) device.id += kFallbackIDs;
  }
  return list;
}

PlatformStatus FailoverAudioSystem::nominalSampleRate(AudioDeviceID device, double& rate) const {
  return owns(device) ? active().nominalSampleRate(idWithin(device), rate) : -ENODEV;
}

AudioSystem::Timing FailoverAudioSystem::timing(AudioDeviceID device) const {
  return owns(device) ? active().timing(idWithin(device)) : Timing{};
}

PlatformStatus FailoverAudioSystem::createIO(AudioDeviceID device, AudioCycleCallback callback,
                                             std::unique_ptr<AudioIO>& io) {
  io.reset();
  return owns(device) ? active().createIO(idWithin(device), std::move(callback), io) : -ENODEV;
}

std::string FailoverAudioSystem::notice() const {
  if (onServer_) return server_.notice();
  return "No sound server. Using the built-in loopback; cards pick up your devices when the server returns.";
}

std::optional<AudioDeviceID> FailoverAudioSystem::defaultOutput() const {
  return onServer_ ? server_.defaultOutput() : std::nullopt;
}

Subscription FailoverAudioSystem::observeDevices(std::function<void()> handler) {
  const std::uint64_t key = observers_->next++;
  observers_->handlers[key] = std::make_shared<const std::function<void()>>(std::move(handler));
  return Subscription([weak = std::weak_ptr(observers_), key] {
    if (const auto observers = weak.lock()) observers->handlers.erase(key);
  });
}

void FailoverAudioSystem::serverChanged() {
  const bool wasOnServer = std::exchange(onServer_, server_.isAvailable());
  if (onServer_ != wasOnServer) {
    log_.line(onServer_ ? "AudioSystem: sound server available"
                        : "AudioSystem: sound server lost, using the built-in loopback");
  }
  if (onServer_ || wasOnServer) notify();
}

void FailoverAudioSystem::fallbackChanged() {
  if (!onServer_) notify();
}

void FailoverAudioSystem::notify() {
  // A handler may add and drop observers, itself included, or end this object.
  const auto observers = observers_;
  for (const auto& [key, handler] : std::map(observers->handlers)) {
    if (observers->handlers.contains(key)) (*handler)();
  }
}

}  // namespace tallyrig
