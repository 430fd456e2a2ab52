#include "platform/pipewire/MidiEndpoints.h"

#include <algorithm>
#include <utility>

namespace tallyrig {
namespace {

std::string nameOf(const MidiGraphPort& port, const GraphNode& node) {
  if (!port.alias.empty()) return port.alias;
  if (port.name.empty()) return node.title;
  return node.title.empty() ? port.name : node.title + ": " + port.name;
}

}  // namespace

void MidiEndpoints::update(const GraphModel& graph, std::string_view ownClient) {
  std::map<std::uint64_t, MidiEndpoint> before = std::exchange(endpoints_, {});
  std::vector<std::pair<GraphPort, std::string>> added;
  for (const auto* found : graph.midiPorts()) {
    const GraphPort& port = found->port;
    const auto* node = graph.nodeOfId(port.nodeId);
    if (node == nullptr || (!node->clientId.empty() && node->clientId == ownClient)) continue;
    if (auto known = before.extract(port.serial)) {
      endpoints_.insert(std::move(known));
    } else {
      added.emplace_back(port, nameOf(*found, *node));
    }
  }
  // After those that keep their names.
  for (const auto& [port, name] : added) {
    endpoints_[port.serial] = {.number = ++highest_, .name = freeName(name, port.direction), .port = port};
  }
}

std::string MidiEndpoints::freeName(const std::string& wanted, PortDirection direction) const {
  const auto isTaken = [&](const std::string& name) {
    return std::ranges::any_of(endpoints_, [&](const auto& entry) {
      return entry.second.port.direction == direction && entry.second.name == name;
    });
  };
  if (wanted.empty()) return wanted;
  std::string name = wanted;
  for (int count = 2; isTaken(name); ++count) name = wanted + " (" + std::to_string(count) + ")";
  return name;
}

std::vector<MidiEndpointDescription> MidiEndpoints::list(PortDirection direction) const {
  std::vector<MidiEndpointDescription> endpoints;
  for (const auto& [serial, endpoint] : endpoints_) {
    if (endpoint.port.direction == direction) endpoints.push_back({.endpoint = endpoint.number, .name = endpoint.name});
  }
  return endpoints;
}

const MidiEndpoint* MidiEndpoints::find(MIDIEndpointRef number, PortDirection direction) const {
  for (const auto& [serial, endpoint] : endpoints_) {
    if (endpoint.number == number && endpoint.port.direction == direction) return &endpoint;
  }
  return nullptr;
}

}  // namespace tallyrig
