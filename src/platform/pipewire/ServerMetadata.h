#pragma once

#include <pipewire/pipewire.h>

#include <cstdint>
#include <functional>
#include <string>

namespace tallyrig {

/// What the server keeps under one name for all programs: keys with values. Under the connection's lock.
class ServerMetadata {
 public:
  /// `set` is told each key and its value, at first and at each change; a value that goes away is null.
  ServerMetadata(std::string name, std::function<void(const char* key, const char* value)> set);
  ~ServerMetadata() { clear(); }
  ServerMetadata(const ServerMetadata&) = delete;
  ServerMetadata& operator=(const ServerMetadata&) = delete;

  /// Follows the global of this id if it is what is looked for.
  void watch(pw_registry* registry, std::uint32_t id, const spa_dict* properties);
  /// The global of this id has gone; true if it was the one that is followed.
  bool forget(std::uint32_t id);
  /// The server has gone.
  void clear();
  bool isFound() const { return metadata_ != nullptr; }

 private:
  const std::string name_;
  const std::function<void(const char*, const char*)> set_;
  pw_proxy* metadata_ = nullptr;
  std::uint32_t id_ = 0;
  spa_hook hook_{};
};

}  // namespace tallyrig
