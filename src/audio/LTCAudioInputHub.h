#pragma once

#include <QUuid>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "audio/LTCAudioDeviceSession.h"
#include "platform/Lifetime.h"
#include "platform/Log.h"
#include "platform/SerialQueue.h"
#include "platform/Subscription.h"

namespace tallyrig {

/// Keeps at most one session per audio device and shares it among all cards on that device, input and output alike.
/// When the list of devices changes or a device stalls it rebuilds the sessions, and its clients keep their handlers.
///
/// Main thread.
class LTCAudioInputHub {
 public:
  /// One input client, also while it waits for its device. `deviceName` finds the device again after a rebuild.
  struct Subscription {
    AudioDeviceID deviceID = 0;
    std::string deviceName;
    AudioInputHandler handler;
  };
  struct OutputSubscription {
    AudioDeviceID deviceID = 0;
    std::string deviceName;
    AudioOutputHandler handler;
  };

  LTCAudioInputHub(AudioSystem& audio, Scheduler& scheduler, Log& log);
  ~LTCAudioInputHub();
  LTCAudioInputHub(const LTCAudioInputHub&) = delete;
  LTCAudioInputHub& operator=(const LTCAudioInputHub&) = delete;

  /// Enters a client in the table; `join` then connects it.
  void addSubscription(const QUuid& subscriber, Subscription subscription);
  /// Connects an entered client to the device's session, opening it if need be; does nothing for a client that is not
  /// in the table. After an error the client stays in the table and waits.
  std::optional<LTCAudioInputError> join(const QUuid& subscriber, const AudioInputDevice& device);
  /// Removes a client; the last one leaving closes the device.
  void unsubscribe(const QUuid& subscriber);

  /// Connects an output to the device's session. A device that the list of inputs leaves out cannot be shared. After
  /// an error the client is not in the table.
  std::optional<LTCAudioInputError> attachOutput(AudioDeviceID deviceID, const std::string& deviceName,
                                                 const QUuid& subscriber, AudioOutputHandler handler);
  void detachOutput(const QUuid& subscriber);

  /// Rebuilds all sessions in one second, unless called again meanwhile: the last call counts. Unforced it does
  /// nothing while every open device still stands in the list.
  void scheduleRebuild(bool force);

  const std::map<AudioDeviceID, std::unique_ptr<LTCAudioDeviceSession>>& sessions() const { return sessions_; }
  const std::map<QUuid, Subscription>& subscriptions() const { return subscriptions_; }
  const std::map<QUuid, OutputSubscription>& outputSubscriptions() const { return outputSubscriptions_; }

 private:
  void rebuild(bool force);
  void rebuildInputs(const std::vector<AudioInputDevice>& devices);
  void rebuildOutputs();
  /// Closes the session of a device that no client uses any more.
  void closeIfUnused(AudioDeviceID device);

  AudioSystem& audio_;
  Scheduler& scheduler_;
  Log& log_;
  std::map<AudioDeviceID, std::unique_ptr<LTCAudioDeviceSession>> sessions_;
  std::map<QUuid, Subscription> subscriptions_;
  std::map<QUuid, OutputSubscription> outputSubscriptions_;
  /// Each new value cancels the pending rebuild.
  std::uint64_t rebuildGeneration_ = 0;
  tallyrig::Subscription deviceListObserver_;
  Lifetime lifetime_;
};

}  // namespace tallyrig
