#pragma once

#include <string>

#include "platform/pipewire/MidiEndpoints.h"
#include "platform/pipewire/MidiFilter.h"
#include "platform/pipewire/PipeWireConnection.h"
#include "platform/pipewire/PortLinks.h"

namespace tallyrig {

/// A MIDI port held open: the node opposite it and the link between the two. It ends with its port; one that returns is
/// another endpoint. Under the connection's lock, unless a member says otherwise.
class MidiSession {
 public:
  MidiSession(PipeWireConnection& connection, MidiEndpoint endpoint, MidiFilter::Handler handler);
  ~MidiSession();
  MidiSession(const MidiSession&) = delete;
  MidiSession& operator=(const MidiSession&) = delete;

  /// Brings node and link to what the graph allows. Cheap when nothing has changed.
  void update(const GraphModel& graph);

  /// Whether the link stands and the handler runs.
  bool isRunning() const { return linked_ && filter_.hasCycled(); }
  /// The server refuses node or link, or somebody has cut the link.
  bool hasFailed() const { return filter_.hasFailed() || refused_; }
  /// What the server said; empty if nothing.
  const std::string& refusal() const { return links_.refusal(); }

  const MidiEndpoint& endpoint() const { return endpoint_; }
  MidiFilter& filter() { return filter_; }

 private:
  PipeWireConnection& connection_;
  const MidiEndpoint endpoint_;
  MidiFilter filter_;
  PortLinks links_;
  bool linked_ = false;
  bool refused_ = false;
};

}  // namespace tallyrig
