#pragma once

#include <functional>
#include <string>
#include <vector>

#include "platform/AudioSystem.h"
#include "platform/pipewire/AudioDeviceModel.h"
#include "platform/pipewire/DeviceFilter.h"
#include "platform/pipewire/PipeWireConnection.h"
#include "platform/pipewire/PortLinks.h"

namespace tallyrig {

/// A device held open: the filter opposite it and the links between the two. It follows its device by the names of the
/// device's nodes: through an unplugging it stays silent, and it resumes when the nodes or the whole server return.
/// Under the connection's lock, unless a member says otherwise.
class DeviceSession {
 public:
  DeviceSession(PipeWireConnection& connection, GraphDevice device, AudioCycleCallback callback);
  ~DeviceSession();
  DeviceSession(const DeviceSession&) = delete;
  DeviceSession& operator=(const DeviceSession&) = delete;

  /// Brings filter and links to what the graph allows. Cheap when nothing has changed.
  void update(const GraphModel& graph);
  /// The server has gone.
  void detach();

  /// Whether any node of the device is there.
  bool isPresent(const GraphModel& graph) const;
  /// Whether all links stand that the graph allows, at least one.
  bool isLinked() const { return linked_; }
  /// The server refuses the filter, or every link.
  bool hasFailed() const { return filter_.hasFailed() || allRefused_; }
  const std::string& refusal() const { return links_.refusal(); }

  void setRunning(bool running) { setGate(linked_, running); }
  bool isRunning() const { return running_; }
  /// Between two cycles if cycles can reach the callback, or else at once.
  void betweenCycles(const std::function<void()>& change);

  const GraphDevice& device() const { return device_; }
  const DeviceFilter& filter() const { return filter_; }
  PipeWireConnection& connection() const { return connection_; }

 private:
  /// Empty while a port of the filter is not yet on the server.
  std::vector<PortLinks::Pair> wantedLinks(const GraphModel& graph) const;
  void setGate(bool linked, bool running);

  PipeWireConnection& connection_;
  const GraphDevice device_;
  DeviceFilter filter_;
  PortLinks links_;
  bool running_ = false;
  bool linked_ = false;
  bool allRefused_ = false;
};

}  // namespace tallyrig
