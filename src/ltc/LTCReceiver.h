#pragma once

#include <QObject>
#include <QUuid>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "audio/DeviceRegistry.h"
#include "audio/LTCAudioInputHub.h"
#include "ltc/LTCDecodingWorker.h"
#include "platform/HostClock.h"
#include "platform/Lifetime.h"
#include "platform/Log.h"
#include "platform/SerialQueue.h"
#include "timecode/TimecodeAnchor.h"

namespace tallyrig {

/// The live LTC input of one card: one logical channel of an audio device, decoded. Publishes the newest timecode,
/// the anchor that ties it to the host clock, whether code is arriving, and the level. Judges when the signal has
/// stopped, and when the device itself has stopped calling back.
///
/// Main thread. An anchor holds the instant at which the frame really ended at the input, however late it arrives
/// here; no device latency is added or taken off.
class LTCReceiver : public QObject {
  Q_OBJECT

 public:
  LTCReceiver(const HostClock& clock, Scheduler& scheduler, Log& log, DeviceRegistry& registry, LTCAudioInputHub& hub);
  ~LTCReceiver() override;

  /// Starts, or starts anew, on the selected device and channel. Without a selected device it does nothing at all.
  /// A failure is a line in the log; the receiver is then stopped.
  void start();
  void stop();

  /// Writing either while running starts the receiver anew, also if the value is the same.
  void setSelectedDevice(std::optional<AudioInputDevice> device);
  void setSelectedChannel(std::int64_t channel);

  const std::vector<AudioInputDevice>& availableDevices() const { return availableDevices_; }
  const std::optional<AudioInputDevice>& selectedDevice() const { return selectedDevice_; }
  /// Logical channel, from 0.
  std::int64_t selectedChannel() const { return selectedChannel_; }
  /// The last decoded timecode plus one frame; kept through `stop` and through loss of signal, like the anchor.
  const std::optional<Timecode>& currentTimecode() const { return currentTimecode_; }
  /// The same, with the instant at which the decoded frame ended.
  const std::optional<TimecodeAnchor>& currentAnchor() const { return currentAnchor_; }
  bool isReceiving() const { return isReceiving_; }
  /// Peak of the newest chunk, 0 to 1.
  float peakLevel() const { return peakLevel_; }
  bool isRunning() const { return isRunning_; }

 signals:
  /// A new anchor: once per decoded chunk. `isReceiving` and `currentTimecode` have been written before.
  void currentAnchorChanged(const tallyrig::TimecodeAnchor& anchor);
  void isReceivingChanged(bool isReceiving);
  void peakLevelChanged(float peakLevel);

 private:
  /// The selected device as the registry has it now, by number and then by name.
  std::optional<AudioInputDevice> resolveDevice();
  const AudioInputDevice* findSelected() const;
  bool subscribe(const AudioInputDevice& device);
  /// The selected channel as people count, from 1.
  long long channelNumber() const;
  void handlePeak(float peak);
  void handleFrame(const LTCTimecodeDecoder::DecodedFrame& frame);
  void handleTimeout(std::uint64_t generation);
  void checkAudioCallbacks();
  void setReceiving(bool receiving);
  void setPeakLevel(float level);

  const HostClock& clock_;
  SerialQueue& main_;
  Log& log_;
  DeviceRegistry& registry_;
  LTCAudioInputHub& hub_;
  Lifetime lifetime_;

  std::vector<AudioInputDevice> availableDevices_;
  std::optional<AudioInputDevice> selectedDevice_;
  std::int64_t selectedChannel_ = 0;
  std::optional<Timecode> currentTimecode_;
  std::optional<TimecodeAnchor> currentAnchor_;
  bool isReceiving_ = false;
  float peakLevel_ = 0;

  std::shared_ptr<LTCDecodingWorker> worker_;
  std::unique_ptr<RepeatingTimer> decodeDrainTimer_;
  std::unique_ptr<RepeatingTimer> watchdogTimer_;
  /// The receiver's key in the hub for its whole life.
  const QUuid subscriberID_ = QUuid::createUuid();
  std::optional<AudioDeviceID> subscriptionDeviceID_;
  bool isRunning_ = false;
  /// When a peak was last published.
  std::optional<HostTime> lastAudioCallbackAt_;
  bool hasReportedAudioStall_ = false;
  bool hasActiveSignalLevel_ = false;
  bool hasLoggedFirstDecodeForSignal_ = false;
  bool hasLoggedLatency_ = false;
};

}  // namespace tallyrig
