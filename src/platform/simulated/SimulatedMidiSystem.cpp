#include "platform/simulated/SimulatedMidiSystem.h"

#include <algorithm>
#include <cerrno>

namespace tallyrig {
namespace {

template <typename Endpoint>
std::vector<MidiEndpointDescription> describe(const std::vector<Endpoint*>& endpoints) {
  std::vector<MidiEndpointDescription> result;
  for (const Endpoint* endpoint : endpoints) result.push_back({endpoint->endpoint(), endpoint->name()});
  return result;
}

template <typename Endpoint>
void insertAt(std::vector<Endpoint*>& endpoints, Endpoint& endpoint, std::size_t place) {
  endpoints.insert(endpoints.begin() + static_cast<std::ptrdiff_t>(std::min(place, endpoints.size())), &endpoint);
}

}  // namespace

SimulatedMidiSystem::SimulatedMidiSystem(const HostClock& clock, Scheduler& scheduler, std::uint64_t seed)
    : clock_(clock),
      readingQueue_(scheduler.makeQueue("SimulatedMidi", QueuePriority::kUserInteractive)),
      observers_(scheduler.mainQueue()),
      random_(seed) {}

SimulatedMidiSystem::~SimulatedMidiSystem() {
  readingQueue_->runSync([this] { alive_.reset(); });
}

SimulatedMidiSource& SimulatedMidiSystem::addSource(std::string name, std::size_t place) {
  auto& source = *allSources_.emplace_back(std::make_unique<SimulatedMidiSource>(std::move(name)));
  plugIn(source, place);
  return source;
}

SimulatedMidiDestination& SimulatedMidiSystem::addDestination(std::string name, bool keepsRecord, std::size_t place) {
  auto destination = std::make_unique<SimulatedMidiDestination>(std::move(name), keepsRecord);
  SimulatedMidiDestination& added = *destination;
  {
    const std::lock_guard lock(mutex_);
    allDestinations_.push_back(std::move(destination));
  }
  plugIn(added, place);
  return added;
}

void SimulatedMidiSystem::unplug(SimulatedMidiSource& source) {
  {
    const std::lock_guard lock(mutex_);
    if (std::erase(sources_, &source) == 0) return;
    ports_.disconnectAll(std::exchange(source.endpoint_, 0));
  }
  observers_.notify();
}

void SimulatedMidiSystem::unplug(SimulatedMidiDestination& destination) {
  {
    const std::lock_guard lock(mutex_);
    if (std::erase(destinations_, &destination) == 0) return;
    destination.endpoint_ = 0;
    destination.flush(clock_.now());
  }
  observers_.notify();
}

void SimulatedMidiSystem::plugIn(SimulatedMidiSource& source, std::size_t place) {
  {
    const std::lock_guard lock(mutex_);
    if (source.endpoint_ != 0) return;
    source.endpoint_ = ++lastNumber_;
    insertAt(sources_, source, place);
  }
  observers_.notify();
}

void SimulatedMidiSystem::plugIn(SimulatedMidiDestination& destination, std::size_t place) {
  {
    const std::lock_guard lock(mutex_);
    if (destination.endpoint_ != 0) return;
    destination.endpoint_ = ++lastNumber_;
    insertAt(destinations_, destination, place);
  }
  observers_.notify();
}

void SimulatedMidiSystem::rename(SimulatedMidiSource& source, std::string name) {
  {
    const std::lock_guard lock(mutex_);
    source.name_ = std::move(name);
  }
  if (source.endpoint_ != 0) observers_.notify();
}

void SimulatedMidiSystem::rename(SimulatedMidiDestination& destination, std::string name) {
  {
    const std::lock_guard lock(mutex_);
    destination.name_ = std::move(name);
  }
  if (destination.endpoint_ != 0) observers_.notify();
}

SimulatedMidiCable& SimulatedMidiSystem::connect(SimulatedMidiDestination& from, SimulatedMidiSource& to,
                                                 const SimulatedMidiCableOptions& options) {
  const std::lock_guard lock(mutex_);
  wires_.push_back(std::make_unique<Wire>(Wire{SimulatedMidiCable(clock_, options, random_()), &from, &to}));
  return wires_.back()->cable;
}

void SimulatedMidiSystem::inject(SimulatedMidiSource& source, std::vector<SimulatedMidiPacket> packets) {
  readingQueue_->post([this, alive = std::weak_ptr(alive_), delivery = Delivery(source.endpoint_, std::move(packets))] {
    if (!alive.expired()) deliver(delivery);
  });
}

std::vector<MidiEndpointDescription> SimulatedMidiSystem::sources() const {
  return describe(sources_);
}

std::vector<MidiEndpointDescription> SimulatedMidiSystem::destinations() const {
  return describe(destinations_);
}

PlatformStatus SimulatedMidiSystem::createClient(std::string_view, std::function<void()> setupChanged,
                                                 MIDIClientRef& client) {
  client = 0;
  if (failures_.createClient != kPlatformOk) return failures_.createClient;
  const std::lock_guard lock(mutex_);
  client = ++lastNumber_;
  clients_.emplace(client, observers_.add(std::move(setupChanged)));
  return kPlatformOk;
}

void SimulatedMidiSystem::disposeClient(MIDIClientRef client) {
  clients_.erase(client);
  std::vector<std::shared_ptr<SimulatedMidiPort>> removed;
  readingQueue_->runSync([&] {
    const std::lock_guard lock(mutex_);
    removed = ports_.removeAllOf(client);
  });
}

PlatformStatus SimulatedMidiSystem::createInputPort(MIDIClientRef client, std::string_view, MidiReadCallback read,
                                                    MIDIPortRef& port) {
  return createPort(failures_.createInputPort, client, std::move(read), port);
}

PlatformStatus SimulatedMidiSystem::createOutputPort(MIDIClientRef client, std::string_view, MIDIPortRef& port) {
  return createPort(failures_.createOutputPort, client, nullptr, port);
}

PlatformStatus SimulatedMidiSystem::createPort(PlatformStatus failure, MIDIClientRef client, MidiReadCallback read,
                                               MIDIPortRef& port) {
  port = 0;
  if (failure != kPlatformOk) return failure;
  const std::lock_guard lock(mutex_);
  if (!clients_.contains(client)) return -EBADF;
  port = ++lastNumber_;
  ports_.add(port, client, std::move(read));
  return kPlatformOk;
}

void SimulatedMidiSystem::disposePort(MIDIPortRef port) {
  std::shared_ptr<SimulatedMidiPort> removed;
  readingQueue_->runSync([&] {
    const std::lock_guard lock(mutex_);
    removed = ports_.remove(port);
  });
}

PlatformStatus SimulatedMidiSystem::connectSource(MIDIPortRef inputPort, MIDIEndpointRef source) {
  if (failures_.connectSource != kPlatformOk) return failures_.connectSource;
  const std::lock_guard lock(mutex_);
  SimulatedMidiPort* port = ports_.findInput(inputPort);
  if (port == nullptr) return -EBADF;
  if (!hasSource(source)) return -ENODEV;
  if (std::find(port->sources.begin(), port->sources.end(), source) == port->sources.end()) {
    port->sources.push_back(source);
  }
  return kPlatformOk;
}

PlatformStatus SimulatedMidiSystem::disconnectSource(MIDIPortRef inputPort, MIDIEndpointRef source) {
  const std::lock_guard lock(mutex_);
  SimulatedMidiPort* port = ports_.findInput(inputPort);
  if (port == nullptr) return -EBADF;
  return std::erase(port->sources, source) > 0 ? kPlatformOk : -ENODEV;
}

PlatformStatus SimulatedMidiSystem::send(MIDIPortRef outputPort, MIDIEndpointRef destination,
                                         std::span<const std::uint8_t> bytes, HostTime when) {
  const HostTime now = clock_.now();
  const std::lock_guard lock(mutex_);
  if (ports_.findOutput(outputPort) == nullptr) return -EBADF;
  SimulatedMidiDestination* found = findDestination(destination);
  if (found == nullptr) return -ENODEV;
  const bool isTooFar = clock_.nanosFromTicks(when - now) > static_cast<std::uint64_t>(kFurthestAhead.count());
  if (bytes.empty() || isTooFar) return -EINVAL;
  const PlatformStatus status = found->add(bytes, when, now);
  if (status == kPlatformOk) wakeAt(std::max(when, now));
  return status;
}

PlatformStatus SimulatedMidiSystem::flushOutput(MIDIEndpointRef destination) {
  const std::lock_guard lock(mutex_);
  SimulatedMidiDestination* found = findDestination(destination);
  if (found == nullptr) return -ENODEV;
  found->flush(clock_.now());
  return kPlatformOk;
}

SimulatedMidiDestination* SimulatedMidiSystem::findDestination(MIDIEndpointRef endpoint) const {
  const auto found = std::find_if(destinations_.begin(), destinations_.end(),
                                  [endpoint](const auto* listed) { return listed->endpoint_ == endpoint; });
  return found == destinations_.end() ? nullptr : *found;
}

bool SimulatedMidiSystem::hasSource(MIDIEndpointRef endpoint) const {
  return std::any_of(sources_.begin(), sources_.end(),
                     [endpoint](const auto* listed) { return listed->endpoint_ == endpoint; });
}

void SimulatedMidiSystem::wakeAt(HostTime at) {
  if (armedFor_ && *armedFor_ <= at) return;
  armedFor_ = at;
  const HostDuration distance = at - clock_.now();
  auto delay = static_cast<std::int64_t>(clock_.nanosFromTicks(distance));
  if (distance.ticks > 0) delay = std::max<std::int64_t>(delay, 1);
  readingQueue_->postAfter(std::chrono::nanoseconds{delay}, [this, alive = std::weak_ptr(alive_), at] {
    if (!alive.expired()) wake(at);
  });
}

void SimulatedMidiSystem::wake(HostTime armedFor) {
  std::vector<Delivery> deliveries;
  {
    const std::lock_guard lock(mutex_);
    if (armedFor_ != armedFor) return;
    armedFor_.reset();
    const HostTime now = clock_.now();
    putOnWires(now);
    deliveries = takeDeliveries(now);
    // Where a tick is no whole number of nanoseconds this may be the same instant again, a moment too early.
    if (const auto next = nextEvent()) wakeAt(*next);
  }
  for (const Delivery& delivery : deliveries) deliver(delivery);
}

std::optional<HostTime> SimulatedMidiSystem::nextEvent() const {
  std::optional<HostTime> earliest;
  const auto consider = [&](std::optional<HostTime> at) {
    if (at && (!earliest || *at < *earliest)) earliest = at;
  };
  for (const auto& destination : allDestinations_) consider(destination->nextDue());
  for (const auto& wire : wires_) consider(wire->cable.nextDelivery());
  return earliest;
}

void SimulatedMidiSystem::putOnWires(HostTime now) {
  for (const auto& destination : allDestinations_) {
    while (const auto message = destination->takeDue(now)) {
      for (const auto& wire : wires_) {
        if (wire->from == destination.get()) wire->cable.transmit(message->bytes, message->at);
      }
    }
  }
}

std::vector<SimulatedMidiSystem::Delivery> SimulatedMidiSystem::takeDeliveries(HostTime now) {
  std::vector<Delivery> deliveries;
  for (const auto& wire : wires_) {
    auto packets = wire->cable.deliver(now);
    if (!packets.empty()) deliveries.emplace_back(wire->to->endpoint_, std::move(packets));
  }
  return deliveries;
}

void SimulatedMidiSystem::deliver(const Delivery& delivery) {
  const auto& [source, packets] = delivery;
  std::vector<MidiPacket> lent;
  for (const SimulatedMidiPacket& packet : packets) lent.push_back({packet.hostTime, packet.bytes});
  std::vector<std::shared_ptr<SimulatedMidiPort>> readers;
  {
    const std::lock_guard lock(mutex_);
    readers = ports_.connectedTo(source);
  }
  for (const auto& port : readers) {
    if (!port->isDisposed) port->read(lent);
  }
}

}  // namespace tallyrig
