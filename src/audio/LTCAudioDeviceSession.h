#pragma once

#include <QUuid>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "audio/AudioDevices.h"
#include "audio/LTCAudioInputError.h"
#include "platform/AudioSystem.h"
#include "platform/Log.h"

namespace tallyrig {

/// Takes one cycle's input: the buffers, the frames in each, the session's rate in hertz, the instant of the first
/// sample. Real-time safe.
using AudioInputHandler =
    std::function<void(std::span<const AudioBuffer>, std::uint32_t frames, double sampleRate, const AudioTimeStamp&)>;

/// Writes one cycle's output into buffers that have been cleared; touches its own channel only. Real-time safe.
using AudioOutputHandler = std::function<void(std::span<AudioBuffer>, const AudioTimeStamp&)>;

/// One open device, shared full duplex by every card on it: each cycle goes to all input handlers and then to all
/// output handlers. Handlers come and go while the device runs; the others hear nothing of it. A closed session is
/// never opened again.
///
/// Main thread. The callback reads immutable snapshots, which are exchanged between two cycles.
class LTCAudioDeviceSession {
 public:
  LTCAudioDeviceSession(AudioInputDevice device, AudioSystem& audio, Log& log);
  ~LTCAudioDeviceSession();
  LTCAudioDeviceSession(const LTCAudioDeviceSession&) = delete;
  LTCAudioDeviceSession& operator=(const LTCAudioDeviceSession&) = delete;

  /// Starts the device; absent on success. After an error the session is as it was.
  std::optional<LTCAudioInputError> open();
  /// Stops the device; no handler runs after it.
  void close();

  void addInput(const QUuid& subscriber, AudioInputHandler handler);
  void removeInput(const QUuid& subscriber);
  void addOutput(const QUuid& subscriber, AudioOutputHandler handler);
  void removeOutput(const QUuid& subscriber);

  bool hasClients() const { return !subscribers_.empty() || !outputs_.empty(); }
  const AudioInputDevice& device() const { return device_; }
  /// The device's nominal rate in hertz, read once when the session opened.
  double sampleRate() const { return sampleRate_; }

 private:
  // Successive snapshots share their handlers, so that a client's coming costs little on a device with many.
  struct InputSnapshot {
    std::vector<std::shared_ptr<const AudioInputHandler>> handlers;
  };
  struct OutputSnapshot {
    std::vector<std::shared_ptr<const AudioOutputHandler>> handlers;
  };
  /// All that the callback reads.
  struct CallbackState {
    double sampleRate = 0;
    std::unique_ptr<const InputSnapshot> input = std::make_unique<InputSnapshot>();
    std::unique_ptr<const OutputSnapshot> output = std::make_unique<OutputSnapshot>();
  };

  static void runCycle(const CallbackState& state, const AudioCycle& cycle);
  void publishInputs();
  void publishOutputs();
  void betweenCycles(const std::function<void()>& change);
  void logOpened() const;

  AudioInputDevice device_;
  AudioSystem& audio_;
  Log& log_;
  std::map<QUuid, std::shared_ptr<const AudioInputHandler>> subscribers_;
  std::map<QUuid, std::shared_ptr<const AudioOutputHandler>> outputs_;
  double sampleRate_ = 0;
  /// Shared with the callback, so that it stands for as long as a callback can run.
  std::shared_ptr<CallbackState> state_ = std::make_shared<CallbackState>();
  std::unique_ptr<AudioIO> io_;
};

}  // namespace tallyrig
