#pragma once

#include <pipewire/filter.h>
#include <pipewire/pipewire.h>
#include <pthread.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "platform/AudioSystem.h"
#include "platform/pipewire/PipeWireConnection.h"

namespace tallyrig {

/// The program's own node opposite one device: a mono port for each of the device's channels, and the callback that
/// runs once per cycle of the device. Under the connection's lock, unless a member says otherwise.
class DeviceFilter {
 public:
  struct Layout {
    /// How the node is called in a patchbay, and by which name it is saved there.
    std::string title;
    std::string name;
    int inputs = 0;
    int outputs = 0;
  };

  /// `changed` is called, under the lock, whenever `nodeId` or `hasFailed` may have changed.
  DeviceFilter(const PipeWireConnection& connection, Layout layout, AudioCycleCallback callback,
               std::function<void()> changed);
  ~DeviceFilter() { detach(); }
  DeviceFilter(const DeviceFilter&) = delete;
  DeviceFilter& operator=(const DeviceFilter&) = delete;

  /// Makes the node on the server; it can be linked once `nodeId` is known. False without a server, or if it
  /// refuses.
  bool attach();
  /// Takes the node away. No callback runs when it returns.
  void detach();

  bool isAttached() const { return filter_ != nullptr; }
  /// SPA_ID_INVALID until the server has accepted the node.
  std::uint32_t nodeId() const;
  bool hasFailed() const { return failed_; }

  /// Whether the cycles are the device's, and whether they reach the callback. Data thread, or where no cycle can run.
  void setGate(bool linked, bool running) {
    linked_ = linked;
    running_ = running;
  }

  /// What the newest cycle of the device showed.
  struct Observed {
    /// In hertz; 0 before the first cycle.
    std::uint32_t rate = 0;
    /// Frames per cycle.
    std::uint32_t frames = 0;
    pthread_t dataThread{};
  };
  /// Any thread.
  Observed observed() const;

  /// The largest cycle that the server can be configured to.
  static constexpr std::uint32_t kMaximumFrames = 8192;

 private:
  void addPorts(int count, spa_direction direction, std::vector<void*>& ports);
  void process(const spa_io_position& position);
  void takeInputs(std::uint32_t frames);
  void takeOutputs(std::uint32_t frames);

  static void stateChanged(void* self, pw_filter_state before, pw_filter_state now, const char* error);

  const PipeWireConnection& connection_;
  const Layout layout_;
  const AudioCycleCallback callback_;
  const std::function<void()> changed_;

  pw_filter* filter_ = nullptr;
  spa_hook hook_{};
  bool failed_ = false;

  // Data thread.
  std::vector<void*> inputPorts_;
  std::vector<void*> outputPorts_;
  std::vector<AudioBuffer> inputs_;
  std::vector<AudioBuffer> outputs_;
  /// What an unlinked input brings, and where an unlinked output goes.
  std::vector<float> silence_;
  std::vector<float> drain_;
  bool linked_ = false;
  bool running_ = false;
  std::uint32_t clockId_ = SPA_ID_INVALID;
  std::uint64_t clockPosition_ = 0;

  std::atomic<std::uint32_t> observedRate_ = 0;
  std::atomic<std::uint32_t> observedFrames_ = 0;
  std::atomic<pthread_t> dataThread_{};
};

}  // namespace tallyrig
