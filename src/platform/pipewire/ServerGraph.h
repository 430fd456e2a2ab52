#pragma once

#include <chrono>
#include <cstdint>
#include <string_view>
#include <vector>

#include "platform/pipewire/GraphModel.h"
#include "platform/pipewire/PipeWireConnection.h"
#include "platform/pipewire/ServerDefaults.h"
#include "platform/pipewire/ServerSettings.h"

namespace tallyrig {

/// The sound server as the whole program sees it: the one connection, with its one data thread, what the server lists,
/// and what its settings say. The audio and the MIDI side are parts of it; it lives as long as any of them.
///
/// Under the connection's lock, unless a member says otherwise.
class ServerGraph final : private PipeWireConnection::Listener {
 public:
  /// One user of the server. Told under the lock, mostly on the loop thread.
  class Part {
   public:
    virtual ~Part() = default;

    /// What the part holds open is to be brought to what the graph allows. Cheap when nothing has changed.
    virtual void onUpdate() = 0;
    /// The graph is complete for now. Also the first sign that the server answers at all.
    virtual void onSettled() = 0;
    /// The server has gone, and the graph is empty. Everything made on the server must go before this returns.
    virtual void onLost() = 0;
    /// Every `PipeWireConnection::kTick`.
    virtual void onTick() = 0;
    /// The settings have set a rate anew.
    virtual void onRateSet() {}
    /// Another sink is the default.
    virtual void onDefaultSet() {}
  };

  ServerGraph();
  ~ServerGraph() override = default;
  ServerGraph(const ServerGraph&) = delete;
  ServerGraph& operator=(const ServerGraph&) = delete;

  /// Connects, and waits until the graph of a server that answers is known, but no longer than `limit`. Without a lock.
  void open(std::chrono::milliseconds limit);

  /// A part that comes late is told at once of what stands. Takes the lock itself.
  void attach(Part& part);
  /// The part is told nothing more. Takes the lock itself.
  void detach(Part& part);

  /// Whether the server answers and its graph has been known once.
  bool isAvailable() const { return available_; }
  const GraphModel& model() const { return model_; }
  const ServerSettings& settings() const { return settings_; }
  const ServerDefaults& defaults() const { return defaults_; }
  PipeWireConnection& connection() { return connection_; }

 private:
  void onConnected(pw_registry* registry) override;
  void onLost() override;
  void onServerInfo(const pw_core_info& info) override;
  void onGlobal(std::uint32_t id, std::string_view type, const spa_dict* properties) override;
  void onGlobalRemoved(std::uint32_t id) override;
  void onUpdate() override;
  void onSettled() override;
  void onTick() override;

  std::vector<Part*> parts_;
  GraphModel model_;
  ServerSettings settings_;
  ServerDefaults defaults_;
  bool available_ = false;
  pw_registry* registry_ = nullptr;
  /// Last, so that it goes first: its end is told to the rest.
  PipeWireConnection connection_{*this};
};

}  // namespace tallyrig
