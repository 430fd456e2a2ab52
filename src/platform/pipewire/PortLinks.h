#pragma once

#include <pipewire/pipewire.h>

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "platform/pipewire/GraphModel.h"

namespace tallyrig {

/// The links between a filter's ports and a device's, made through the server's link factory. They are active links:
/// passive ones on both sides never start a device. Under the connection's lock.
class PortLinks {
 public:
  struct Pair {
    GraphPort from;
    GraphPort to;
  };

  /// `changed` is called, under the lock, when the last link has been made or refused, and when one has gone.
  explicit PortLinks(std::function<void()> changed);
  ~PortLinks();
  PortLinks(const PortLinks&) = delete;
  PortLinks& operator=(const PortLinks&) = delete;

  /// Makes the links of `wanted` that are missing and takes away all others. A link that was refused, or that somebody
  /// cut, is not made again while both its ports live.
  void update(pw_core* core, const std::vector<Pair>& wanted);
  /// Takes all links away and forgets what was refused.
  void clear();

  /// Whether the server has answered for every link.
  bool isSettled() const;
  std::size_t madeCount() const;
  /// What the server said of the last link that it refused; empty if none.
  const std::string& refusal() const { return refusal_; }

 private:
  class Link;
  /// The serials of the two ports.
  using Key = std::pair<std::uint64_t, std::uint64_t>;

  std::function<void()> changed_;
  std::map<Key, std::unique_ptr<Link>> links_;
  std::string refusal_;
};

}  // namespace tallyrig
