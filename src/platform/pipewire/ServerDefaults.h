#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "platform/pipewire/ServerMetadata.h"

namespace tallyrig {

/// Which sink plays for programs that choose none, as the session manager says. Under the connection's lock.
class ServerDefaults {
 public:
  /// `changed` is called, under the lock, when it is another.
  explicit ServerDefaults(std::function<void()> changed) : changed_(std::move(changed)) {}

  /// See `ServerMetadata`.
  void watch(pw_registry* registry, std::uint32_t id, const spa_dict* properties) {
    metadata_.watch(registry, id, properties);
  }
  void forget(std::uint32_t id);
  void clear();

  /// Name of its node; empty if none is named.
  const std::string& sink() const { return sink_; }

 private:
  void set(const char* key, const char* value);

  const std::function<void()> changed_;
  std::string sink_;
  ServerMetadata metadata_{"default", [this](const char* key, const char* value) { set(key, value); }};
};

}  // namespace tallyrig
