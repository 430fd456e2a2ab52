#include "platform/pipewire/GraphModel.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <initializer_list>

namespace tallyrig {
namespace {

constexpr std::string_view kMonoAudio = "32 bit float mono audio";
/// Newer servers have a second form of MIDI and convert between the two.
constexpr std::array<std::string_view, 2> kMidi = {"8 bit raw midi", "32 bit raw UMP"};

template <typename Number>
Number numberOf(const GraphProperties& properties, std::string_view key) {
  const std::string& text = property(properties, key);
  Number number = 0;
  std::from_chars(text.data(), text.data() + text.size(), number);
  return number;
}

std::string firstOf(const GraphProperties& properties, std::initializer_list<std::string_view> keys) {
  for (const auto key : keys) {
    if (const auto& value = property(properties, key); !value.empty()) return value;
  }
  return {};
}

}  // namespace

const std::string& property(const GraphProperties& properties, std::string_view key) {
  static const std::string empty;
  const auto found = properties.find(key);
  return found == properties.end() ? empty : found->second;
}

void GraphModel::addCard(std::uint32_t id, const GraphProperties& properties) {
  cardTitles_[id] = firstOf(properties, {"device.description", "device.nick", "device.name"});
}

void GraphModel::addNode(std::uint32_t id, const GraphProperties& properties) {
  nodes_[id] = {.id = id,
                .serial = numberOf<std::uint64_t>(properties, "object.serial"),
                .name = property(properties, "node.name"),
                .title = firstOf(properties, {"node.description", "node.nick", "node.name"}),
                .mediaClass = property(properties, "media.class"),
                .cardId = property(properties, "device.id"),
                .clientId = property(properties, "client.id")};
}

void GraphModel::addPort(std::uint32_t id, const GraphProperties& properties) {
  ports_.erase(id);
  midiPorts_.erase(id);
  const GraphPort port{
      .id = id,
      .serial = numberOf<std::uint64_t>(properties, "object.serial"),
      .nodeId = numberOf<std::uint32_t>(properties, "node.id"),
      .direction = property(properties, "port.direction") == "out" ? PortDirection::kOut : PortDirection::kIn,
      .index = numberOf<std::uint32_t>(properties, "port.id")};
  const std::string& format = property(properties, "format.dsp");
  if (format == kMonoAudio) ports_[id] = port;
  if (std::ranges::find(kMidi, format) != kMidi.end()) {
    midiPorts_[id] = {port, property(properties, "port.alias"), property(properties, "port.name")};
  }
}

bool GraphModel::remove(std::uint32_t id) {
  return cardTitles_.erase(id) + nodes_.erase(id) + ports_.erase(id) + midiPorts_.erase(id) > 0;
}

void GraphModel::clear() {
  cardTitles_.clear();
  nodes_.clear();
  ports_.clear();
  midiPorts_.clear();
}

std::vector<const GraphNode*> GraphModel::nodes() const {
  std::vector<const GraphNode*> all;
  all.reserve(nodes_.size());
  for (const auto& [id, node] : nodes_) all.push_back(&node);
  std::ranges::stable_sort(all, {}, &GraphNode::serial);
  return all;
}

const GraphNode* GraphModel::nodeOfSerial(std::uint64_t serial) const {
  for (const auto& [id, node] : nodes_) {
    if (node.serial == serial) return &node;
  }
  return nullptr;
}

const GraphNode* GraphModel::nodeOfId(std::uint32_t id) const {
  const auto found = nodes_.find(id);
  return found == nodes_.end() ? nullptr : &found->second;
}

std::vector<GraphPort> GraphModel::ports(std::uint32_t nodeId, PortDirection direction) const {
  std::vector<GraphPort> found;
  for (const auto& [id, port] : ports_) {
    if (port.nodeId == nodeId && port.direction == direction) found.push_back(port);
  }
  std::ranges::stable_sort(found, {}, &GraphPort::index);
  return found;
}

std::vector<const MidiGraphPort*> GraphModel::midiPorts() const {
  std::vector<const MidiGraphPort*> all;
  all.reserve(midiPorts_.size());
  for (const auto& [id, port] : midiPorts_) all.push_back(&port);
  std::ranges::stable_sort(all, {}, [](const MidiGraphPort* port) { return port->port.serial; });
  return all;
}

std::string GraphModel::cardTitle(std::string_view cardId) const {
  std::uint32_t id = 0;
  const auto parsed = std::from_chars(cardId.data(), cardId.data() + cardId.size(), id);
  if (parsed.ec != std::errc{}) return {};
  const auto found = cardTitles_.find(id);
  return found == cardTitles_.end() ? std::string{} : found->second;
}

}  // namespace tallyrig
