#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/desktop/SystemClocks.h"
#include "platform/pipewire/PipeWireAudioSystem.h"
#include "support/KeptLog.h"
#include "support/PipeWireRig.h"
#include "support/PumpedQueue.h"

namespace tallyrig {

/// A run in which the server left cycles out says nothing about our side and is repeated. On a busy machine it can lose
/// a client's cycle in a way that no stamp shows. What is wrong on our side is wrong in every attempt.
inline constexpr int kAttempts = 5;

/// A private sound server and the audio system opposite it, on the test's own thread.
class PipeWireFixture : public testing::Test {
 protected:
  using Kind = RigDevice::Kind;

  void startRig(const PipeWireRig::Options& options) {
    rig_.emplace(options);
    rig_->enter();
  }

  void openSystem() { system_ = std::make_unique<PipeWireAudioSystem>(openPipeWireServer(), queue_, log_.log()); }

  void addDevice(Kind kind, const std::string& name, int channels,
                 const std::map<std::string, std::string>& properties = {}) {
    rig_->add(
        {.kind = kind, .name = name, .description = "The " + name, .channels = channels, .properties = properties});
  }

  std::optional<AudioDeviceDescription> find(const std::string& name) const {
    for (const auto& device : system_->devices()) {
      if (device.name == "The " + name) return device;
    }
    return std::nullopt;
  }

  /// Waits until the system lists the device; its description, or a failure of the test and an empty one.
  AudioDeviceDescription listed(const std::string& name) {
    EXPECT_TRUE(queue_.runUntil([&] { return find(name).has_value(); })) << name << " is not listed";
    return find(name).value_or(AudioDeviceDescription{});
  }

  bool vanishes(const std::string& name) {
    return queue_.runUntil([&] { return !find(name).has_value(); });
  }

  std::unique_ptr<AudioIO> openIO(const std::string& name, AudioCycleCallback callback) {
    std::unique_ptr<AudioIO> io;
    EXPECT_EQ(system_->createIO(listed(name).id, std::move(callback), io), kPlatformOk) << name;
    return io;
  }

  int logged(std::string_view text) const { return log_.count(text); }

  std::optional<PipeWireRig> rig_;
  SystemHostClock clock_;
  PumpedQueue queue_;
  KeptLog log_;
  std::unique_ptr<PipeWireAudioSystem> system_;
};

}  // namespace tallyrig
