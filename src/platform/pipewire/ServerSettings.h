#pragma once

#include <pipewire/pipewire.h>

#include <cstdint>
#include <functional>

#include "platform/pipewire/ServerMetadata.h"

namespace tallyrig {

/// The server's rate and cycle length as its settings declare them: what a device will most probably run at. Under the
/// connection's lock.
class ServerSettings {
 public:
  /// `rateChanged` is called, under the lock, when a rate has been set anew.
  explicit ServerSettings(std::function<void()> rateChanged) : rateChanged_(std::move(rateChanged)) {}

  /// The defaults, for a server that publishes no settings.
  void readServerInfo(const pw_core_info& info);
  /// Follows the settings if the global of this id holds them.
  void watch(pw_registry* registry, std::uint32_t id, const spa_dict* properties) {
    metadata_.watch(registry, id, properties);
  }
  /// The server has gone.
  void clear();

  /// In hertz; 0 if unknown.
  std::uint32_t rate() const { return forcedRate_ != 0 ? forcedRate_ : rate_; }
  /// Whether a device in use by another program may run at another rate than that.
  bool rateMayVary() const { return forcedRate_ == 0 && allowsRates_; }
  /// Frames per cycle; 0 if unknown.
  std::uint32_t quantum() const { return forcedQuantum_ != 0 ? forcedQuantum_ : quantum_; }

 private:
  void set(const char* key, const char* value);

  std::function<void()> rateChanged_;
  std::uint32_t rate_ = 0;
  std::uint32_t forcedRate_ = 0;
  bool allowsRates_ = false;
  std::uint32_t quantum_ = 0;
  std::uint32_t forcedQuantum_ = 0;
  ServerMetadata metadata_{"settings", [this](const char* key, const char* value) { set(key, value); }};
};

}  // namespace tallyrig
