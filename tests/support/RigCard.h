#pragma once

#include <pipewire/pipewire.h>
#include <spa/monitor/device.h>

#include <cstdint>
#include <functional>
#include <string>

namespace tallyrig {

/// A sound card in name only: a device object on the rig's server that nodes can say they belong to. Under the rig's
/// loop lock.
class RigCard {
 public:
  /// `bound` is called when the server has given the card its id.
  RigCard(pw_core* core, std::string description, std::function<void()> bound);
  ~RigCard();
  RigCard(const RigCard&) = delete;
  RigCard& operator=(const RigCard&) = delete;

  /// SPA_ID_INVALID until it is known.
  std::uint32_t id() const { return id_; }

 private:
  int announce(spa_hook* listener, const spa_device_events* events, void* data);

  const std::string description_;
  const std::function<void()> bound_;
  std::uint32_t id_ = SPA_ID_INVALID;
  spa_device device_{};
  spa_hook_list listeners_{};
  pw_proxy* proxy_ = nullptr;
  spa_hook hook_{};
};

}  // namespace tallyrig
