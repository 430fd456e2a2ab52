#pragma once

#include <pipewire/filter.h>
#include <pipewire/pipewire.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>

#include "platform/pipewire/GraphModel.h"
#include "platform/pipewire/MidiCycle.h"
#include "platform/pipewire/PipeWireConnection.h"

namespace tallyrig {

/// The program's own node opposite one MIDI port: a node with one port of the other direction. Under the connection's
/// lock, unless a member says otherwise.
class MidiFilter {
 public:
  /// Called once per cycle in which the port has a buffer: with what came, or with what is to be filled. Data thread;
  /// keeps the rules of a callback.
  using Handler = std::function<void(const MidiCycle&, spa_data&)>;

  /// How the node is called in a patchbay, and which way its port goes.
  struct Layout {
    std::string title;
    PortDirection direction = PortDirection::kIn;
  };

  /// `changed` is called, under the lock, whenever `nodeId` or `hasFailed` may have changed.
  MidiFilter(const PipeWireConnection& connection, Layout layout, Handler handler, std::function<void()> changed);
  ~MidiFilter() { detach(); }
  MidiFilter(const MidiFilter&) = delete;
  MidiFilter& operator=(const MidiFilter&) = delete;

  /// Makes the node on the server; it can be linked once `nodeId` is known. False without a server, or if it refuses.
  bool attach();
  /// Takes the node away. The handler does not run when it returns.
  void detach();

  bool isAttached() const { return filter_ != nullptr; }
  /// SPA_ID_INVALID until the server has accepted the node.
  std::uint32_t nodeId() const;
  bool hasFailed() const { return failed_; }

  /// Whether the handler has run since the node was made. Any thread.
  bool hasCycled() const { return cycled_.load(std::memory_order_acquire); }
  /// How many cycles the server has left out since the last call, as far as the port was to be served. Any thread.
  std::uint64_t takeMissedCycles() { return missedCycles_.exchange(0, std::memory_order_relaxed); }

 private:
  void process(const spa_io_clock& clock);
  /// Whether the cycle is a new one.
  bool advanceTo(const spa_io_clock& clock);

  static void stateChanged(void* self, pw_filter_state before, pw_filter_state now, const char* error);

  const PipeWireConnection& connection_;
  const Layout layout_;
  const Handler handler_;
  const std::function<void()> changed_;

  pw_filter* filter_ = nullptr;
  void* port_ = nullptr;
  spa_hook hook_{};
  bool failed_ = false;

  // Data thread.
  std::uint32_t clockId_ = SPA_ID_INVALID;
  std::uint64_t clockPosition_ = 0;
  std::uint64_t nextPosition_ = 0;

  std::atomic<bool> cycled_ = false;
  std::atomic<std::uint64_t> missedCycles_ = 0;
};

}  // namespace tallyrig
