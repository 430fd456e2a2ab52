#include "platform/pipewire/DeviceSession.h"

#include <algorithm>
#include <numeric>
#include <utility>

#include "platform/RealtimeScope.h"

namespace tallyrig {
namespace {

int channelsOf(const std::vector<DeviceStream>& streams) {
  return std::accumulate(streams.begin(), streams.end(), 0,
                         [](int sum, const DeviceStream& stream) { return sum + stream.channels; });
}

DeviceFilter::Layout layoutOf(const GraphDevice& device) {
  const auto& first = device.inputs.empty() ? device.outputs.front() : device.inputs.front();
  return {.title = "Tallyrig / " + device.title,
          .name = "Tallyrig." + first.nodeName,
          .inputs = channelsOf(device.inputs),
          .outputs = channelsOf(device.outputs)};
}

/// One of the device's ports, or nothing where a node is missing, for each channel of `streams`.
std::vector<const GraphPort*> channelPorts(const std::vector<DeviceStream>& streams,
                                           const std::vector<std::vector<GraphPort>>& ports) {
  std::vector<const GraphPort*> channels;
  for (std::size_t stream = 0; stream < streams.size(); ++stream) {
    for (std::size_t channel = 0; channel < static_cast<std::size_t>(streams[stream].channels); ++channel) {
      channels.push_back(channel < ports[stream].size() ? &ports[stream][channel] : nullptr);
    }
  }
  return channels;
}

std::vector<std::vector<GraphPort>> portsOfAll(const std::vector<DeviceStream>& streams, const GraphModel& graph) {
  std::vector<std::vector<GraphPort>> ports;
  ports.reserve(streams.size());
  for (const auto& stream : streams) ports.push_back(portsOf(stream, graph));
  return ports;
}

}  // namespace

DeviceSession::DeviceSession(PipeWireConnection& connection, GraphDevice device, AudioCycleCallback callback)
    : connection_(connection),
      device_(std::move(device)),
      filter_(connection, layoutOf(device_), std::move(callback), [this] { connection_.requestUpdate(); }),
      links_([this] { connection_.requestUpdate(); }) {}

DeviceSession::~DeviceSession() {
  detach();
}

void DeviceSession::update(const GraphModel& graph) {
  pw_core* core = connection_.core();
  if (core == nullptr) return;
  if (!filter_.isAttached() && (filter_.hasFailed() || !isPresent(graph) || !filter_.attach())) return;

  const auto wanted = wantedLinks(graph);
  links_.update(core, wanted);
  const bool answered = !wanted.empty() && links_.isSettled();
  allRefused_ = answered && links_.madeCount() == 0;
  setGate(answered && links_.madeCount() > 0, running_);
}

void DeviceSession::detach() {
  setGate(false, running_);
  links_.clear();
  filter_.detach();
}

bool DeviceSession::isPresent(const GraphModel& graph) const {
  const auto hasPorts = [&](const DeviceStream& stream) { return !portsOf(stream, graph).empty(); };
  return std::ranges::any_of(device_.inputs, hasPorts) || std::ranges::any_of(device_.outputs, hasPorts);
}

std::vector<PortLinks::Pair> DeviceSession::wantedLinks(const GraphModel& graph) const {
  const std::uint32_t node = filter_.nodeId();
  if (node == SPA_ID_INVALID) return {};
  const auto ownInputs = graph.ports(node, PortDirection::kIn);
  const auto ownOutputs = graph.ports(node, PortDirection::kOut);
  const auto inputPorts = portsOfAll(device_.inputs, graph);
  const auto outputPorts = portsOfAll(device_.outputs, graph);
  const auto recorded = channelPorts(device_.inputs, inputPorts);
  const auto played = channelPorts(device_.outputs, outputPorts);
  if (ownInputs.size() != recorded.size() || ownOutputs.size() != played.size()) return {};

  std::vector<PortLinks::Pair> wanted;
  for (std::size_t channel = 0; channel < recorded.size(); ++channel) {
    if (recorded[channel] != nullptr) wanted.push_back({*recorded[channel], ownInputs[channel]});
  }
  for (std::size_t channel = 0; channel < played.size(); ++channel) {
    if (played[channel] != nullptr) wanted.push_back({ownOutputs[channel], *played[channel]});
  }
  return wanted;
}

void DeviceSession::setGate(bool linked, bool running) {
  if (linked == linked_ && running == running_) return;
  linked_ = linked;
  running_ = running;
  connection_.runOnDataThread([this] { filter_.setGate(linked_, running_); });
}

void DeviceSession::betweenCycles(const std::function<void()>& change) {
  if (linked_ && running_) {
    connection_.runOnDataThread(change);
  } else {
    const RealtimeScope scope;
    change();
  }
}

}  // namespace tallyrig
