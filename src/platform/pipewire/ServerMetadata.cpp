#include "platform/pipewire/ServerMetadata.h"

#include <pipewire/extensions/metadata.h>

#include <string_view>
#include <utility>

namespace tallyrig {

ServerMetadata::ServerMetadata(std::string name, std::function<void(const char*, const char*)> set)
    : name_(std::move(name)), set_(std::move(set)) {}

void ServerMetadata::watch(pw_registry* registry, std::uint32_t id, const spa_dict* properties) {
  static const pw_metadata_events events = [] {
    pw_metadata_events table{};
    table.version = PW_VERSION_METADATA_EVENTS;
    table.property = [](void* self, std::uint32_t subject, const char* key, const char*, const char* value) {
      if (subject == 0 && key != nullptr) static_cast<ServerMetadata*>(self)->set_(key, value);
      return 0;
    };
    return table;
  }();

  const char* name = properties == nullptr ? nullptr : spa_dict_lookup(properties, PW_KEY_METADATA_NAME);
  if (metadata_ != nullptr || name == nullptr || std::string_view(name) != name_) return;
  metadata_ =
      static_cast<pw_proxy*>(pw_registry_bind(registry, id, PW_TYPE_INTERFACE_Metadata, PW_VERSION_METADATA, 0));
  if (metadata_ == nullptr) return;
  id_ = id;
  hook_ = {};
  pw_metadata_add_listener(reinterpret_cast<pw_metadata*>(metadata_), &hook_, &events, this);
}

bool ServerMetadata::forget(std::uint32_t id) {
  if (metadata_ == nullptr || id != id_) return false;
  clear();
  return true;
}

void ServerMetadata::clear() {
  if (metadata_ == nullptr) return;
  spa_hook_remove(&hook_);
  pw_proxy_destroy(std::exchange(metadata_, nullptr));
}

}  // namespace tallyrig
