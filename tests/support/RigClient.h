#pragma once

#include <pipewire/pipewire.h>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/pipewire/GraphModel.h"
#include "support/RigCard.h"
#include "support/RigDevice.h"
#include "support/RigMidiBridge.h"

namespace tallyrig {

/// The rig's own connection to its sound server: makes virtual devices and sees what the server has. Every call that
/// waits throws std::runtime_error when what it waits for does not come within its limit. One thread at a time.
class RigClient {
 public:
  static constexpr std::chrono::milliseconds kLimit{5000};

  /// Connects to the socket, which need not exist yet. With `configurePorts` the devices get their ports from here, as
  /// they must where no session manager does it.
  RigClient(const std::filesystem::path& socket, int rate, bool configurePorts);
  ~RigClient();
  RigClient(const RigClient&) = delete;
  RigClient& operator=(const RigClient&) = delete;

  /// Returns when the device stands with all its ports.
  void add(const RigDevice& device);
  /// Returns when the server has taken it away.
  void remove(const std::string& name);
  /// Returns when the device stands with all its ports.
  void add(const RigMidiDevice& device);
  void removeMidi(const std::string& name);
  /// The device of that name, which must be there.
  const RigMidiBridge& midi(const std::string& name) const { return *bridges_.at(name); }
  /// A sound card without nodes; returns its id, for the property "device.id" of its nodes.
  std::uint32_t addCard(const std::string& description);
  /// Sets a value in the server's settings, as in "clock.force-rate".
  void set(const std::string& key, const std::string& value);

  /// The ports of the node of that name; empty without one. Under the lock.
  std::vector<GraphPort> ports(const std::string& nodeName, PortDirection direction) const;
  /// Under the lock.
  bool hasNode(const std::string& name) const { return nodeNamed(name) != nullptr; }
  /// Runs what comes from the server until `condition` holds; it is called under the lock.
  void waitFor(const std::string& what, const std::function<bool()>& condition,
               std::chrono::milliseconds limit = kLimit);
  pw_thread_loop* loop() { return loop_; }
  pw_core* core() { return core_; }

 private:
  void connect(const std::filesystem::path& socket);
  void seen(std::uint32_t id, std::string_view type, const spa_dict* dictionary);
  const GraphNode* nodeNamed(const std::string& name) const;
  void configurePorts(const RigDevice& device, pw_proxy* node) const;

  int rate_;
  bool configurePorts_;
  pw_thread_loop* loop_ = nullptr;
  pw_context* context_ = nullptr;
  pw_core* core_ = nullptr;
  pw_registry* registry_ = nullptr;
  pw_proxy* settings_ = nullptr;
  spa_hook registryHook_{};
  GraphModel graph_;
  std::map<std::string, pw_proxy*> devices_;
  std::vector<std::unique_ptr<RigCard>> cards_;
  std::map<std::string, std::unique_ptr<RigMidiBridge>> bridges_;
};

}  // namespace tallyrig
