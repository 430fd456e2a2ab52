#pragma once

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
#include "platform/pipewire/ServerGraph.h"

namespace tallyrig {

/// The audio side of the sound server: the devices in its graph, and the sessions held open on them. It lives as long
/// as the audio system or any open session.
///
/// Public members: any thread but the data thread; they take the lock themselves.
class AudioGraph final : private ServerGraph::Part {
 public:
  struct State {
    bool available = false;
    std::vector<AudioDeviceDescription> devices;
    /// One of `devices`.
    std::optional<AudioDeviceID> defaultOutput;

    bool operator==(const State&) const = default;
  };

  /// Both are called under the lock, on any thread.
  struct Observer {
    std::function<void(const State&)> changed;
    std::function<void(const std::string&)> log;
  };

  AudioGraph(std::shared_ptr<ServerGraph> server, Observer observer);
  ~AudioGraph() override;
  AudioGraph(const AudioGraph&) = delete;
  AudioGraph& operator=(const AudioGraph&) = delete;

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
  void onUpdate() override;
  void onSettled() override;
  void onLost() override;
  void onTick() override;
  void onRateSet() override;
  void onDefaultSet() override;

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

  const std::shared_ptr<ServerGraph> server_;
  PipeWireConnection& connection_;
  Observer observer_;
  DeviceNumbers numbers_;
  /// What devices were seen to run at where that is not what the settings say, by the name of their first node.
  std::map<std::string, std::uint32_t> observedRates_;
  std::vector<OpenSession> sessions_;
  State state_;
  int cyclingTicks_ = 0;
};

}  // namespace tallyrig
