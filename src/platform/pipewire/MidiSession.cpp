#include "platform/pipewire/MidiSession.h"

#include <algorithm>
#include <utility>

namespace tallyrig {
namespace {

MidiFilter::Layout layoutOf(const MidiEndpoint& endpoint) {
  const bool isSource = endpoint.port.direction == PortDirection::kOut;
  return {.title = (isSource ? "Tallyrig from " : "Tallyrig to ") + endpoint.name,
          .direction = isSource ? PortDirection::kIn : PortDirection::kOut};
}

}  // namespace

MidiSession::MidiSession(PipeWireConnection& connection, MidiEndpoint endpoint, MidiFilter::Handler handler)
    : connection_(connection),
      endpoint_(std::move(endpoint)),
      filter_(connection, layoutOf(endpoint_), std::move(handler), [this] { connection_.requestUpdate(); }),
      links_([this] { connection_.requestUpdate(); }) {}

MidiSession::~MidiSession() {
  links_.clear();
  filter_.detach();
}

void MidiSession::update(const GraphModel& graph) {
  pw_core* core = connection_.core();
  if (core == nullptr) return;
  if (!filter_.isAttached() && (filter_.hasFailed() || !filter_.attach())) return;
  const auto ports = graph.midiPorts();
  const auto own = std::ranges::find(ports, filter_.nodeId(), [](const auto* found) { return found->port.nodeId; });
  if (filter_.nodeId() == SPA_ID_INVALID || own == ports.end()) return;

  const bool isSource = endpoint_.port.direction == PortDirection::kOut;
  const GraphPort& ownPort = (*own)->port;
  links_.update(core, {isSource ? PortLinks::Pair{endpoint_.port, ownPort} : PortLinks::Pair{ownPort, endpoint_.port}});
  linked_ = links_.isSettled() && links_.madeCount() > 0;
  refused_ = links_.isSettled() && links_.madeCount() == 0;
}

}  // namespace tallyrig
