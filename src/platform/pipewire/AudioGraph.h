#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/AudioSystem.h"
#include "platform/pipewire/AudioDeviceModel.h"
#include "platform/pipewire/DeviceSession.h"
#include "platform/pipewire/PipeWireConnection.h"
#include "platform/pipewire/ServerSettings.h"

namespace tallyrig {

/// The sound server's graph as the program uses it: the devices in it, and the sessions held open on them. It lives as
/// long as the audio system or any open session.
///
/// Public members: any thread but the data thread; they take the lock themselves.
class AudioGraph final : private PipeWireConnection::Listener {
 public:
  struct State {
    bool available = false;
    std::vector<AudioDeviceDescription> devices;

    bool operator==(const State&) const = default;
  };

  /// Both are called under the lock, on any thread.
  struct Observer {
    std::function<void(const State&)> changed;
    std::function<void(const std::string&)> log;
  };

  explicit AudioGraph(Observer observer) : observer_(std::move(observer)) {}

  /// Connects, and waits until the devices of a server that answers are known, but no longer than `limit`.
  void open(std::chrono::milliseconds limit);
  /// No call of the observer runs when it returns, and none follows.
  void dismissObserver();

  /// Where the server may change rates and nothing of ours runs on the device, it is run for one cycle to see its rate.
  PlatformStatus nominalSampleRate(AudioDeviceID id, double& rate);
  AudioSystem::Timing timing(AudioDeviceID id);

  /// Links a session, not running yet, to the device. -ENOTCONN without a server, -ENODEV for an unknown or vanished
  /// device, -EIO if the server refuses, -ETIMEDOUT if it does not answer.
  PlatformStatus openSession(AudioDeviceID id, AudioCycleCallback callback, std::unique_ptr<DeviceSession>& session);
  void closeSession(std::unique_ptr<DeviceSession> session);
  /// -ENOTCONN without a server, -ENODEV while the device is away.
  PlatformStatus startSession(DeviceSession& session);

 private:
  void onConnected(pw_registry* registry) override;
  void onLost() override;
  void onServerInfo(const pw_core_info& info) override;
  void onGlobal(std::uint32_t id, std::string_view type, const spa_dict* properties) override;
  void onGlobalRemoved(std::uint32_t id) override;
  void onUpdate() override;
  void onSettled() override;
  void onTick() override;

  /// A session with the rate that was given out for its device.
  struct OpenSession {
    DeviceSession* session = nullptr;
    std::uint32_t toldRate = 0;
  };

  /// Lets the loop run until the session is linked or cannot be. The caller holds exactly one lock.
  PlatformStatus waitForLinks(DeviceSession& session);
  void probeRate(const GraphDevice& device);
  void publish();
  void log(const std::string& text) const;
  std::optional<GraphDevice> deviceOf(AudioDeviceID id);
  /// In hertz; 0 if unknown.
  std::uint32_t rateOf(const GraphDevice& device) const;
  /// Of a session that runs on the device; a rate of 0 if there is none.
  DeviceFilter::Observed observedOn(const GraphDevice& device) const;
  void checkRate(const OpenSession& open);
  void checkPriority();

  Observer observer_;
  GraphModel model_;
  DeviceNumbers numbers_;
  ServerSettings settings_{[this] { observedRates_.clear(); }};
  /// What devices were seen to run at where that is not what the settings say, by the name of their first node.
  std::map<std::string, std::uint32_t> observedRates_;
  std::vector<OpenSession> sessions_;
  State state_;
  pw_registry* registry_ = nullptr;
  int cyclingTicks_ = 0;
  /// Last, so that it goes first: its end is told to the rest.
  PipeWireConnection connection_{*this};
};

}  // namespace tallyrig
