#include "platform/pipewire/AudioDeviceModel.h"

#include <algorithm>
#include <map>

namespace tallyrig {
namespace {

/// Nodes that a session manager keeps for its own plumbing.
constexpr std::string_view kInternalSuffix = "/Internal";

bool plays(const GraphNode& node) {
  return node.mediaClass == "Audio/Sink" || node.mediaClass == "Audio/Duplex";
}

bool records(const GraphNode& node) {
  const std::string& mediaClass = node.mediaClass;
  if (mediaClass == "Audio/Duplex" || mediaClass == "Audio/Source") return true;
  return mediaClass.starts_with("Audio/Source/") && !mediaClass.ends_with(kInternalSuffix);
}

bool hasDirection(const GraphNode& node, PortDirection direction) {
  return direction == PortDirection::kOut ? records(node) : plays(node);
}

void addStream(const GraphModel& graph, const GraphNode& node, PortDirection direction,
               std::vector<DeviceStream>& streams) {
  if (!hasDirection(node, direction)) return;
  const auto count = graph.ports(node.id, direction).size();
  if (count == 0) return;
  streams.push_back(
      {.nodeSerial = node.serial, .nodeName = node.name, .direction = direction, .channels = static_cast<int>(count)});
}

GraphDevice deviceOf(const GraphModel& graph, const std::vector<const GraphNode*>& nodes) {
  GraphDevice device;
  for (const auto* node : nodes) {
    addStream(graph, *node, PortDirection::kOut, device.inputs);
    addStream(graph, *node, PortDirection::kIn, device.outputs);
  }
  // A card keeps its name and number while one of its nodes has no ports yet.
  device.serial = nodes.front()->serial;
  if (nodes.size() > 1) device.title = graph.cardTitle(nodes.front()->cardId);
  if (device.title.empty()) device.title = nodes.front()->title;
  return device;
}

}  // namespace

std::vector<GraphDevice> audioDevices(const GraphModel& graph) {
  std::vector<std::vector<const GraphNode*>> groups;
  std::map<std::string_view, std::size_t> groupOfCard;
  for (const auto* node : graph.nodes()) {
    if (!plays(*node) && !records(*node)) continue;
    if (!node->cardId.empty()) {
      const auto [found, isNew] = groupOfCard.try_emplace(node->cardId, groups.size());
      if (!isNew) {
        groups[found->second].push_back(node);
        continue;
      }
    }
    groups.push_back({node});
  }

  std::vector<GraphDevice> devices;
  for (const auto& nodes : groups) {
    auto device = deviceOf(graph, nodes);
    if (!device.inputs.empty() || !device.outputs.empty()) devices.push_back(std::move(device));
  }
  return devices;
}

std::vector<GraphPort> portsOf(const DeviceStream& stream, const GraphModel& graph) {
  const GraphNode* node = graph.nodeOfSerial(stream.nodeSerial);
  if (node == nullptr || node->name != stream.nodeName) {
    const auto all = graph.nodes();
    const auto found = std::ranges::find_if(all, [&](const GraphNode* candidate) {
      return candidate->name == stream.nodeName && hasDirection(*candidate, stream.direction);
    });
    node = found == all.end() ? nullptr : *found;
  }
  return node == nullptr ? std::vector<GraphPort>{} : graph.ports(node->id, stream.direction);
}

AudioDeviceID DeviceNumbers::numberOf(std::uint64_t serial) {
  const auto [entry, isNew] = numbers_.try_emplace(serial, base_ + static_cast<AudioDeviceID>(serial));
  if (isNew) highest_ = std::max(highest_, entry->second);
  return entry->second;
}

void DeviceNumbers::renew(std::uint64_t serial) {
  numbers_[serial] = renewed_++;
}

void DeviceNumbers::restart() {
  numbers_.clear();
  base_ = highest_;
}

}  // namespace tallyrig
