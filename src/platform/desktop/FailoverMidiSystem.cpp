#include "platform/desktop/FailoverMidiSystem.h"

#include <cerrno>
#include <string>
#include <utility>
#include <vector>

namespace tallyrig {
namespace {

std::vector<MidiEndpointDescription> offset(std::vector<MidiEndpointDescription> endpoints) {
  for (auto& endpoint : endpoints) endpoint.endpoint += FailoverMidiSystem::kFallbackNumbers;
  return endpoints;
}

/// One call at a time also where both sides have something to read.
MidiReadCallback oneAtATime(MidiReadCallback read) {
  struct Guarded {
    std::mutex mutex;
    MidiReadCallback read;
  };
  auto guarded = std::make_shared<Guarded>();
  guarded->read = std::move(read);
  return [guarded](std::span<const MidiPacket> packets) {
    const std::lock_guard lock(guarded->mutex);
    guarded->read(packets);
  };
}

}  // namespace

FailoverMidiSystem::FailoverMidiSystem(MidiServer& server, MidiSystem& fallback)
    : server_(server), fallback_(fallback), onServer_(server.isAvailable()) {
  server_.createClient(
      "Tallyrig.MIDIFailover", [this] { serverChanged(); }, serverWatch_);
  fallback_.createClient(
      "Tallyrig.MIDIFailover", [this] { fallbackChanged(); }, fallbackWatch_);
}

FailoverMidiSystem::~FailoverMidiSystem() {
  server_.disposeClient(serverWatch_);
  fallback_.disposeClient(fallbackWatch_);
  while (!clients_.empty()) disposeClient(clients_.begin()->first);
}

MIDIEndpointRef FailoverMidiSystem::within(MIDIEndpointRef endpoint) {
  return isFallback(endpoint) ? endpoint - kFallbackNumbers : endpoint;
}

MidiSystem& FailoverMidiSystem::sideOf(MIDIEndpointRef endpoint) const {
  if (isFallback(endpoint)) return fallback_;
  return server_;
}

std::uint32_t FailoverMidiSystem::numberFor(const Pair& pair, MIDIEndpointRef endpoint) {
  return isFallback(endpoint) ? pair.onFallback : pair.onServer;
}

std::vector<MidiEndpointDescription> FailoverMidiSystem::sources() const {
  return onServer_ ? server_.sources() : offset(fallback_.sources());
}

std::vector<MidiEndpointDescription> FailoverMidiSystem::destinations() const {
  return onServer_ ? server_.destinations() : offset(fallback_.destinations());
}

PlatformStatus FailoverMidiSystem::createClient(std::string_view name, std::function<void()> setupChanged,
                                                MIDIClientRef& client) {
  client = 0;
  Pair pair;
  if (const PlatformStatus status = server_.createClient(name, nullptr, pair.onServer); status != kPlatformOk) {
    return status;
  }
  if (const PlatformStatus status = fallback_.createClient(name, nullptr, pair.onFallback); status != kPlatformOk) {
    server_.disposeClient(pair.onServer);
    return status;
  }
  client = ++lastNumber_;
  clients_[client] = pair;
  if (setupChanged) (*handlers_)[client] = std::make_shared<const std::function<void()>>(std::move(setupChanged));
  return kPlatformOk;
}

void FailoverMidiSystem::disposeClient(MIDIClientRef client) {
  const auto found = clients_.find(client);
  if (found == clients_.end()) return;
  server_.disposeClient(found->second.onServer);
  fallback_.disposeClient(found->second.onFallback);
  clients_.erase(found);
  handlers_->erase(client);
  const std::lock_guard lock(portsMutex_);
  std::erase_if(ports_, [&](const auto& entry) { return entry.second.client == client; });
}

PlatformStatus FailoverMidiSystem::createPort(MIDIClientRef client, const MakePort& make, MIDIPortRef& port) {
  port = 0;
  const auto owner = clients_.find(client);
  if (owner == clients_.end()) return -EBADF;
  Pair pair;
  if (const PlatformStatus status = make(server_, owner->second.onServer, pair.onServer); status != kPlatformOk) {
    return status;
  }
  if (const PlatformStatus status = make(fallback_, owner->second.onFallback, pair.onFallback); status != kPlatformOk) {
    server_.disposePort(pair.onServer);
    return status;
  }
  port = ++lastNumber_;
  const std::lock_guard lock(portsMutex_);
  ports_[port] = {.client = client, .numbers = pair};
  return kPlatformOk;
}

PlatformStatus FailoverMidiSystem::createInputPort(MIDIClientRef client, std::string_view name, MidiReadCallback read,
                                                   MIDIPortRef& port) {
  const MidiReadCallback guarded = oneAtATime(std::move(read));
  return createPort(
      client,
      [&](MidiSystem& side, MIDIClientRef owner, MIDIPortRef& made) {
        return side.createInputPort(owner, name, guarded, made);
      },
      port);
}

PlatformStatus FailoverMidiSystem::createOutputPort(MIDIClientRef client, std::string_view name, MIDIPortRef& port) {
  return createPort(
      client,
      [&](MidiSystem& side, MIDIClientRef owner, MIDIPortRef& made) {
        return side.createOutputPort(owner, name, made);
      },
      port);
}

void FailoverMidiSystem::disposePort(MIDIPortRef port) {
  Pair pair;
  if (!find(port, pair)) return;
  server_.disposePort(pair.onServer);
  fallback_.disposePort(pair.onFallback);
  const std::lock_guard lock(portsMutex_);
  ports_.erase(port);
}

bool FailoverMidiSystem::find(MIDIPortRef port, Pair& numbers) const {
  const std::lock_guard lock(portsMutex_);
  const auto found = ports_.find(port);
  if (found == ports_.end()) return false;
  numbers = found->second.numbers;
  return true;
}

PlatformStatus FailoverMidiSystem::connectSource(MIDIPortRef inputPort, MIDIEndpointRef source) {
  Pair pair;
  if (!find(inputPort, pair)) return -EBADF;
  if (isAway(source)) return -ENODEV;
  return sideOf(source).connectSource(numberFor(pair, source), within(source));
}

PlatformStatus FailoverMidiSystem::disconnectSource(MIDIPortRef inputPort, MIDIEndpointRef source) {
  Pair pair;
  if (!find(inputPort, pair)) return -EBADF;
  return sideOf(source).disconnectSource(numberFor(pair, source), within(source));
}

PlatformStatus FailoverMidiSystem::send(MIDIPortRef outputPort, MIDIEndpointRef destination,
                                        std::span<const std::uint8_t> bytes, HostTime when) {
  Pair pair;
  if (!find(outputPort, pair)) return -EBADF;
  if (isAway(destination)) return -ENODEV;
  return sideOf(destination).send(numberFor(pair, destination), within(destination), bytes, when);
}

PlatformStatus FailoverMidiSystem::flushOutput(MIDIEndpointRef destination) {
  if (isAway(destination)) return -ENODEV;
  return sideOf(destination).flushOutput(within(destination));
}

void FailoverMidiSystem::serverChanged() {
  const bool wasOnServer = onServer_.exchange(server_.isAvailable());
  if (onServer_ || wasOnServer) notify();
}

void FailoverMidiSystem::fallbackChanged() {
  if (!onServer_) notify();
}

void FailoverMidiSystem::notify() {
  // A handler may create and dispose clients, its own included, or end this object.
  const auto handlers = handlers_;
  for (const auto& [client, handler] : Handlers(*handlers)) {
    if (handlers->contains(client)) (*handler)();
  }
}

}  // namespace tallyrig
