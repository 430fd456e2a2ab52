#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <thread>
#include <vector>

#include "platform/AudioSystem.h"
#include "platform/HostClock.h"
#include "platform/simulated/DeviceEngine.h"
#include "platform/simulated/DeviceTimeline.h"

namespace tallyrig {

/// A device of 8 inputs and 8 outputs on the real clock, each output heard again on the input of its number. A thread
/// of its own drives it while a callback is started, with real-time priority where the system grants one.
///
/// A change to what the driving thread reads is handed to that thread, which makes it between two cycles while the
/// main thread waits, for one cycle at most. So a cycle takes no lock and meets no half-made change.
///
/// Main thread, except where a member says otherwise.
class LoopbackDevice {
 public:
  static constexpr double kRate = 48000;
  static constexpr std::uint32_t kQuantum = 512;
  static constexpr int kChannels = 8;

  /// `clock` counts the nanoseconds of CLOCK_MONOTONIC, in whatever ticks, and outlives the device.
  explicit LoopbackDevice(const HostClock& clock);
  ~LoopbackDevice();
  LoopbackDevice(const LoopbackDevice&) = delete;
  LoopbackDevice& operator=(const LoopbackDevice&) = delete;

  /// The device outlives what it makes.
  std::unique_ptr<AudioIO> createIO(AudioCycleCallback callback);

 private:
  class IO;

  PlatformStatus start(DeviceClient& client);
  void stop(DeviceClient& client);
  /// Runs `change` where no cycle runs, and returns when it has run.
  void betweenCycles(const std::function<void()>& change);
  void endThread();
  bool isCallbackContext() const noexcept { return context_.load() == std::this_thread::get_id(); }

  void drive();
  void makePendingChange();
  std::chrono::nanoseconds now() const;
  AudioTimeStamp stamp(std::int64_t position) const;

  const HostClock& clock_;
  const DeviceTimeline timeline_;
  DeviceEngine engine_;
  std::vector<std::unique_ptr<SimulatedCable>> cables_;
  std::thread thread_;
  /// The thread that stands for the callback context now.
  std::atomic<std::thread::id> context_;
  /// Handed to the driving thread, which puts null back when it has made it.
  std::atomic<const std::function<void()>*> pendingChange_ = nullptr;
  /// The driving thread's own: it stops after the present change.
  bool isEnding_ = false;
};

}  // namespace tallyrig
