#pragma once

#include <cstdint>
#include <cstdio>
#include <functional>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "support/PipeWireRig.h"

namespace tallyrig {

/// What can happen to a sound server and its devices, in an order drawn from a seed, which is printed.
class RigFaults {
 public:
  using ChangeDevice = std::function<void(const std::string& name)>;

  /// How a device of that name comes and goes.
  RigFaults(PipeWireRig& rig, ChangeDevice plugIn, ChangeDevice unplug)
      : rig_(rig), plugIn_(std::move(plugIn)), unplug_(std::move(unplug)) {
    std::printf("seed %u\n", kSeed);
  }

  /// 0 up to, but not including, `count`.
  int draw(int count) { return std::uniform_int_distribution(0, count - 1)(random_); }

  /// Kills the server that runs, or starts one.
  void killOrStart() {
    if (rig_.serverId() != 0) {
      rig_.kill();
    } else {
      rig_.start();
    }
  }

  /// Plugs in one of three devices, or unplugs it if it is there; nothing without a server.
  void plugOrUnplug() {
    static const std::vector<std::string> kNames = {"red", "green", "blue"};
    const auto& name = kNames[static_cast<std::size_t>(draw(3))];
    if (rig_.serverId() == 0) return;
    if (std::erase(present_, name) != 0) {
      unplug_(name);
    } else {
      plugIn_(name);
      present_.push_back(name);
    }
  }

 private:
  static constexpr std::uint32_t kSeed = 20261121;

  PipeWireRig& rig_;
  const ChangeDevice plugIn_;
  const ChangeDevice unplug_;
  std::mt19937 random_{kSeed};
  std::vector<std::string> present_;
};

}  // namespace tallyrig
