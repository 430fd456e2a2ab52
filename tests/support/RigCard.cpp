#include "support/RigCard.h"

#include <spa/monitor/utils.h>

#include <cerrno>
#include <utility>

namespace tallyrig {

RigCard::RigCard(pw_core* core, std::string description, std::function<void()> bound)
    : description_(std::move(description)), bound_(std::move(bound)) {
  static const spa_device_methods methods = [] {
    spa_device_methods table{};
    table.version = SPA_VERSION_DEVICE_METHODS;
    table.add_listener = [](void* self, spa_hook* listener, const spa_device_events* events, void* data) {
      return static_cast<RigCard*>(self)->announce(listener, events, data);
    };
    table.sync = [](void* self, int sequence) {
      spa_device_emit_result(&static_cast<RigCard*>(self)->listeners_, sequence, 0, 0, nullptr);
      return 0;
    };
    table.enum_params = [](void*, int, std::uint32_t, std::uint32_t, std::uint32_t, const spa_pod*) {
      return -ENOTSUP;
    };
    table.set_param = [](void*, std::uint32_t, std::uint32_t, const spa_pod*) { return -ENOTSUP; };
    return table;
  }();
  static const pw_proxy_events events = [] {
    pw_proxy_events table{};
    table.version = PW_VERSION_PROXY_EVENTS;
    table.bound = [](void* self, std::uint32_t id) {
      auto& card = *static_cast<RigCard*>(self);
      card.id_ = id;
      card.bound_();
    };
    return table;
  }();

  spa_hook_list_init(&listeners_);
  device_.iface.type = SPA_TYPE_INTERFACE_Device;
  device_.iface.version = SPA_VERSION_DEVICE;
  device_.iface.cb.funcs = &methods;
  device_.iface.cb.data = this;
  pw_properties* properties = pw_properties_new(PW_KEY_DEVICE_NAME, "rig.card", PW_KEY_DEVICE_DESCRIPTION,
                                                description_.c_str(), PW_KEY_MEDIA_CLASS, "Audio/Device", nullptr);
  proxy_ = pw_core_export(core, SPA_TYPE_INTERFACE_Device, &properties->dict, &device_, 0);
  pw_properties_free(properties);
  if (proxy_ != nullptr) pw_proxy_add_listener(proxy_, &hook_, &events, this);
}

RigCard::~RigCard() {
  if (proxy_ == nullptr) return;
  spa_hook_remove(&hook_);
  pw_proxy_destroy(proxy_);
}

int RigCard::announce(spa_hook* listener, const spa_device_events* events, void* data) {
  spa_hook_list before{};
  spa_hook_list_isolate(&listeners_, &before, listener, events, data);
  spa_dict_item items[] = {{PW_KEY_DEVICE_DESCRIPTION, description_.c_str()}, {PW_KEY_DEVICE_NAME, "rig.card"}};
  const spa_dict dictionary{0, 2, items};
  spa_device_info info{};
  info.version = SPA_VERSION_DEVICE_INFO;
  info.change_mask = SPA_DEVICE_CHANGE_MASK_PROPS;
  info.props = &dictionary;
  spa_device_emit_info(&listeners_, &info);
  spa_hook_list_join(&listeners_, &before);
  return 0;
}

}  // namespace tallyrig
