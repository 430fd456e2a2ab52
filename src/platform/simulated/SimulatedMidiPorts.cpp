#include "platform/simulated/SimulatedMidiPorts.h"

#include <algorithm>
#include <utility>

namespace tallyrig {

void SimulatedMidiPorts::add(MIDIPortRef port, MIDIClientRef client, MidiReadCallback read) {
  ports_.emplace(port, std::make_shared<SimulatedMidiPort>(SimulatedMidiPort{client, std::move(read), {}, false}));
}

std::shared_ptr<SimulatedMidiPort> SimulatedMidiPorts::remove(MIDIPortRef port) {
  const auto found = ports_.find(port);
  if (found == ports_.end()) return nullptr;
  found->second->isDisposed = true;
  return std::move(ports_.extract(found).mapped());
}

std::vector<std::shared_ptr<SimulatedMidiPort>> SimulatedMidiPorts::removeAllOf(MIDIClientRef client) {
  std::vector<std::shared_ptr<SimulatedMidiPort>> removed;
  for (auto entry = ports_.begin(); entry != ports_.end();) {
    const MIDIPortRef port = entry->first;
    const bool isOurs = entry->second->client == client;
    ++entry;
    if (isOurs) removed.push_back(remove(port));
  }
  return removed;
}

SimulatedMidiPort* SimulatedMidiPorts::findInput(MIDIPortRef port) const {
  SimulatedMidiPort* found = find(port);
  return found != nullptr && found->isInput() ? found : nullptr;
}

SimulatedMidiPort* SimulatedMidiPorts::findOutput(MIDIPortRef port) const {
  SimulatedMidiPort* found = find(port);
  return found != nullptr && !found->isInput() ? found : nullptr;
}

SimulatedMidiPort* SimulatedMidiPorts::find(MIDIPortRef port) const {
  const auto found = ports_.find(port);
  return found == ports_.end() ? nullptr : found->second.get();
}

void SimulatedMidiPorts::disconnectAll(MIDIEndpointRef source) {
  for (const auto& [number, port] : ports_) std::erase(port->sources, source);
}

std::vector<std::shared_ptr<SimulatedMidiPort>> SimulatedMidiPorts::connectedTo(MIDIEndpointRef source) const {
  std::vector<std::shared_ptr<SimulatedMidiPort>> result;
  for (const auto& [number, port] : ports_) {
    if (std::find(port->sources.begin(), port->sources.end(), source) != port->sources.end()) result.push_back(port);
  }
  return result;
}

}  // namespace tallyrig
