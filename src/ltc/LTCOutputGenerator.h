#pragma once

#include <QObject>
#include <QUuid>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "audio/LTCAudioInputHub.h"
#include "ltc/LTCOutputSession.h"
#include "platform/AudioSystem.h"
#include "platform/Lifetime.h"

namespace tallyrig {

/// LTC on one output channel of a device, as a card drives it: start, watch the anchor, stop. A device that has inputs
/// too is shared with the cards that read it; one without is driven by a callback of its own.
///
/// Main thread.
class LTCOutputGenerator : public QObject {
  Q_OBJECT

 public:
  LTCOutputGenerator(const HostClock& clock, Scheduler& scheduler, Log& log, AudioSystem& audio, LTCAudioInputHub& hub);
  ~LTCOutputGenerator() override;

  /// Starts, or starts anew. A failure leaves a text in `errorMessage`.
  void start(const LTCOutputSession::Settings& settings);
  /// Stops at once.
  void stop();
  /// Stops after the frame on the air; `completion` runs on the main thread with the last frame sent and the instant
  /// at which it ended, when everything is closed down and the last anchor stands. It runs too if this generator has
  /// been stopped or has gone while the news was on its way. While a stop is pending another does nothing, and its
  /// completion is never called; without a session likewise.
  void requestBoundaryStop(std::function<void(const TimecodeAnchor&)> completion);

  /// Filled by the owner; the generator itself does not look at it.
  std::vector<AudioOutputDevice> availableDevices;

  const std::optional<TimecodeAnchor>& currentAnchor() const { return currentAnchor_; }
  bool isGenerating() const { return isGenerating_; }
  const std::optional<std::string>& errorMessage() const { return errorMessage_; }

 signals:
  void currentAnchorChanged(const tallyrig::TimecodeAnchor& anchor);
  void stateChanged();

 private:
  std::optional<LTCOutputError> open(LTCOutputSession& session);
  std::optional<LTCOutputError> openOwnIO(LTCOutputSession& session, double sampleRate);
  /// Ends the session and its way to the device; what has been published stays.
  void shutDown();
  void handleAnchor(const TimecodeAnchor& anchor);
  void handleUnderrun();
  void finishBoundaryStop(const TimecodeAnchor& anchor);

  const HostClock& clock_;
  Scheduler& scheduler_;
  Log& log_;
  AudioSystem& audio_;
  LTCAudioInputHub& hub_;
  Lifetime lifetime_;

  std::optional<TimecodeAnchor> currentAnchor_;
  bool isGenerating_ = false;
  std::optional<std::string> errorMessage_;

  std::shared_ptr<LTCOutputSession> session_;
  /// The callback of a device that is not shared.
  std::unique_ptr<AudioIO> ownIO_;
  const QUuid sharedOutputID_ = QUuid::createUuid();
  bool usesSharedDeviceSession_ = false;
};

}  // namespace tallyrig
